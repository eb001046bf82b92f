import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { join } from "node:path";
import { test } from "node:test";

import { openPage } from "./support/browser.mjs";
import { answersOf, button, cardWith, says } from "./support/cards.mjs";
import { RunningDaemon } from "./support/daemon.mjs";
import { runHook } from "./support/hook.mjs";
import { until } from "./support/until.mjs";

const decided = (decision) => ({ hookSpecificOutput: { hookEventName: "PermissionRequest", decision } });
const instructed = (text) => ({
  decision: "block",
  reason: `The user sent a new instruction from their phone. Do this next:\n\n${text}`,
});
const elsewhere = "已經回答過或已逾時";

/** What the hook printed. */
const printed = async (hook) => JSON.parse(await hook.reply);

test("an agent gets the answer that was given on the page", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const page = await openPage(t, daemon);

  await t.test("allowed", async (t) => {
    const hook = await runHook(t, daemon, "permission_request_bash");
    const card = cardWith(page, "git push origin release/2.4");
    await says(card.locator(".what"), "orchardBashterminal");
    await says(card.locator(".claim"), "agent 的說明：Push the release branch");
    await button(card, "允許").click();
    assert.deepEqual(await printed(hook), decided({ behavior: "allow" }));
    await says(card.locator(".outcome"), "已允許");
    await button(card, "收起").click();
    await card.waitFor({ state: "detached" });
    assert.ok(await page.getByText("現在沒有問題在等你。").isVisible());
  });

  await t.test("always, once the person has seen what that writes", async (t) => {
    const hook = await runHook(t, daemon, "permission_request_unknown_suggestion");
    const [{ suggestions }] = await daemon.pending(1);
    const card = cardWith(page, "docker compose up -d");
    await button(card, "總是允許…").click();
    const rules = await card.locator(".rules").innerText();
    assert.match(
      rules,
      /"type": "someFutureKind"[^]*Bash\(docker compose:\*\)[^]*寫入這個專案的共用設定（projectSettings）/,
    );
    await button(card, "取消").click();
    assert.equal(await card.locator(".rules").count(), 0);
    assert.ok(await button(card, "允許").isVisible());
    await button(card, "總是允許…").click();
    await button(card, "總是允許").click();
    assert.deepEqual(await printed(hook), decided({ behavior: "allow", updatedPermissions: suggestions }));
    await says(card.locator(".outcome"), "已允許，並且記住了");
  });

  await t.test("denied, with and without a reason", async (t) => {
    const first = await runHook(t, daemon, "permission_request_minimal");
    const card = cardWith(page, "make install");
    assert.equal(await button(card, "總是允許…").count(), 0); // Nothing was suggested.
    await button(card, "拒絕…").click();
    await page.keyboard.type("先跑測試");
    await page.keyboard.press("Escape");
    await button(card, "拒絕…").click();
    await page.keyboard.type('先跑 <測試> "& \\');
    await page.keyboard.press("Enter");
    assert.deepEqual(await printed(first), decided({ behavior: "deny", message: '先跑 <測試> "& \\' }));
    await says(card.locator(".outcome"), "已拒絕");

    const second = await runHook(t, daemon, "permission_request_network", { client: "Codex" });
    const other = cardWith(page, "curl");
    await button(other, "拒絕…").click();
    await button(other, "拒絕").click();
    assert.deepEqual(await printed(second), decided({ behavior: "deny", message: "Denied from phone" }));
  });

  await t.test("told what to do next", async (t) => {
    const hook = await runHook(t, daemon, "stop");
    const answers = answersOf(page);
    const card = cardWith(page, "14 tests pass.");
    const send = button(card, "送出");
    await card.getByRole("textbox", { name: "下一個指令" }).focus();
    for (const key of ["Enter", "Space", "Shift+Enter", "Enter"]) await page.keyboard.press(key);
    assert.ok(await send.isDisabled());
    assert.deepEqual(await answers(), []);

    const devtools = await page.context().newCDPSession(page);
    await devtools.send("Input.imeSetComposition", { text: "ㄅㄨ", selectionStart: 2, selectionEnd: 2 });
    await page.keyboard.press("Enter");
    await devtools.send("Input.insertText", { text: "補上測試" });
    for (const told of [{ isComposing: true }, { keyCode: 229 }]) {
      const isHandled = await page.evaluate((more) => {
        const event = new KeyboardEvent("keydown", { key: "Enter", bubbles: true, cancelable: true, ...more });
        return !document.activeElement.dispatchEvent(event);
      }, told);
      assert.equal(isHandled, false, JSON.stringify(told));
    }
    assert.deepEqual(await answers(), []);

    await page.keyboard.press("Shift+Enter");
    await page.keyboard.type("then push");
    await page.keyboard.press("Enter");
    assert.deepEqual(await printed(hook), instructed("補上測試\nthen push"));
    await says(card.locator(".outcome"), "已送出");
    assert.equal(await card.getByRole("textbox").count(), 0);
    assert.equal((await answers()).length, 1);
  });

  await t.test("nothing, when it gave up or was kept waiting for too long", async (t) => {
    const { kill } = await runHook(t, daemon, "permission_request_mcp");
    const card = cardWith(page, "Planner ignores bin limit");
    await card.waitFor();
    await kill();
    await says(card.locator(".outcome"), elsewhere);

    await daemon.configure({ mode: "on", permissionWait: 1, port: daemon.port, token: daemon.token });
    const hook = await runHook(t, daemon, "permission_request_subagent");
    assert.equal(await hook.reply, "");
    await says(cardWith(page, "npm audit fix").locator(".outcome"), elsewhere);
  });
});

test("what was answered somewhere else stays in its place until it is put away", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const [one, other] = [await openPage(t, daemon), await openPage(t, daemon)];
  const question = await runHook(t, daemon, "permission_request_bash_multiline");
  await daemon.pending(1);
  const stopped = await runHook(t, daemon, "stop", { client: "Codex" });

  const [card, reply] = [cardWith(other, "rm -rf ./tmp/*"), cardWith(other, "Published 0.4.2")];
  const field = reply.getByRole("textbox");
  await field.fill("接著發佈");
  const places = async () => [await card.boundingBox(), await reply.boundingBox()];
  const before = await places();
  await button(cardWith(one, "rm -rf ./tmp/*"), "允許").click();
  await question.reply;
  await says(card.locator(".outcome"), elsewhere);
  await says(other.locator("#count"), "1");
  assert.deepEqual(await places(), before);

  // What the person is typing is not lost.
  await cardWith(one, "Published 0.4.2").getByRole("textbox").fill("停");
  await button(cardWith(one, "Published 0.4.2"), "送出").click();
  assert.deepEqual(await printed(stopped), instructed("停"));
  await says(reply.locator(".outcome"), elsewhere);
  assert.equal(await field.inputValue(), "接著發佈");
  assert.equal(await field.evaluate((it) => it.readOnly && it === document.activeElement), true);
  await other.keyboard.press("Enter");
  assert.equal(await field.inputValue(), "接著發佈");

  await button(card, "收起").click();
  await card.waitFor({ state: "detached" });
  assert.equal(await other.locator("article").count(), 1);
});

test("the mode is switched for everybody", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const pages = [await openPage(t, daemon), await openPage(t, daemon)];
  const allShow = async (name, presence) => {
    for (const page of pages) {
      await says(page.locator("#description"), presence);
      await until(() => page.getByRole("radio", { name }).isChecked(), `${name} to be checked`);
    }
  };
  const configured = async () => JSON.parse(await readFile(join(daemon.home, "config.json"))).mode;
  await allShow("開啟", "權限請求和停下來的回合一律轉發到手機");
  await pages[0].getByRole("radio", { name: "自動" }).click();
  await allShow("自動", "閒置 5 分鐘後轉發到手機");
  assert.equal(await configured(), "auto");

  await pages[1].getByRole("radio", { name: "自動" }).focus();
  await pages[1].keyboard.press("ArrowLeft");
  await allShow("關閉", "不轉發，全部在 Mac 上處理");
  assert.equal(await configured(), "off");
  await pages[1].keyboard.press("ArrowRight");
  await pages[1].keyboard.press("ArrowRight");
  await allShow("開啟", "權限請求和停下來的回合一律轉發到手機");
  assert.equal(await configured(), "on");
});
