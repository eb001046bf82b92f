/** Building elements. Text from outside only ever becomes text nodes. */
import { hidesSomething, piecesOf, visibleText } from "./visible.js";

/**
 * The element of page.html with that id, which is of that class.
 *
 * @template {HTMLElement} Kind
 * @param {string} id @param {new () => Kind} kind
 * @returns {Kind}
 */
export function part(id, kind) {
  const found = document.getElementById(id);
  if (!(found instanceof kind)) throw new Error(`the page has no ${kind.name} ${id}`);
  return found;
}

/**
 * An element with attributes, listeners and children. A string among the children is the page's own
 * text; what comes from outside goes through `shown`.
 *
 * @template {keyof HTMLElementTagNameMap} Name
 * @param {Name} name
 * @param {Record<string, string | boolean | ((event: any) => void)>} [attributes]
 *     a function is a listener for the event of that name; false leaves an attribute out
 * @param {...(Node | string)} children
 * @returns {HTMLElementTagNameMap[Name]}
 */
export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (typeof value === "function") made.addEventListener(key, value);
    else if (value !== false) made.setAttribute(key, value === true ? "" : value);
  }
  made.append(...children);
  return made;
}

/**
 * A drawing on a grid of 20, tinted with the text around it and silent to a screen reader.
 *
 * @param {string[]} paths  the "d" of each stroke @param {boolean} [isFilled]
 */
export function icon(paths, isFilled = false) {
  const drawing = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  for (const [key, value] of Object.entries({ viewBox: "0 0 20 20", "aria-hidden": "true", class: "icon" }))
    drawing.setAttribute(key, value);
  if (isFilled) drawing.classList.add("is-filled");
  for (const d of paths) {
    const path = document.createElementNS("http://www.w3.org/2000/svg", "path");
    path.setAttribute("d", d);
    drawing.append(path);
  }
  return drawing;
}

/** A text from outside, with its hidden characters marked. @param {string} text */
export function shown(text) {
  const fragment = document.createDocumentFragment();
  for (const piece of piecesOf(text))
    fragment.append("mark" in piece ? element("span", { class: "mark" }, piece.mark) : piece.text);
  return fragment;
}

// No line that is elided shows more, and a name is no place for pages of text.
const longestLine = 500;

/** The beginning of a text that belongs on a line or two; it says how much is not shown. @param {string} text */
export function beginning(text) {
  if (text.length <= longestLine) return text;
  return `${text.slice(0, longestLine)}…（還有 ${(text.length - longestLine).toLocaleString("en-US")} 個字元沒有顯示）`;
}

/** A text from outside without line breaks of its own, which show as "↵". @param {string} text */
export function inOneLine(text) {
  const fragment = document.createDocumentFragment();
  text.split(/\r?\n/).forEach((segment, index) => {
    if (index > 0) fragment.append(element("span", { class: "break" }, "↵"));
    fragment.append(shown(segment));
  });
  return fragment;
}

/**
 * One line of a text from outside, elided where it ends; the whole text as its tool tip.
 *
 * @param {string} text @param {string} className
 */
export function line(text, className) {
  const start = beginning(text);
  return element(
    "span",
    { class: `line outside ${className}`, title: visibleText(start), dir: "ltr" },
    inOneLine(start),
  );
}

/** A path on one line, elided in the middle so that its last component stays. @param {string} path @param {string} whole */
export function pathLine(path, whole) {
  path = beginning(path);
  const cut = path.lastIndexOf("/");
  const tail = cut > 0 ? path.slice(cut) : "";
  return element(
    "span",
    { class: "path outside", title: visibleText(beginning(whole)), dir: "ltr" },
    element("span", { class: "path-head" }, shown(tail ? path.slice(0, cut) : path)),
    element("span", { class: "path-tail" }, shown(tail)),
  );
}

/** Puts a text of the page's own into an element, touching it only when it changes. @param {Element} target @param {string} text */
export function setText(target, text) {
  if (target.textContent !== text) target.textContent = text;
}

/** Whether one of these texts has a hidden character. @param {(string | undefined)[]} texts */
export function anyHides(texts) {
  return texts.some((text) => text !== undefined && hidesSomething(text));
}
