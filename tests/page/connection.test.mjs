import assert from "node:assert/strict";
import { randomUUID } from "node:crypto";
import { test } from "node:test";

import { items, now, snapshotWith } from "./states.mjs";
import { openPage } from "./support/browser.mjs";
import { button, cardOf, cardWith, says } from "./support/cards.mjs";
import { RunningDaemon } from "./support/daemon.mjs";
import { runHook } from "./support/hook.mjs";
import { Stage } from "./support/stage.mjs";
import { until } from "./support/until.mjs";

const lost = "連線中斷，正在重新連線…";
const unpaired = "還沒有配對手機";
const refused = "這個網址的權杖不對。執行 tamsellctl url 取得新的網址。";
const elsewhere = "已經回答過或已逾時";
/** What a browser logs about a request that found nobody, and one that was refused. */
const nobody = /net::ERR_(CONNECTION_REFUSED|CONNECTION_RESET|INCOMPLETE_CHUNKED_ENCODING|EMPTY_RESPONSE|FAILED)/;
const unauthorized = /status of 401/;

const areModesDisabled = (page) =>
  page.getByRole("radio").evaluateAll((all) => all.every((it) => it.matches(":disabled, [aria-disabled=true]")));

test("a daemon that ends and starts again is found again", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const before = await runHook(t, daemon, "permission_request_minimal");
  const page = await openPage(t, daemon, { allowed: [nobody] });
  const status = page.locator("#status");
  await cardWith(page, "make install").waitFor();
  assert.match(await page.title(), /^\(1\)/);

  await daemon.stop();
  assert.equal(await before.reply, "");
  await says(status, lost);
  assert.ok(await areModesDisabled(page));
  assert.equal(await page.title(), "Tamsell");
  await daemon.restart();
  await says(status, unpaired);
  assert.equal(await areModesDisabled(page), false);
  await says(cardWith(page, "make install").locator(".outcome"), elsewhere);

  const hook = await runHook(t, daemon, "permission_request_bash");
  await button(cardWith(page, "git push"), "允許").click();
  assert.match(await hook.reply, /"behavior":"allow"/);
  await says(cardWith(page, "git push").locator(".outcome"), "已允許");

  // Whoever opens the address again finds what waits now, and nothing else.
  const next = await runHook(t, daemon, "stop");
  await cardWith(page, "14 tests pass.").waitFor();
  await page.reload();
  await cardWith(page, "14 tests pass.").getByRole("textbox").fill("go on");
  assert.equal(await page.locator("article").count(), 1);
  await page.keyboard.press("Enter");
  assert.match(await next.reply, /go on/);
});

test("a daemon that says nothing any more is not taken for one that is well", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const prepare = (opened) => opened.clock.install();
  const page = await openPage(t, daemon, { prepare, allowed: [nobody] });
  const status = page.locator("#status");
  await says(status, unpaired);
  daemon.suspend();
  await page.clock.fastForward(30_000);
  await says(status, unpaired); // It has 20 seconds between its comments.
  await page.clock.fastForward(20_000);
  await says(status, lost);
  daemon.resume();
  await says(status, unpaired);
  await runHook(t, daemon, "permission_request_minimal");
  await cardWith(page, "make install").waitFor();
});

test("a token that is not the daemon's any more is said to be wrong", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const { kill } = await runHook(t, daemon, "permission_request_minimal");
  const page = await openPage(t, daemon, { allowed: [unauthorized, nobody] });
  const card = cardWith(page, "make install");
  await card.waitFor();
  await daemon.configure({ mode: "on", port: daemon.port, token: randomUUID() });
  await until(
    async () => (await fetch(`${daemon.origin}/state?token=${daemon.token}`)).status === 401,
    "the new token",
  );
  await button(card, "允許").click();
  await says(card.locator(".problem"), "Tamsell 沒有接受這個回答，請重新載入這一頁。");
  assert.ok(await button(card, "允許").isVisible());
  await kill();
  await daemon.restart();
  await says(page.locator("#status"), refused);
  assert.ok(await areModesDisabled(page));
});

test("an answer without a response is uncertain, and can be given again", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const [first, second] = [
    await runHook(t, daemon, "permission_request_minimal"),
    await runHook(t, daemon, "permission_request_bash"),
  ];
  const page = await openPage(t, daemon, { allowed: [nobody, /status of 404/] });
  const uncertain = "沒有收到回音，不確定有沒有送到。請再試一次。";

  const lostOnTheWay = cardWith(page, "make install");
  await page.route("**/answer?*", (route) => route.abort(), { times: 1 });
  await button(lostOnTheWay, "允許").click();
  await says(lostOnTheWay.locator(".problem"), uncertain);
  await button(lostOnTheWay, "允許").click();
  assert.match(await first.reply, /"behavior":"allow"/);
  await says(lostOnTheWay.locator(".outcome"), "已允許");

  // One that arrived, and whose response did not.
  const arrived = cardWith(page, "git push");
  const passOn = async (route) => {
    await route.fetch();
    await route.abort();
  };
  await page.route("**/answer?*", passOn, { times: 1 });
  await button(arrived, "拒絕…").click();
  await page.keyboard.type("not now");
  await page.keyboard.press("Enter");
  assert.match(await second.reply, /not now/);
  await says(arrived.locator(".outcome"), "已經結束；不確定是不是你的回答");
});

test("a mode that could not be switched goes back", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const page = await openPage(t, daemon, { allowed: [nobody, /status of 500/] });
  const mode = (name) => page.getByRole("radio", { name });
  await says(page.locator("#status"), unpaired);
  for (const fail of [(route) => route.abort(), (route) => route.fulfill({ status: 500, body: "{}" })]) {
    await page.route("**/mode?*", fail, { times: 1 });
    await mode("關閉").click();
    await says(page.locator("#mode-problem"), "模式沒有改成功，請再試一次。");
    assert.ok(await mode("開啟").isChecked());
  }
  await mode("關閉").click();
  await says(page.locator("#description"), "不轉發，全部在 Mac 上處理");
  await says(page.locator("#mode-problem"), "");
});

test("a state that cannot be shown is no reason to hear no more", async (t) => {
  const stage = await Stage.start(t, { snapshot: snapshotWith(items.push) });
  const page = await openPage(t, stage, {
    prepare: (opened) => opened.clock.install({ time: now }),
    allowed: [/uncaught/, nobody],
  });
  await cardOf(page, items.push).waitFor();
  stage.show({ ...snapshotWith(), pending: 7 });
  stage.show(snapshotWith(items.push, items.stopped));
  await cardOf(page, items.stopped).waitFor();
  stage.breakStreams();
  stage.snapshot = snapshotWith(items.stopped);
  await says(cardOf(page, items.push).locator(".outcome"), elsewhere);
});
