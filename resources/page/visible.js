/**
 * Shows what a text would hide: control and format characters, bidirectional overrides, blanks that
 * are none of the keyboard's, what fonts leave out, and what is no character at all.
 *
 * @typedef {{text: string} | {mark: string}} Piece
 */

// A space, a tab and the line feed between lines are what they seem. The last six show an empty
// glyph: the braille pattern without dots, the place of an object, two Egyptian blanks, a note
// without a head and the Khitan filler.
const hiddenCharacter =
  /(?![ \t\n])[\p{Cc}\p{Cf}\p{Cn}\p{Cs}\p{Z}\p{Default_Ignorable_Code_Point}\u2800\uFFFC\u{13441}\u{13442}\u{1D159}\u{16FE4}]/gu;
const colouredForm = "\uFE0F";
const pictogram = /\p{Extended_Pictographic}$/u;

/**
 * The text in the order in which a program reads it: what shows as it is, and marks such as
 * "U+202E" in the place of each hidden character.
 *
 * @param {string} text
 * @returns {Piece[]}
 */
export function piecesOf(text) {
  const pieces = [];
  let begin = 0;
  for (const { character, index } of hiddenIn(text)) {
    if (index > begin) pieces.push({ text: text.slice(begin, index) });
    pieces.push({ mark: markOf(character) });
    begin = index + character.length;
  }
  if (begin < text.length) pieces.push({ text: text.slice(begin) });
  return pieces;
}

/** Whether the text has a character that would be marked. @param {string} text */
export function hidesSomething(text) {
  return !hiddenIn(text).next().done;
}

/** The text with its marks in line, for a tool tip or an accessible name. @param {string} text */
export function visibleText(text) {
  return piecesOf(text)
    .map((piece) => ("mark" in piece ? `[${piece.mark}]` : piece.text))
    .join("");
}

/** @returns {Generator<{character: string, index: number}, void>} */
function* hiddenIn(text) {
  for (const { 0: character, index } of text.matchAll(hiddenCharacter)) {
    // The selector that only asks for the coloured form of the pictogram before it hides nothing.
    const isSelector = character === colouredForm && pictogram.test(text.slice(Math.max(0, index - 2), index));
    if (!isSelector) yield { character, index };
  }
}

function markOf(character) {
  return `U+${character.codePointAt(0).toString(16).toUpperCase().padStart(4, "0")}`;
}
