import { readFile } from "node:fs/promises";
import { createRequire } from "node:module";

const axeFile = createRequire(import.meta.url).resolve("axe-core/axe.min.js");

/**
 * What axe finds wrong with the page as it is now: for each element the rule, the element, and why.
 * @param without rules that are left out
 */
export async function accessibilityFaults(page, { without = [] } = {}) {
  await page.evaluate(await readFile(axeFile, "utf8"));
  const rules = Object.fromEntries(without.map((rule) => [rule, { enabled: false }]));
  const { violations } = await page.evaluate((options) => window.axe.run(document, options), {
    rules,
    resultTypes: ["violations"],
  });
  return violations.flatMap(({ id, nodes }) =>
    nodes.map(({ target, failureSummary }) => `${id}: ${target.join(" ")}: ${failureSummary}`),
  );
}
