/**
 * Changes the page without moving what the person looks at: what is under the pointer, or has the
 * focus, or stands first in the window.
 */

// Whatever can be pointed at, aimed at or read on its own.
const anchors = "button, input, textarea, label, .box, article, li, tr, h2, section, header";

export class Still {
  #pointer; // Where the pointer is in the window; nothing while there is none.
  #filler;
  #afterwards;
  #isChanging = false;

  /**
   * @param {HTMLElement} filler  an empty element at the end of the page, for room to scroll
   * @param {() => void} afterwards  called after every change
   */
  constructor(filler, afterwards) {
    this.#filler = filler;
    this.#afterwards = afterwards;
    addEventListener("pointermove", (event) => (this.#pointer = { x: event.clientX, y: event.clientY }));
    // A finger that was lifted points at nothing.
    const lift = (event) => event.pointerType !== "mouse" && (this.#pointer = undefined);
    addEventListener("pointerup", lift);
    addEventListener("pointercancel", lift);
    document.documentElement.addEventListener("pointerleave", () => (this.#pointer = undefined));
  }

  /**
   * Within a change, another one is part of it.
   *
   * @param {() => void} update  changes the page; for what it removes or hides, what stood around it is kept in its
   *     place
   */
  during(update) {
    if (this.#isChanging) return update();
    this.#isChanging = true;
    const places = [];
    for (let one = this.#anchor(); one; one = one.parentElement?.closest(anchors))
      places.push({ one, top: one.getBoundingClientRect().top });
    try {
      update();
    } finally {
      this.#isChanging = false;
      const anchor = places.find(({ one }) => one.getClientRects().length > 0);
      const moved = anchor ? anchor.one.getBoundingClientRect().top - anchor.top : 0;
      // Where the page ends too early it is made longer, for as long as its end is seen.
      const target = Math.max(0, scrollY + moved);
      const end = this.#filler.getBoundingClientRect().top + scrollY;
      this.#filler.style.height = `${target > 0 ? Math.max(0, target + innerHeight - end) : 0}px`;
      if (Math.abs(moved) >= 1) scrollTo({ top: target, behavior: "instant" });
      this.#afterwards();
    }
  }

  /** @returns {Element | undefined} */
  #anchor() {
    const pointed = this.#pointer && document.elementFromPoint(this.#pointer.x, this.#pointer.y)?.closest(anchors);
    if (pointed) return pointed;
    const isSeen = (candidate) => {
      const { top, bottom } = candidate.getBoundingClientRect();
      return bottom > 0 && top < innerHeight;
    };
    const focused = document.activeElement?.closest(anchors);
    if (focused && isSeen(focused)) return focused;
    const seen = [...document.querySelectorAll("article, .box, h2, li, tr")].filter(isSeen);
    return seen.find((candidate) => candidate.getBoundingClientRect().top >= 0) ?? seen[0];
  }
}
