import assert from "node:assert/strict";
import { mkdtemp, rm, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";

import { accessibilityFaults } from "../page/support/accessibility.mjs";
import { openPage } from "../page/support/browser.mjs";
import { launchChromium } from "../page/support/chromium.mjs";
import { button, cardWith, says } from "../page/support/cards.mjs";
import { RunningDaemon } from "../page/support/daemon.mjs";
import { defer } from "../page/support/defer.mjs";
import { runHook } from "../page/support/hook.mjs";
import { bin, Program } from "../page/support/programs.mjs";
import { until } from "../page/support/until.mjs";
import { watchedPage } from "../page/support/watched-page.mjs";
import { Relay } from "./real-relay.mjs";

const phone = { viewport: { width: 390, height: 844 }, hasTouch: true, isMobile: true };
// The page asks whether it would be admitted, which the browser reports as an error.
const asked = [/status of 426/];
const lost = [/ERR_CONNECTION_REFUSED|WebSocket connection/];
const over = "已經回答過或已逾時";

async function control(daemon, ...args) {
  const program = new Program(join(bin, "tamsellctl"), args, { env: { ...process.env, TAMSELL_HOME: daemon.home } });
  const { code } = await program.ended;
  assert.equal(code, 0, program.output);
  return program.output.trim();
}

async function phonesOf(daemon) {
  return daemon.api("/devices");
}

async function start(t) {
  const relay = await Relay.start(t);
  const daemon = await RunningDaemon.start(t);
  await control(daemon, "relay", "set", relay.origin);
  await until(async () => (await daemon.api("/state")).relay.connected, "the daemon's relay");
  return { relay, daemon };
}

/** A phone that has the page open and is paired. */
async function pairedPhone(t, { relay, daemon }, { name = "小葵的手機", allowed = [], ...options } = {}) {
  const url = await control(daemon, "pair");
  const allAllowed = [...asked, ...allowed];
  const page = await openPage(t, { url, origin: relay.origin }, { ...phone, allowed: allAllowed, ...options });
  await page.getByLabel("這支手機的名字").fill(name);
  await button(page, "配對").click();
  await page.getByText("電腦在線").waitFor({ timeout: 30_000 });
  return page;
}

const push = { tool_input: { command: "git push origin release/2.4" } };

test("a link pairs, and leaves nothing in the address", async (t) => {
  const { relay, daemon } = await start(t);
  const url = await control(daemon, "pair");
  const page = await openPage(t, { url, origin: relay.origin }, { ...phone, allowed: asked });
  await button(page, "配對").waitFor();
  assert.equal(page.url(), `${relay.origin}/`);
  assert.deepEqual(await accessibilityFaults(page), []);
  await page.getByLabel("這支手機的名字").fill("小葵的手機 🚀");
  await button(page, "配對").click();
  await says(page.locator(".status"), "電腦在線");
  assert.deepEqual(await accessibilityFaults(page), []);
  assert.deepEqual(
    (await phonesOf(daemon)).map(({ name }) => name),
    ["小葵的手機 🚀"],
  );

  // Its pairing outlives the page, and the link does not work twice.
  await page.reload();
  await says(page.locator(".status"), "電腦在線");
  const other = await openPage(t, { url, origin: relay.origin }, { ...phone, allowed: [/status of 401/] });
  await button(other, "配對").click();
  await other.getByText("這個邀請不能用了").waitFor({ timeout: 30_000 });
});

test("the camera reads the code, and a link can be pasted", async (t) => {
  const { relay, daemon } = await start(t);
  const link = await control(daemon, "pair");
  const film = join(relay.home, "film.mjpeg");
  const painter = await openPage(t, { url: "about:blank", origin: "null" }, { viewport: { width: 640, height: 480 } });
  const code = new Program("qrencode", ["-t", "SVG", "-s", "8", "-o", "-", link]);
  await code.ended;
  await painter.setContent(
    `<style>svg { position: fixed; left: 90px; top: 10px; height: 460px }</style>${code.output}`,
  );
  await writeFile(film, await painter.screenshot({ type: "jpeg" }));

  const camera = ["--use-fake-device-for-media-stream", `--use-file-for-fake-video-capture=${film}`];
  const browser = await launchChromium(t, ...camera);
  const open = (options) =>
    watchedPage(t, browser, { url: relay.origin, origin: relay.origin }, { ...phone, ...options });
  const page = await open({ allowed: asked, permissions: ["camera"] });
  await button(page, "掃描 QR code").click();
  await button(page, "配對").click();
  await says(page.locator(".status"), "電腦在線");

  const other = await open({ permissions: [] });
  await other.getByLabel("或貼上配對連結").fill(link.slice(0, -10));
  await button(other, "使用這個連結").click();
  await other.getByText("這個連結不完整").waitFor();
  await other.getByLabel("或貼上配對連結").fill(link.replace(/^http:..[^/]*/, "https://relay.example"));
  await button(other, "使用這個連結").click();
  await other.getByText("屬於另一個中繼（https://relay.example）").waitFor();
  await other.getByLabel("或貼上配對連結").fill(` ${link.slice(0, 60)}\n${link.slice(60)}`);
  await button(other, "使用這個連結").click();
  await button(other, "配對").waitFor();
});

test("answers reach the agent, and count as sent when the computer says so", async (t) => {
  const stage = await start(t);
  const page = await pairedPhone(t, stage);
  const ask = (fixture, members) => runHook(t, stage.daemon, fixture, { members });

  const allowed = await ask("permission_request_bash", push);
  const card = cardWith(page, "release/2.4");
  await button(card, "允許").click();
  await says(card.locator(".outcome"), "已允許");
  assert.equal(JSON.parse(await allowed.reply).hookSpecificOutput.decision.behavior, "allow");

  const remembered = await ask("permission_request_bash", {
    tool_input: { command: "npm test" },
    permission_suggestions: [
      {
        type: "addRules",
        rules: [{ toolName: "Bash", ruleContent: "npm test" }],
        behavior: "allow",
        destination: "session",
      },
    ],
  });
  const third = cardWith(page, "npm test");
  await button(third, "總是允許…").click();
  await third.getByText("只在這個工作階段有效").waitFor();
  await button(third, "總是允許").click();
  await says(third.locator(".outcome"), "已允許，並且記住了");
  assert.ok(JSON.parse(await remembered.reply).hookSpecificOutput.decision.updatedPermissions);

  const stopped = await ask("stop", {});
  const fourth = cardWith(page, "停下來了");
  await fourth.getByLabel("下一個指令").fill("先補測試");
  await button(fourth, "送出").click();
  await says(fourth.locator(".outcome"), "已送出");
  assert.match(JSON.parse(await stopped.reply).reason, /先補測試$/);

  const denied = await ask("permission_request_bash", {
    tool_input: { command: "<img src=x onerror=alert(1)> \u202e" },
  });
  const second = cardWith(page, "onerror");
  assert.equal(await second.locator("img").count(), 0);
  await says(second.locator(".mark").first(), "U+202E");
  await button(second, "拒絕…").click();
  await page.keyboard.type("不要");
  await page.keyboard.press("Enter");
  await says(second.locator(".outcome"), "已拒絕");
  assert.equal(JSON.parse(await denied.reply).hookSpecificOutput.decision.message, "不要");
});

test("the first answer wins, and a card that was settled elsewhere stays in its place", async (t) => {
  const stage = await start(t);
  const [one, two] = [await pairedPhone(t, stage), await pairedPhone(t, stage, { name: "平板" })];
  const asking = await runHook(t, stage.daemon, "permission_request_bash", { members: push });
  await cardWith(two, "release/2.4").waitFor();
  const before = await cardWith(two, "release/2.4").boundingBox();
  await button(cardWith(one, "release/2.4"), "允許").click();
  assert.equal(JSON.parse(await asking.reply).hookSpecificOutput.decision.behavior, "allow");
  await says(cardWith(two, "release/2.4").locator(".outcome"), over);
  assert.deepEqual(await cardWith(two, "release/2.4").boundingBox(), before);
});

test("a lost result is asked for once more and never passed off as somebody else's answer", async (t) => {
  const stage = await start(t);
  let isDeaf = false;
  const sent = [];
  const prepare = (page) =>
    page.routeWebSocket(/role=phone/, (socket) => {
      const server = socket.connectToServer();
      socket.onMessage((message) => {
        if (isDeaf && message.includes('"msg"')) sent.push(message);
        server.send(message);
      });
      server.onMessage((message) => isDeaf || socket.send(message));
    });
  const page = await pairedPhone(t, stage, { prepare });
  const asking = await runHook(t, stage.daemon, "permission_request_bash", { members: push });
  const card = cardWith(page, "release/2.4");
  await card.waitFor();
  await page.waitForTimeout(700);
  isDeaf = true;
  await button(card, "允許").click();
  assert.equal(JSON.parse(await asking.reply).hookSpecificOutput.decision.behavior, "allow");
  await says(card.locator(".sending"), "正在送出…");
  assert.equal(await card.locator(".outcome").count(), 0);
  assert.equal(sent.length, 1);
  isDeaf = false;
  await card.locator(".outcome").waitFor({ timeout: 30_000 });
  await says(card.locator(".outcome"), "已經結束，但沒有確認到你的回答。請到電腦前看。");
});

test("the page says what is not there, and comes back by itself", async (t) => {
  const stage = await start(t);
  const page = await pairedPhone(t, stage, { allowed: lost });
  await runHook(t, stage.daemon, "permission_request_bash", { members: push });
  const card = cardWith(page, "release/2.4");
  await card.waitFor();
  await page.evaluate(() => navigator.serviceWorker.ready.then(() => true));
  await stage.relay.kill();
  await says(page.locator(".status"), "連不上中繼");
  await page.waitForTimeout(700);
  await button(card, "允許").click();
  await says(card.locator(".problem"), "現在連不上電腦，沒有送出。");
  await page.reload();
  await says(page.locator(".status"), "連不上中繼");
  await stage.relay.launch();
  await page.getByText("電腦在線").waitFor({ timeout: 40_000 });
  await card.waitFor();
});

test("the mode is the computer's, and ending the pairing forgets the keys", async (t) => {
  const stage = await start(t);
  const page = await pairedPhone(t, stage);
  await page.getByLabel("關閉").click();
  await page.getByText("不轉發，全部在電腦上處理").waitFor();
  assert.equal((await stage.daemon.api("/state")).presence.mode, "off");
  await button(page, "取消配對…").click();
  await button(page, "取消配對").click();
  await button(page, "掃描 QR code").waitFor();
  await page.reload();
  await button(page, "掃描 QR code").waitFor();
});

test("a phone that the computer removes says so, and asks no more", async (t) => {
  const stage = await start(t);
  const page = await pairedPhone(t, stage, { name: "舊手機" });
  const [{ id }] = await phonesOf(stage.daemon);
  await control(stage.daemon, "devices", "remove", id);
  await says(page.locator(".status"), "已經移除");
  assert.ok(await page.getByText("沒有在等你的事").isHidden());
  await button(page, "重新配對").click();
  await button(page, "掃描 QR code").waitFor();
});
