// Takes pictures of the page, always of the same states at the same moment:
//   node tests/page/shots.mjs FOLDER
import { mkdir } from "node:fs/promises";
import { join } from "node:path";
import { fileURLToPath } from "node:url";

import { devices, items, now, snapshotWith } from "./states.mjs";
import { launchChromium } from "./support/chromium.mjs";
import { during } from "./support/during.mjs";
import { Stage } from "./support/stage.mjs";
import { watchedPage } from "./support/watched-page.mjs";

/** The clock runs for a while before the moment of the picture, so that the approving buttons get armed. */
const runUp = 10_000;

const cardOf = (page, { id }) => page.locator(`article[data-id="${id}"]`);
const buttonOf = (card, name) => card.getByRole("button", { name, exact: true });

/** An ordinary question, one that is being denied, and a stopped turn. */
async function everything(page) {
  const card = cardOf(page, items.script);
  await buttonOf(card, "拒絕…").click();
  await card.getByRole("textbox").fill("先備份資料庫，rm 只准刪 tmp/cache");
  await page.clock.pauseAt(now);
  await page.evaluate(() => scrollTo(0, 0));
}

/** What always allowing would write. */
async function always(page) {
  const card = cardOf(page, items.unexplained);
  await buttonOf(card, "總是允許…").click();
  await buttonOf(card, "總是允許").waitFor();
  await page.clock.pauseAt(now);
}

async function hidden(page) {
  await cardOf(page, items.hidden).waitFor();
  await page.clock.pauseAt(now);
}

/** A card that has come this very moment. */
async function unarmed(page, stage) {
  await page.clock.pauseAt(now);
  stage.show(snapshotWith(items.fresh));
  await cardOf(page, items.fresh).waitFor();
}

async function settled(page, stage) {
  const card = cardOf(page, items.compose);
  await card.waitFor();
  stage.settle(items.compose.id);
  await buttonOf(card, "收起").waitFor();
  await page.clock.pauseAt(now);
}

const full = { pending: [items.push, items.script, items.stopped], pose: everything };
// Beside the other column a card is 545 wide in this window.
const one = { width: 1001, colorScheme: "light" };
const shots = {
  "web-1440-light": { ...full, width: 1440, colorScheme: "light" },
  "web-1440-dark": { ...full, width: 1440, colorScheme: "dark" },
  "web-360-light": { ...full, width: 360, colorScheme: "light" },
  "web-360-dark": { ...full, width: 360, colorScheme: "dark" },
  "web-card-always-light": { ...one, pending: [items.unexplained], pose: always, of: items.unexplained },
  "web-card-hidden-light": { ...one, pending: [items.hidden], pose: hidden, of: items.hidden },
  "web-card-unarmed-light": { ...one, pending: [], pose: unarmed, of: items.fresh },
  "web-card-settled-light": { ...one, pending: [items.compose], pose: settled, of: items.compose },
};

async function shoot(t, browser, path, { pending, pose, of, width, colorScheme }) {
  const stage = await Stage.start(t, { snapshot: snapshotWith(...pending), devices });
  const page = await watchedPage(t, browser, stage, {
    viewport: { width, height: 900 },
    deviceScaleFactor: 2,
    colorScheme,
    reducedMotion: "reduce",
    prepare: (opened) => opened.clock.install({ time: now - runUp }),
  });
  await pose(page, stage);
  const options = { path, animations: "disabled" };
  await (of ? cardOf(page, of).screenshot(options) : page.screenshot({ ...options, fullPage: true }));
  console.log(path);
}

const folder = process.argv[2];
if (!folder) throw new Error("usage: node shots.mjs FOLDER");
await mkdir(folder, { recursive: true });
process.env.FONTCONFIG_FILE = fileURLToPath(new URL("fonts.conf", import.meta.url));
await during(async (t) => {
  // With it, the lines of one size of text stand a pixel lower in some runs than in others.
  const browser = await launchChromium(t, "--disable-font-subpixel-positioning");
  for (const [name, shot] of Object.entries(shots))
    await during((each) => shoot(each, browser, join(folder, `${name}.png`), shot));
});
