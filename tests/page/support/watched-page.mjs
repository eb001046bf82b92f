import { defer } from "./defer.mjs";
import { patience } from "./until.mjs";

/**
 * Opens a page in a context of its own and looks over its shoulder until the test's end. The test fails when the page
 * logged an error (a violation of its content security policy is one), left an exception uncaught, crashed, or asked
 * for anything at another origin than its own.
 * @param served what has the page's `url` and `origin`
 * @param allowed patterns of problems that the test brings about
 * @param prepare is given the page before it is opened, to install a clock or a route
 * @param options of the browser's context: viewport, colorScheme, reducedMotion, deviceScaleFactor …
 */
export async function watchedPage(t, browser, served, { allowed = [], prepare, ...options } = {}) {
  const context = await browser.newContext({
    viewport: { width: 1280, height: 800 },
    locale: "zh-TW",
    timezoneId: "Asia/Taipei",
    ...options,
  });
  context.setDefaultTimeout(patience);
  const problems = [];
  const note = (problem) => {
    if (!allowed.some((pattern) => pattern.test(problem))) problems.push(problem);
  };
  context.on("console", (message) => {
    if (message.type() === "error") note(`console: ${message.text()} (${message.location().url})`);
  });
  context.on("weberror", (error) => note(`uncaught: ${error.error()?.stack ?? error.error()}`));
  context.on("request", (request) => {
    const { protocol, origin } = new URL(request.url());
    if (origin !== served.origin && protocol !== "data:" && protocol !== "blob:")
      note(`request to another origin: ${request.url()}`);
  });
  const page = await context.newPage();
  page.on("crash", () => note("the page crashed"));
  defer(t, async () => {
    // What the page has said by now arrives before this does.
    if (!page.isClosed()) await page.evaluate(() => {}).catch(() => {});
    await context.close();
    if (problems.length === 0) return;
    const report = `the page had problems:\n${problems.join("\n")}`;
    t.diagnostic?.(report); // Of a test that has failed already, the runner shows no other failure.
    throw new Error(report);
  });
  await prepare?.(page);
  await page.goto(served.url);
  return page;
}
