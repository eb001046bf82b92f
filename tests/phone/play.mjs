// Plays a phone: reads a pairing link, pairs with the page in a browser, allows the first thing that is asked, and says
// each step on a line of its own.
//   node tests/phone/play.mjs <LINK
import { text } from "node:stream/consumers";

import { button } from "../page/support/cards.mjs";
import { launchChromium } from "../page/support/chromium.mjs";

const endings = [];
try {
  const browser = await launchChromium({ after: (ending) => endings.push(ending) });
  const context = await browser.newContext({ viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true });
  const page = await context.newPage();
  await page.goto((await text(process.stdin)).trim());
  await button(page, "配對").click();
  await page.getByText("電腦在線").waitFor();
  console.log("paired as " + (await page.locator(".this-phone p").textContent()));
  console.log("connected, the page says " + (await page.locator(".status").textContent()));
  const card = page.locator("article");
  await card.waitFor({ timeout: 60_000 });
  console.log(`shows "${await card.locator(".box").textContent()}"`);
  await button(card, "允許").click();
  await card.locator(".outcome").waitFor();
  console.log("says " + (await card.locator(".outcome").textContent()));
} finally {
  for (const ending of endings) await ending();
}
