import assert from "node:assert/strict";

import { until } from "./until.mjs";

/** The cards that have this text in them. */
export const cardWith = (page, text) => page.locator("article").filter({ hasText: text });

/** The card of an item of the snapshot. */
export const cardOf = (page, { id }) => page.locator(`article[data-id="${id}"]`);

export const button = (where, name) => where.getByRole("button", { name, exact: true });

/** Waits until the element's text is this, or matches it. */
export async function says(locator, text) {
  let found;
  const matches = async () => {
    found = (await locator.textContent()).trim();
    return typeof text === "string" ? found === text : text.test(found);
  };
  await until(matches, `${text}`, 10_000).catch((error) => assert.fail(`${error.message}; it says "${found}"`));
}

/** Notes the answers that a page sends, as {id, action, …}, from now on. */
export function answersOf(page) {
  const answers = [];
  page.on("request", (request) => {
    if (new URL(request.url()).pathname === "/answer") answers.push(request.postDataJSON());
  });
  /** Those so far, once the page has done what it was last told. */
  return async () => {
    await page.evaluate(() => new Promise((resolve) => queueMicrotask(resolve)));
    return [...answers];
  };
}

/** The middle of what an element takes up in the window. */
export async function middleOf(locator) {
  const { x, y, width, height } = await locator.boundingBox();
  return [x + width / 2, y + height / 2];
}
