/**
 * What "always" makes the agent remember, and where it writes it.
 *
 * @typedef {{heading: string, entries: string[], place: string}} Remembered
 *     `heading` and `place` are the page's words, `entries` the agent's.
 */
import { indented } from "./view.js";

const places = new Map([
  ["session", "只在這個工作階段有效（session）。"],
  ["localSettings", "寫入這個專案的本機設定（localSettings）。"],
  ["projectSettings", "寫入這個專案的共用設定（projectSettings）。"],
  ["userSettings", "寫入你的個人設定（userSettings）。"],
]);

const behaviours = new Map([
  ["allow", "以後不再問，直接允許："],
  ["deny", "以後一律拒絕："],
  ["ask", "以後每次都問："],
]);

/** Whether an item can be answered with "always". @param {{suggestions?: unknown}} item */
export function canAlways(item) {
  return Array.isArray(item.suggestions) && item.suggestions.length > 0;
}

/**
 * One entry for each suggestion; one of a form that is not known whole is shown as JSON.
 *
 * @param {{suggestions?: unknown}} item
 * @returns {Remembered[]}
 */
export function rememberedBy(item) {
  return Array.isArray(item.suggestions) ? item.suggestions.map(remembered) : [];
}

function remembered(suggestion) {
  const known = knownForm(suggestion);
  const place = places.get(suggestion?.destination);
  if (known && place && known.entries.every((entry) => typeof entry === "string")) return { ...known, place };
  return { heading: "agent 會照這樣記住：", entries: indented(suggestion).split("\n"), place: "" };
}

// Nothing when there is more in the suggestion than a sentence would say.
function knownForm(suggestion) {
  if (typeof suggestion !== "object" || suggestion === null) return undefined;
  const has = (...names) =>
    Object.keys(suggestion).length === names.length + 2 && names.every((name) => Object.hasOwn(suggestion, name));
  const { type, rules, behavior, directories, mode } = suggestion;
  if (type === "addRules" && has("rules", "behavior") && Array.isArray(rules) && behaviours.has(behavior))
    return { heading: behaviours.get(behavior), entries: rules.map(ruleName) };
  if (type === "addDirectories" && has("directories") && Array.isArray(directories))
    return { heading: "以後可以使用這些資料夾：", entries: directories };
  if (type === "setMode" && has("mode")) return { heading: "權限模式改成：", entries: [mode] };
  return undefined;
}

// "Bash(git push:*)", or nothing when it is not of the known form.
function ruleName(rule) {
  if (typeof rule !== "object" || rule === null) return undefined;
  const { toolName, ruleContent, ...more } = rule;
  if (typeof toolName !== "string" || Object.keys(more).length > 0) return undefined;
  if (ruleContent === undefined) return toolName;
  return typeof ruleContent === "string" ? `${toolName}(${ruleContent})` : undefined;
}
