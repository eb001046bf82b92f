/**
 * Which lines an edit takes away and which it brings.
 *
 * @typedef {{sign: " " | "-" | "+", text: string}} DiffLine
 */

/**
 * Beyond this many pairs of lines what differs is shown as taken away and brought as a whole: the table
 * of them would take longer than a person waits.
 */
export const pairLimit = 4_000_000;

/**
 * The shortest way from one text to the other, line by line; lines that go stand before those that
 * come.
 *
 * @param {string} before
 * @param {string} after
 * @param {number} [limit]  of pairs, when there are more such texts to compare
 * @returns {DiffLine[]}
 */
export function diffLines(before, after, limit = pairLimit) {
  const old = linesOf(before);
  const now = linesOf(after);
  let start = 0;
  while (start < old.length && start < now.length && old[start] === now[start]) ++start;
  let end = 0;
  while (
    end < old.length - start &&
    end < now.length - start &&
    old[old.length - 1 - end] === now[now.length - 1 - end]
  )
    ++end;
  const signed = (sign) => (text) => ({ sign, text });
  return [
    ...old.slice(0, start).map(signed(" ")),
    ...changes(old.slice(start, old.length - end), now.slice(start, now.length - end), limit),
    ...old.slice(old.length - end).map(signed(" ")),
  ];
}

/**
 * A line feed at the end ends the last line and begins none.
 *
 * @param {string} text
 * @returns {string[]}
 */
export function linesOf(text) {
  const lines = text.split("\n");
  if (lines.at(-1) === "") lines.pop();
  return lines;
}

function changes(old, now, limit) {
  const result = [];
  const width = now.length + 1;
  if (old.length * now.length > limit) {
    for (const text of old) result.push({ sign: "-", text });
    for (const text of now) result.push({ sign: "+", text });
    return result;
  }
  // common[i * width + j]: how many lines the rests from old[i] and now[j] have in common.
  const common = new Uint32Array((old.length + 1) * width);
  for (let i = old.length - 1; i >= 0; --i) {
    for (let j = now.length - 1; j >= 0; --j) {
      common[i * width + j] =
        old[i] === now[j]
          ? common[(i + 1) * width + j + 1] + 1
          : Math.max(common[(i + 1) * width + j], common[i * width + j + 1]);
    }
  }
  let i = 0;
  let j = 0;
  while (i < old.length || j < now.length) {
    if (i < old.length && j < now.length && old[i] === now[j]) {
      result.push({ sign: " ", text: old[i] });
      ++i;
      ++j;
    } else if (i < old.length && (j === now.length || common[(i + 1) * width + j] >= common[i * width + j + 1])) {
      result.push({ sign: "-", text: old[i++] });
    } else {
      result.push({ sign: "+", text: now[j++] });
    }
  }
  return result;
}
