/**
 * A list that shows its first rows, and the rest when the person asks for it. A row whose item has not
 * changed stays the same element, with its focus and its place.
 */
import { element } from "./dom.js";

/** @template Item */
export class Folded {
  #list;
  #rowOf;
  #limit;
  #button;
  /** @type {Item[]} */
  #items = [];
  /** @type {Map<string, HTMLElement>} */
  #rows = new Map();

  /**
   * @param {HTMLElement} list  what the rows go into; the button comes behind its frame
   * @param {(item: Item) => HTMLElement} rowOf @param {number} [limit]
   */
  constructor(list, rowOf, limit = Infinity) {
    this.#list = list;
    this.#rowOf = rowOf;
    this.#limit = limit;
    this.#button = element("button", { type: "button", class: "plain unfold", click: () => this.#unfold() });
    list.closest(".frame").after(this.#button);
  }

  /** @param {Item[]} items  told apart by their JSON */
  show(items) {
    this.#items = items;
    const rows = new Map();
    for (const item of items.slice(0, this.#limit)) {
      let key = JSON.stringify(item);
      while (rows.has(key)) key += " "; // Two events can be the same in every respect.
      rows.set(key, this.#rows.get(key) ?? this.#rowOf(item));
    }
    for (const [key, row] of this.#rows) if (!rows.has(key)) row.remove();
    let place = this.#list.firstElementChild;
    for (const row of rows.values()) {
      if (row === place) place = place.nextElementSibling;
      else this.#list.insertBefore(row, place);
    }
    this.#rows = rows;
    const rest = items.length - this.#limit;
    this.#button.hidden = !(rest > 0);
    this.#button.textContent = `顯示其餘 ${rest} 個`;
  }

  #unfold() {
    this.#limit = Infinity;
    this.show(this.#items);
    // The button is gone, and with it the focus.
    const heading = this.#list.closest("section").querySelector("h2");
    heading.tabIndex = -1;
    heading.focus({ preventScroll: true });
  }
}
