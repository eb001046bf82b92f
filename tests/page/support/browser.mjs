import { after } from "node:test";

import { launchChromium } from "./chromium.mjs";
import { watchedPage } from "./watched-page.mjs";

let browser;
const endings = [];

/** Opens a page for a test, in the one Chromium that all tests of a file share; see watchedPage(). */
export async function openPage(t, served, options) {
  browser ??= launchChromium({ after: (ending) => endings.push(ending) });
  return watchedPage(t, await browser, served, options);
}

after(async () => {
  for (const ending of endings) await ending();
});
