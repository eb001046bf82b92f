import assert from "node:assert/strict";
import { test } from "node:test";

import { devices, items, now, snapshotWith } from "./states.mjs";
import { openPage } from "./support/browser.mjs";
import { button, says } from "./support/cards.mjs";
import { Stage } from "./support/stage.mjs";
import { until } from "./support/until.mjs";

const link = "https://relay.tamsell.example/pair#0123";

async function stand(t, options = {}) {
  const stage = await Stage.start(t, { snapshot: snapshotWith(items.push), devices });
  const page = await openPage(t, stage, { prepare: (opened) => opened.clock.install({ time: now }), ...options });
  await page.locator(".phone").first().waitFor();
  return { stage, page, outcome: page.locator("#phone-outcome") };
}

/** Another set of phones, as the daemon tells of it. */
function pairedWith(stage, list) {
  stage.devices = list;
  stage.show({ ...stage.snapshot, relay: { ...stage.snapshot.relay, devices: list.length } });
}

test("the phones are listed with whether they are there", async (t) => {
  const { stage, page } = await stand(t);
  const rows = page.locator(".phone");
  assert.deepEqual(await rows.locator(".phone-name").allTextContents(), [
    "小葵的 iPhone",
    "書房 iPad",
    "工作機 iPhone 16 Pro",
  ]);
  assert.deepEqual(await rows.locator(".phone-state").allTextContents(), ["在線", "在線", "不在線上"]);
  pairedWith(stage, []);
  await page.getByText("還沒有配對手機", { exact: true }).last().waitFor();
  assert.equal(await button(page, "測試推播").isVisible(), false);
});

test("a pairing link is shown while it lasts, renewed, and gone once a phone has paired", async (t) => {
  // Without a relay the daemon refuses, which the browser logs.
  const { stage, page, outcome } = await stand(t, { allowed: [/409/] });
  const box = page.getByRole("group", { name: "配對連結" });
  await button(page, "配對手機…").click();
  await says(outcome, "還沒有設定中繼，現在不能配對手機。");
  assert.equal(await box.isVisible(), false);

  let made = 0;
  stage.replies["/pair"] = () => ({
    status: 200,
    body: { link: `${link}${++made}`, expires: now + made * 600_000 },
  });
  await page.clock.pauseAt(now + 20_000);
  await button(page, "配對手機…").click();
  await says(box.locator(".pairing-link"), `${link}1`);
  assert.equal(await outcome.textContent(), "");
  await says(box.locator(".caption"), "只能配對一支手機，9:40 後失效。不要讓別人拍到。");
  await page.clock.runFor(579_000);
  await says(box.locator(".pairing-link"), `${link}2`);
  await page.clock.runFor(1000);
  await says(box.locator(".caption"), /^只能配對一支手機，10:0\d 後失效/);
  // Those ten minutes were silent, so that the page opens its stream anew, which takes a clock that runs.
  await page.clock.resume();
  await button(page, "隱藏連結").click();
  assert.equal(await box.isVisible(), false);
  assert.equal(await page.locator(".pairing-link").textContent(), "");

  await button(page, "配對手機…").click();
  await box.waitFor();
  pairedWith(stage, [...devices, { id: "phone-4", name: "新\u202E手機", addedAt: now, online: true }]);
  await says(outcome, "已配對：新U+202E手機");
  assert.equal(await box.isVisible(), false);
});

test("a phone is removed only when that is confirmed", async (t) => {
  const { stage, page, outcome } = await stand(t);
  const dialog = page.getByRole("dialog");
  const focused = () => page.evaluate(() => document.activeElement.textContent);
  const open = async () => {
    await page.locator(".phone").nth(1).hover();
    await button(page.locator(".phone").nth(1), "移除…").click();
    assert.equal(await dialog.getByRole("heading").textContent(), "移除「書房 iPad」？");
    assert.equal(await focused(), "取消");
  };
  const removals = () => stage.asked.filter(({ path }) => path === "/devices/remove").map(({ body }) => body);

  const waysOut = [
    () => button(dialog, "取消").click(),
    () => page.keyboard.press("Enter"),
    () => page.keyboard.press("Escape"),
    () => page.mouse.click(5, 5),
  ];
  for (const wayOut of waysOut) {
    await open();
    await wayOut();
    await dialog.waitFor({ state: "hidden" });
  }
  assert.deepEqual(removals(), []);

  await open();
  await button(dialog, "移除").click();
  await says(outcome, "已移除");
  assert.deepEqual(removals(), [{ id: "phone-2" }]);
  await until(async () => (await page.locator(".phone").count()) === 2, "the row to go");
});

test("a test push says how it went", async (t) => {
  const { stage, page, outcome } = await stand(t);
  const later = now - 60_000; // By a clock that is not the page's.
  const earlier = { devices: 3, ok: 3, at: later - 1 };
  stage.show({ ...stage.snapshot, relay: { ...stage.snapshot.relay, lastPush: earlier } });
  const offline = { ...stage.snapshot, relay: { ...stage.snapshot.relay, connected: false } };
  const table = [
    [{ devices: 3, ok: 2, at: later }, "送達 2/3 台裝置"],
    [{ devices: 3, ok: 0, at: later }, "推播送不出去（0/3）"],
    [{ devices: 0, ok: 0, at: later }, "還沒有手機註冊推播，先在手機上打開 Tamsell App"],
    [earlier, "中繼沒有回應"],
    [{ devices: "3", ok: 3, at: later }, "中繼沒有回應"],
    [{ error: "relay did not answer" }, "中繼沒有回應"],
    [{ error: "relay did not answer" }, "還沒連上中繼", offline],
  ];
  for (const [body, said, snapshot] of table) {
    if (snapshot) stage.show(snapshot);
    stage.replies["/test-push"] = { status: 200, body };
    if (snapshot) await page.getByText("正在連線到中繼…").waitFor();
    await button(page, "測試推播").click();
    await says(outcome, said);
  }
});

test("a daemon whose invites are always about to end is not asked all the time", async (t) => {
  const { stage, page } = await stand(t);
  stage.replies["/pair"] = { status: 200, body: { link, expires: now } };
  let asked = 0;
  page.on("request", (request) => (asked += Number(new URL(request.url()).pathname === "/pair")));
  await page.clock.pauseAt(now + 20_000);
  await button(page, "配對手機…").click();
  await page.getByRole("group", { name: "配對連結" }).waitFor();
  const seconds = []; // Those in which it was asked.
  for (let second = 1; second <= 30; ++second) {
    const before = asked;
    await page.clock.runFor(1000);
    await page.evaluate(() => fetch(location)); // What was asked before is known by then.
    if (asked > before) seconds.push(second);
  }
  assert.ok(seconds.length >= 3, "it is asked again");
  [0, ...seconds].reduce((last, second) => {
    assert.ok(second - last >= 5, `asked after ${last} and ${second} seconds`);
    return second;
  });
  assert.equal(asked, 1 + seconds.length);
});

test("a pairing link is copied, or selected for the person to copy", async (t) => {
  const { stage, page, outcome } = await stand(t);
  stage.replies["/pair"] = { status: 200, body: { link, expires: now + 600_000 } };
  // All others are refused.
  const allowOnly = (...permissions) => page.context().grantPermissions(permissions, { origin: stage.origin });
  await button(page, "配對手機…").click();

  await allowOnly("clipboard-read");
  await button(page, "複製連結").click();
  await says(outcome, "已選取連結，請自己複製。");
  assert.equal(await page.evaluate(() => getSelection().toString()), link);

  await allowOnly("clipboard-read", "clipboard-write");
  await button(page, "複製連結").click();
  await says(outcome, "已複製連結");
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), link);
});

test("phones that come and go in quick succession are asked for one request at a time", async (t) => {
  const { stage, page } = await stand(t);
  let requests = 0;
  let answer;
  const held = new Promise((resolve) => (answer = resolve));
  await page.route("**/devices?*", async (route) => {
    ++requests;
    await held;
    await route.continue();
  });
  const came = (count) => {
    stage.devices = devices.map((device, i) => ({ ...device, online: i < count }));
    stage.show({ ...stage.snapshot, relay: { ...stage.snapshot.relay, phones: count } });
  };
  for (const count of [1, 2, 0, 3, 1, 3]) {
    came(count);
    await says(page.locator("#status"), count > 0 ? `已連線，${count} 支手機在線` : "已連線，手機目前不在線上");
  }
  assert.equal(requests, 1);
  answer();
  const states = page.locator(".phone-state");
  await until(async () => (await states.allTextContents()).join() === "在線,在線,在線", "the phones as they are now");
  await until(() => requests === 2, "the request after the first");
  came(2);
  await until(async () => (await states.allTextContents()).join() === "在線,在線,不在線上", "one phone's going");
  assert.equal(requests, 3);
});

test("a link that was hidden stays hidden when its renewal arrives", async (t) => {
  const { stage, page } = await stand(t);
  stage.replies["/pair"] = { status: 200, body: { link, expires: now + 600_000 } };
  await button(page, "配對手機…").click();
  const box = page.getByRole("group", { name: "配對連結" });
  await box.waitFor();
  let arrive;
  const held = new Promise((resolve) => (arrive = resolve));
  await page.route("**/pair?*", (route) => held.then(() => route.continue()));
  const renewal = page.waitForRequest("**/pair?*");
  const arrived = page.waitForResponse("**/pair?*");
  await page.clock.fastForward(598_000);
  await renewal;
  await button(page, "隱藏連結").click();
  arrive();
  await (await arrived).finished();
  await page.evaluate(() => fetch(location)); // What came before has been dealt with by then.
  assert.equal(await box.isVisible(), false);
  assert.equal(await page.locator(".pairing-link").textContent(), "");
});

test("a change among the phones leaves the focus where it is", async (t) => {
  const { stage, page } = await stand(t);
  await button(page.locator(".phone").nth(1), "移除…").focus();
  pairedWith(
    stage,
    devices.slice(0, 2).map((device) => ({ ...device, online: !device.online })),
  );
  await until(async () => (await page.locator(".phone").count()) === 2, "the other phones");
  await page.keyboard.press("Enter");
  await says(page.locator("#removal-title"), "移除「書房 iPad」？");
});

test("what the daemon does not answer or do is said", async (t) => {
  const { page, outcome } = await stand(t, { allowed: [/net::ERR_FAILED/, /status of (404|500)/] });
  const remove = async () => {
    await page.locator(".phone").first().hover();
    await button(page.locator(".phone").first(), "移除…").click();
    await button(page.getByRole("dialog"), "移除").click();
  };
  const never = (route) => route.abort();
  const refuse = (status) => (route) => route.fulfill({ status, body: '{"error":"no"}' });
  let answer;
  await page.route(/\/(pair|test-push|devices\/remove)\?/, (route) => answer(route));
  for (const [act, given, said] of [
    [() => button(page, "配對手機…").click(), never, "沒有拿到配對連結，請再試一次。"],
    [() => button(page, "測試推播").click(), never, "沒有收到 Tamsell 的回音，請再試一次。"],
    [remove, never, "沒有移除成功，請再試一次。"],
    [remove, refuse(404), "已移除"], // Somebody else was faster.
    [remove, refuse(500), "沒有移除成功，請再試一次。"],
  ]) {
    answer = given;
    await act();
    await says(outcome, said);
  }
});

test("hiding the link moves nothing above it", async (t) => {
  const { stage, page } = await stand(t, { viewport: { width: 360, height: 640 } });
  stage.replies["/pair"] = { status: 200, body: { link, expires: now + 600_000 } };
  await button(page, "配對手機…").click();
  const hide = button(page, "隱藏連結");
  await hide.scrollIntoViewIfNeeded();
  await hide.hover();
  const heading = page.getByRole("heading", { name: "手機" });
  const place = await heading.boundingBox();
  await hide.click();
  await hide.waitFor({ state: "hidden" });
  assert.deepEqual(await heading.boundingBox(), place);
});
