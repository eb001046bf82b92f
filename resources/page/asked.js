/** Lays out what an item asks: each block whole, one after the other, in boxes that scroll when they are long. */
import { element, shown } from "./dom.js";
import { textsOf } from "./view.js";
import { hidesSomething, piecesOf } from "./visible.js";

// More is laid out when the person asks for it, each time as much again: a browser needs seconds for
// megabytes of lines. Rows and boxes take as long as so many characters, and are counted beside them.
const firstPortion = 64 * 1024;
const rowCost = 4;
const boxCost = 512;
// A line is laid out in pieces of this many characters, so that one endless line can be cut, too.
const sliceLength = 4096;
// What is scrolled out of sight costs the browser nothing, so many rows at a time.
const rowsTogether = 50;
// How long the wheel rests before it moves the page instead of a box that is at its end.
const wheelRest = 300;

/**
 * @param {import("./view.js").Block[]} blocks
 * @returns {HTMLElement}
 */
export function asked(blocks) {
  const root = element("div", { class: "asked", tabindex: "-1" });
  const writer = write(root, blocks);
  const total = blocks.reduce((sum, block) => sum + charactersOf(block), 0);
  let laidOut = 0;
  let overhead = 0;
  let limit = firstPortion;

  const caption = element("span");
  const button = element("button", { type: "button", class: "plain", click: () => layOut((limit *= 2)) }, "再顯示一些");
  const more = element("p", { class: "more" }, caption, button);
  function layOut(until) {
    // Behind the last character there may be empty rows and boxes, which only the overhead bounds, or nothing at all:
    // whether this is the end only the writer knows.
    while (overhead < until && (laidOut < until || laidOut === total)) {
      const step = writer.next();
      if (step.done === true) {
        if (more.contains(document.activeElement)) root.focus({ preventScroll: true });
        return more.remove();
      }
      laidOut += step.value.characters;
      overhead += step.value.overhead;
    }
    const left = total - laidOut;
    caption.textContent = left > 0 ? `還有 ${left.toLocaleString("en-US")} 個字元沒有顯示` : "還有內容沒有顯示";
    const hadFocus = more.contains(document.activeElement);
    root.append(more);
    if (hadFocus) button.focus({ preventScroll: true });
  }
  layOut(limit);
  return root;
}

/** Those that a person would count, line breaks included. @param {import("./view.js").Block} block */
function charactersOf(block) {
  const texts = textsOf(block);
  const breaks = "lines" in block ? Math.max(0, texts.length - 1) : 0;
  return texts.reduce((sum, text) => sum + characters(text), breaks);
}

/**
 * Appends, and yields after each piece how many characters that were and what else it cost.
 *
 * @returns {Generator<{characters: number, overhead: number}, void>}
 */
function* write(root, blocks) {
  let options;
  for (const block of blocks) {
    if (block.kind !== "option") options = undefined;
    if (block.kind === "note") {
      root.append(element("p", { class: "note", dir: "ltr" }, shown(block.text)));
      yield { characters: characters(block.text), overhead: rowCost };
    } else if (block.kind === "option") {
      if (!options) root.append((options = element("ul", { class: "options" })));
      const choice = element("li", { class: "outside", dir: "ltr" });
      options.append(choice);
      yield { characters: 0, overhead: boxCost };
      yield* writeText(choice, block.text, shown);
      if (block.description) {
        const description = element("p", { class: "outside option-description", dir: "ltr" });
        choice.append(description);
        yield* writeText(description, block.description, shown);
      }
    } else {
      const box = boxFor(block);
      root.append(box);
      yield { characters: 0, overhead: boxCost };
      let rows;
      for (let i = 0; i < block.lines.length; ++i) {
        if (i % rowsTogether === 0) box.append((rows = element("div", { class: "rows" })));
        const row = rowFor(block, i);
        // A blank line is copied, too.
        if (block.lines[i] === "") row.append(element("br"));
        rows.append(row);
        // With the break of the line before.
        yield { characters: i > 0 ? 1 : 0, overhead: rowCost };
        yield* writeText(row, block.lines[i], block.kind === "code" ? words : shown);
      }
    }
  }
}

function* writeText(parent, text, layOut) {
  let begin = 0;
  do {
    let end = Math.min(begin + sliceLength, text.length);
    // Not between the two halves of a character, nor before the selector that belongs to it.
    if (end < text.length && (text.charCodeAt(end) & 0xfc00) === 0xdc00) ++end;
    if (text[end] === "\uFE0F") ++end;
    const slice = text.slice(begin, end);
    parent.append(layOut(slice));
    yield { characters: characters(slice), overhead: 0 };
    begin = end;
  } while (begin < text.length);
}

function boxFor(block) {
  const box = element("div", {
    class: `box is-${block.kind} outside`,
    role: "group",
    "aria-label": block.label,
    dir: "ltr",
  });
  if (block.signs) box.classList.add("is-diff");
  else if (block.kind === "code" && block.lines.length > 1) {
    box.classList.add("is-numbered");
    box.style.setProperty("--digits", String(String(block.lines.length).length));
  }
  box.classList.toggle("has-hidden", block.lines.some(hidesSomething));
  makeScrollable(box);
  return box;
}

function rowFor(block, index) {
  if (!block.signs) return element("div", { class: "row", "data-gutter": String(index + 1) });
  const sign = block.signs[index];
  const name = sign === "-" ? "del" : sign === "+" ? "ins" : "div";
  return element(name, { class: "row", "data-gutter": sign });
}

// Words that a browser would take apart at a hyphen or a slash stay whole, unless one alone is longer
// than the line. Even then it is not broken behind a hyphen, which would make an option of its rest.
function words(text) {
  const fragment = document.createDocumentFragment();
  for (const piece of piecesOf(text)) {
    if ("mark" in piece) {
      fragment.append(element("span", { class: "mark" }, piece.mark));
      continue;
    }
    for (const word of piece.text.split(/([ \t]+)/)) {
      if (word.length > 1 && /[^A-Za-z0-9_. \t]/.test(word)) {
        const whole = element("span", { class: "word" });
        for (const segment of word.split(/(-+[^-]?)/u)) {
          if (segment.startsWith("-")) whole.append(element("span", { class: "hyphen" }, segment));
          else if (segment) whole.append(segment);
        }
        fragment.append(whole);
      } else if (word) {
        fragment.append(word);
      }
    }
  }
  return fragment;
}

// A box that has more than it shows takes the focus, so that the arrow keys scroll it, and the wheel
// for a moment longer than it has something to scroll.
function makeScrollable(box) {
  new ResizeObserver(() => {
    if (box.scrollHeight > box.clientHeight) box.tabIndex = 0;
    else box.removeAttribute("tabindex");
  }).observe(box);
  let lastScroll = -Infinity;
  box.addEventListener(
    "wheel",
    (event) => {
      if (box.scrollHeight <= box.clientHeight || event.ctrlKey) return;
      const isAtEnd = event.deltaY < 0 ? box.scrollTop <= 0 : box.scrollTop + box.clientHeight >= box.scrollHeight - 1;
      const now = performance.now();
      if (!isAtEnd) lastScroll = now;
      else if (now - lastScroll < wheelRest) {
        lastScroll = now;
        event.preventDefault();
      }
    },
    { passive: false },
  );
}

function characters(text) {
  let count = text.length;
  for (let i = 0; i < text.length; ++i) if ((text.charCodeAt(i) & 0xfc00) === 0xdc00) --count;
  return count;
}
