/**
 * Approving is never a reflex: a button that approves does nothing for a moment after it has appeared
 * or moved, so that no click or key that was meant for something else approves. One that came to lie
 * under the pointer counts its presses only after it has left, or rested for a while since the last
 * one, so that a rhythm of clicks does not run on into it.
 */

// Milliseconds, longer than somebody needs who is about to press to see that something else is there, and to stop.
const armingTime = 600;
// Milliseconds of rest after a press, until a button that came under the pointer counts the next one.
const restTime = 3000;

export class Arming {
  /** @type {Map<HTMLButtonElement, {top: number, left: number, since: number, isUnderPointer: boolean}>} */
  #places = new Map();
  #pointer = { x: -1, y: -1 };
  #lastPress = -Infinity;
  #now;

  /**
   * @param {HTMLElement} cards  what the buttons are in
   * @param {() => number} [now]  a monotonic clock in milliseconds
   */
  constructor(cards, now = () => performance.now()) {
    this.#now = now;
    // Mostly what moves something changes the size of the page, the cards or the window. What is noticed
    // only when the button is pressed counts from then on.
    const observer = new ResizeObserver(() => this.check());
    observer.observe(document.body);
    observer.observe(cards);
    document.addEventListener("visibilitychange", () => document.hidden || this.disarm());
    addEventListener("resize", () => this.check());
    addEventListener("pointermove", (event) => this.#pointTo(event));
    addEventListener("pointerdown", (event) => this.#pointTo(event), { capture: true });
    addEventListener("pointerup", () => (this.#lastPress = this.#now()), { capture: true });
  }

  /**
   * Makes a button an approving one, or one that stands where an approving one was.
   *
   * @param {HTMLButtonElement} button @param {() => void} act
   */
  guard(button, act) {
    let wasPressedInVain = false;
    const press = (event) => {
      this.check();
      wasPressedInVain = !this.#isArmed(button, event.type === "pointerdown" ? this.#lastPress : undefined);
    };
    button.addEventListener("pointerdown", press);
    button.addEventListener("keydown", (event) => {
      if (event.key !== "Enter" && event.key !== " ") return;
      if (event.repeat) {
        // A key that is held down has been pressed for something else.
        event.preventDefault();
        wasPressedInVain = true;
      } else {
        press(event);
      }
    });
    button.addEventListener("click", () => {
      if (!wasPressedInVain && this.#isArmed(button)) act();
      wasPressedInVain = false;
    });
    this.#places.set(button, { top: NaN, left: NaN, since: 0, isUnderPointer: false });
    this.#disarm(button);
  }

  /** Looks which buttons have moved. To be called after every change of the page. */
  check() {
    for (const [button, place] of this.#places) {
      if (!button.isConnected) {
        this.#places.delete(button);
        continue;
      }
      const { left, top } = button.getBoundingClientRect();
      const absoluteTop = top + scrollY;
      if (Math.abs(absoluteTop - place.top) < 1 && Math.abs(left - place.left) < 1) continue;
      place.top = absoluteTop;
      place.left = left;
      place.isUnderPointer = this.#isPointedAt(button);
      this.#disarm(button);
    }
  }

  /** As if every button had just come. */
  disarm() {
    for (const button of this.#places.keys()) this.#disarm(button);
  }

  #disarm(button) {
    this.#places.get(button).since = this.#now();
    button.setAttribute("aria-disabled", "true");
    // A timer may be early by a fraction of a millisecond.
    setTimeout(() => this.#showWhetherArmed(button), armingTime + 10);
  }

  // Under the pointer it looks as it is for the pointer; the keyboard may use it sooner.
  #showWhetherArmed(button) {
    if (!this.#isArmed(button)) return;
    if (this.#isArmed(button, this.#lastPress)) button.removeAttribute("aria-disabled");
    else setTimeout(() => this.#showWhetherArmed(button), restTime / 10);
  }

  /** @param {number} [lastPress]  of the pointer, when that is what presses */
  #isArmed(button, lastPress = -Infinity) {
    const place = this.#places.get(button);
    if (place === undefined || this.#now() - place.since < armingTime) return false;
    return !place.isUnderPointer || this.#now() - lastPress >= restTime;
  }

  #pointTo({ clientX, clientY }) {
    this.#pointer = { x: clientX, y: clientY };
    for (const [button, place] of this.#places)
      if (place.isUnderPointer && !this.#isPointedAt(button)) {
        place.isUnderPointer = false;
        this.#showWhetherArmed(button);
      }
  }

  #isPointedAt(button) {
    const { left, right, top, bottom } = button.getBoundingClientRect();
    const { x, y } = this.#pointer;
    return x >= left && x <= right && y >= top && y <= bottom;
  }
}
