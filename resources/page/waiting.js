/** The list of what waits for an answer. New items come at the end, and what has ended stays in its place. */
import { Card } from "./card.js";
import { part, setText } from "./dom.js";

export class Waiting {
  #list = part("cards", HTMLElement);
  #count = part("count", HTMLElement);
  #countUnit = part("count-unit", HTMLElement);
  #none = part("none", HTMLElement);
  #putAwayAll = part("put-away-all", HTMLElement);
  #heading = part("waiting-heading", HTMLElement);
  #cards = new Map();
  #page;
  #timer;
  #isShowing = false;

  /** @param {import("./card.js").Page} page */
  constructor(page) {
    this.#page = page;
    this.#putAwayAll.addEventListener("click", () => this.#removeSettled());
    this.#timer = setInterval(() => this.#tick(), 1000);
    document.addEventListener("visibilitychange", () => this.#tick());
  }

  /** The list is taken from the page. */
  end() {
    clearInterval(this.#timer);
    this.#cards.clear();
  }

  /** @param {object[]} pending  of the snapshot, in order of arrival */
  show(pending) {
    const ids = new Set(pending.map((item) => item.id));
    const ended = [...this.#cards].filter(([id, card]) => !ids.has(id) && !card.isSettled).map(([, card]) => card);
    // All are measured before any changes.
    const heights = ended.map((card) => card.element.offsetHeight);
    this.#isShowing = true;
    ended.forEach((card, index) => card.end(heights[index]));
    for (const item of pending) {
      if (this.#cards.has(item.id)) continue;
      const card = this.#cardOf(item);
      this.#cards.set(item.id, card);
      this.#list.append(card.element);
    }
    this.#isShowing = false;
    this.#changed();
  }

  // One that cannot be shown is there all the same, and keeps none of the others away.
  #cardOf(item) {
    const page = { ...this.#page, onChange: () => this.#isShowing || this.#changed() };
    try {
      return new Card(item, page);
    } catch (error) {
      reportError(error);
      const { id, kind, createdAt, expiresAt } = item;
      return new Card({ id, kind, createdAt, expiresAt }, page, "unreadable");
    }
  }

  #changed() {
    let hasPutAway = false;
    for (const [id, card] of this.#cards) {
      if (card.element.isConnected) continue;
      this.#cards.delete(id);
      hasPutAway = true;
    }
    const settled = [...this.#cards.values()].filter((card) => card.isSettled).length;
    const waiting = this.#cards.size - settled;
    setText(this.#count, waiting > 9 ? "9+" : String(waiting));
    this.#count.hidden = this.#countUnit.hidden = waiting === 0;
    this.#none.hidden = this.#cards.size > 0;
    this.#putAwayAll.hidden = settled < 2;
    document.title = waiting > 0 ? `(${waiting}) Tamsell` : "Tamsell";
    // The focus of what is gone does not fall onto what stands below.
    const focused = document.activeElement;
    if (hasPutAway && (focused === document.body || focused === this.#putAwayAll))
      this.#heading.focus({ preventScroll: true });
  }

  #removeSettled() {
    this.#page.still.during(() => {
      for (const card of this.#cards.values()) if (card.isSettled) card.element.remove();
      this.#changed();
    });
  }

  #tick() {
    if (document.hidden) return;
    for (const card of this.#cards.values()) card.tick(this.#page.clock.now());
  }
}
