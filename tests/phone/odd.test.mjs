import assert from "node:assert/strict";
import { test } from "node:test";

import { items, snapshotWith } from "../page/states.mjs";
import { accessibilityFaults } from "../page/support/accessibility.mjs";
import { openPage } from "../page/support/browser.mjs";
import { button, cardOf, cardWith, says } from "../page/support/cards.mjs";
import { launchChromium } from "../page/support/chromium.mjs";
import { watchedPage } from "../page/support/watched-page.mjs";
import { Desk } from "./desk.mjs";
import { Relay } from "./real-relay.mjs";

const phone = { viewport: { width: 360, height: 740 }, hasTouch: true, isMobile: true };
// The page asks whether it would be admitted, which the browser reports as an error.
const asked = [/status of 4(26|01)/, /WebSocket connection/];

async function start(t, state, options) {
  const relay = await Relay.start(t);
  const desk = await Desk.start(t, relay.origin, { state, ...options });
  return { relay, desk };
}

async function open(t, { relay, desk }, options = {}) {
  return openPage(t, { url: desk.link, origin: relay.origin }, { ...phone, allowed: asked, ...options });
}

async function pairedPhone(t, stage, options) {
  const page = await open(t, stage, options);
  await button(page, "配對").click();
  await page.getByText("電腦在線").waitFor();
  return page;
}

/** Items whose time runs from now. */
const waiting = (...some) => some.map((item) => ({ ...item, createdAt: Date.now(), expiresAt: Date.now() + 120_000 }));

async function fits(page) {
  for (const width of [320, 360, 390]) {
    await page.setViewportSize({ width, height: 740 });
    assert.equal(await page.evaluate(() => document.scrollingElement.scrollWidth), width);
    const cut = await page.evaluate(() =>
      [...document.querySelectorAll("button, .title, .banner, .outcome, .status")]
        .filter((element) => element.checkVisibility() && element.scrollWidth > element.clientWidth + 1)
        .map((element) => element.outerHTML),
    );
    assert.deepEqual(cut, []);
  }
}

test("an invite that has expired is refused with what to do, and another one is taken", async (t) => {
  const stage = await start(t, snapshotWith(), { inviteLife: 1500 });
  const page = await open(t, stage);
  await page.waitForTimeout(1600);
  await button(page, "配對").click();
  await page.getByRole("alert").filter({ hasText: "邀請" }).waitFor({ timeout: 20_000 });
  assert.deepEqual(await accessibilityFaults(page), []);
  await fits(page);
  stage.desk.inviteLife = 600_000;
  await stage.desk.leave();
  await stage.desk.connect();
  await button(page, "配對").click();
  await page.getByText("電腦在線").waitFor();
});

test("while the computer is away nothing is sent, and its questions are there again with it", async (t) => {
  const stage = await start(t, snapshotWith(...waiting(items.push, items.stopped)));
  const page = await pairedPhone(t, stage);
  const stopped = cardOf(page, items.stopped);
  await stopped.getByLabel("下一個指令").fill("先不要發佈");
  await stage.desk.leave();
  await says(page.locator(".status"), "連不上電腦");
  await page.waitForTimeout(700);
  await button(cardOf(page, items.push), "允許").click();
  await says(cardOf(page, items.push).locator(".problem"), "現在連不上電腦，沒有送出。");
  // What is inactive needs no contrast (WCAG 2.2, 1.4.3).
  assert.deepEqual(await accessibilityFaults(page, { without: ["color-contrast"] }), []);
  await fits(page);
  await stage.desk.connect();
  await says(page.locator(".status"), "電腦在線");
  assert.equal(await stopped.getByLabel("下一個指令").inputValue(), "先不要發佈");
  assert.ok(await button(cardOf(page, items.push), "允許").isVisible());
});

test("nothing that comes from outside becomes more than text, and the longest fits", async (t) => {
  const markup = "<img src=x onerror=ran=1></script><script>ran=1</script><a href=javascript:ran=1>\u202e\u0007";
  let count = 0;
  const evil = () => `evil${++count} ${markup}${"很長的字".repeat(60)}${"x".repeat(300)}`;
  const [one, two, three] = waiting(items.push, items.fresh, items.stopped);
  const pending = [
    {
      ...one,
      client: evil(),
      cwd: `/${evil()}`,
      input: { command: evil(), description: evil(), [evil()]: { [evil()]: evil() } },
      suggestions: [
        {
          type: "addRules",
          rules: [{ toolName: evil(), ruleContent: evil() }],
          behavior: "allow",
          destination: evil(),
        },
        { type: evil(), [evil()]: evil() },
      ],
    },
    { ...two, tool: evil(), input: { file_path: evil(), old_string: evil(), new_string: evil(), plan: evil() } },
    { ...three, client: evil(), cwd: evil(), lastMessage: evil() },
  ];
  const state = snapshotWith(...pending);
  state.sessions = state.sessions.map((session) => ({ ...session, id: evil(), client: evil(), cwd: evil() }));
  state.recent = state.recent.map((event) => ({
    ...event,
    event: evil(),
    client: evil(),
    tool: evil(),
    summary: evil(),
  }));
  state.presence = { ...state.presence, idleMinutes: markup };
  const stage = await start(t, state);
  const page = await pairedPhone(t, stage, { reducedMotion: "reduce" });
  await page.getByText("最近的事件").click();
  await cardWith(page, "evil1").first().waitFor();
  await button(page.locator("article").first(), "拒絕…").click();
  const made = "#page img, #page a, #page script";
  assert.equal(await page.evaluate((elements) => document.querySelectorAll(elements).length, made), 0);
  assert.equal(await page.evaluate(() => typeof ran), "undefined");
  assert.doesNotMatch(await page.locator("#page").textContent(), /[\u202e\u0007]/);
  for (const colorScheme of ["light", "dark"]) {
    await page.emulateMedia({ colorScheme });
    assert.deepEqual(await accessibilityFaults(page), []);
    await fits(page);
  }
});

test("a page that came over plain HTTP from another machine says what is missing", async (t) => {
  const stage = await start(t, snapshotWith());
  const browser = await launchChromium(t, "--host-resolver-rules=MAP relay.test 127.0.0.1");
  const elsewhere = new URL(stage.desk.link);
  elsewhere.hostname = "relay.test";
  const options = { ...phone, allowed: [/Cross-Origin-Opener-Policy/] };
  const page = await watchedPage(t, browser, { url: elsewhere.href, origin: elsewhere.origin }, options);
  await page.getByText("這個網址不夠安全").waitFor();
  assert.equal(await page.getByRole("button").count(), 0);
  assert.deepEqual(await accessibilityFaults(page), []);
});
