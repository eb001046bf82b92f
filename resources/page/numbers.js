/**
 * Numbers that a double cannot hold, such as 12345678901234567890: what is shown is what was asked, to
 * the last digit.
 */

// No double is written longer than this.
const longestDouble = 400;

/** A number as it was written. */
export class ExactNumber {
  /** @param {string} source */
  constructor(source) {
    this.source = source;
  }

  // Without JSON.rawJSON the browser tells no sources either, so that there is none of these.
  toJSON() {
    return /** @type {any} */ (JSON).rawJSON(this.source);
  }
}

/** Like JSON.parse, with an ExactNumber in the place of a number that would become another. @param {string} text */
export function parseExactly(text) {
  // Fewer digits are never lost, and looking at every value takes its time.
  if (!/[:,[]-?(?:[\d.]{16}|[\d.]+[eE])/.test(text) || !("rawJSON" in JSON)) return JSON.parse(text);
  const keep = (/** @type {string} */ _, value, /** @type {any} */ context) =>
    typeof value === "number" && digitsOf(String(value)) !== digitsOf(context.source)
      ? new ExactNumber(context.source)
      : value;
  return JSON.parse(text, /** @type {any} */ (keep));
}

// The digits that count and where the first of them stands: alike for 100, 1e2 and 100.0.
function digitsOf(number) {
  if (number.length > longestDouble) return number;
  const found = /^-?(\d+)(?:\.(\d+))?(?:[eE]([+-]?\d+))?$/.exec(number);
  if (!found) return number;
  const [, whole, fraction = "", exponent = "0"] = found;
  const digits = (whole + fraction).replace(/^0+/, "");
  const point = digits.length - fraction.length + Number(exponent);
  const significant = digits.replace(/0+$/, "");
  return significant && `${number.startsWith("-") ? "-" : ""}${significant}e${point}`;
}
