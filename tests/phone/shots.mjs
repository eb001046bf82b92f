// Takes pictures of the phone page, always of the same states at the same moment:
//   node tests/phone/shots.mjs FOLDER
import { mkdir } from "node:fs/promises";
import { join } from "node:path";
import { fileURLToPath } from "node:url";

import { items, now, snapshotWith } from "../page/states.mjs";
import { button, cardWith } from "../page/support/cards.mjs";
import { launchChromium } from "../page/support/chromium.mjs";
import { during } from "../page/support/during.mjs";
import { watchedPage } from "../page/support/watched-page.mjs";
import { Desk } from "./desk.mjs";
import { Relay } from "./real-relay.mjs";

/** The clock runs for a while before the moment of the picture, in which the phone is paired. */
const runUp = 20_000;

const stillPage = (page) => page.clock.pauseAt(now);

async function question(page) {
  await page.locator("article").first().waitFor();
  await stillPage(page);
}

async function always(page) {
  await button(page, "總是允許…").click();
  await button(page, "總是允許").waitFor();
  await stillPage(page);
}

async function denied(page) {
  await button(page, "拒絕…").first().click();
  await page.getByLabel("拒絕的理由").fill("先備份資料庫，rm 只准刪 tmp/cache");
  await stillPage(page);
}

async function replied(page) {
  await page.getByLabel("下一個指令").fill("先把 CHANGELOG 補上 0.4.2 的三項修正，再跑一次完整測試，不要發佈。");
  await stillPage(page);
}

async function settled(page, desk) {
  await page.locator("article").nth(1).waitFor();
  desk.show(snapshotWith(items.hidden));
  await button(cardWith(page, items.push.input.command), "收起").waitFor();
  await stillPage(page);
}

async function offline(page, desk) {
  await question(page);
  await desk.leave();
  await page.getByText("連不上電腦，正在重新連線…").waitFor();
}

async function removed(page, desk) {
  await stillPage(page);
  desk.remove();
  await page.getByText("這支手機已經從電腦上移除").waitFor();
}

const everything = [items.push, items.script, items.stopped];
const shots = {
  "phone-question-light": { pending: [items.push], pose: question },
  "phone-question-dark": { pending: [items.push], pose: question, colorScheme: "dark" },
  "phone-always-light": { pending: [items.push], pose: always },
  "phone-denied-light": { pending: [items.push], pose: denied },
  "phone-stopped-turn-light": { pending: [items.stopped], pose: replied },
  "phone-sessions-light": { pending: [], pose: stillPage },
  "phone-settled-light": { pending: [items.push, items.hidden], pose: settled },
  "phone-offline-light": { pending: [items.push], pose: offline },
  "phone-removed-dark": { pending: [], pose: removed, colorScheme: "dark" },
  "phone-hidden-characters-light": { pending: [items.hidden], pose: question },
  "phone-360-light": { pending: everything, pose: denied, width: 360, isWhole: true },
  "phone-360-dark": { pending: everything, pose: denied, width: 360, isWhole: true, colorScheme: "dark" },
};

async function pair(page) {
  await page.getByLabel("這支手機的名字").fill("小葵的 iPhone");
  await button(page, "配對").click();
  await page.getByText("電腦在線").waitFor();
}

async function openAt(t, browser, relay, { pending = [], width = 390, colorScheme = "light" }) {
  const opened = Date.now();
  const clock = () => Math.min(now, now - runUp + Date.now() - opened);
  const desk = await Desk.start(t, relay.origin, { state: snapshotWith(...pending), clock });
  const page = await watchedPage(
    t,
    browser,
    { url: desk.link, origin: relay.origin },
    {
      viewport: { width, height: 844 },
      deviceScaleFactor: 2,
      hasTouch: true,
      isMobile: true,
      colorScheme,
      reducedMotion: "reduce",
      // The page asks whether it would be admitted, which the browser reports as an error.
      allowed: [/status of 4(26|01)/, /WebSocket connection/],
      prepare: (one) => one.clock.install({ time: now - runUp }),
    },
  );
  return { desk, page };
}

async function shoot(page, path, fullPage = false) {
  await page.mouse.move(0, 0);
  await page.evaluate(() => scrollTo(0, 0));
  await page.screenshot({ path, animations: "disabled", fullPage });
  console.log(path);
}

const folder = process.argv[2];
if (!folder) throw new Error("usage: node shots.mjs FOLDER");
await mkdir(folder, { recursive: true });
process.env.FONTCONFIG_FILE = fileURLToPath(new URL("../page/fonts.conf", import.meta.url));
await during(async (t) => {
  const relay = await Relay.start(t);
  const browser = await launchChromium(t, "--disable-font-subpixel-positioning");
  await during(async (each) => {
    const { page } = await openAt(each, browser, relay, {});
    await page.getByLabel("這支手機的名字").fill("小葵的 iPhone");
    await shoot(page, join(folder, "phone-pairing-light.png"));
  });
  for (const [name, { pose, isWhole, ...state }] of Object.entries(shots))
    await during(async (each) => {
      const { desk, page } = await openAt(each, browser, relay, state);
      await pair(page);
      await pose(page, desk);
      await shoot(page, join(folder, `${name}.png`), isWhole);
    });
});
