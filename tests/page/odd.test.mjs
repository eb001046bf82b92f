import assert from "node:assert/strict";
import { test } from "node:test";

import { devices, items, now, snapshotWith } from "./states.mjs";
import { openPage } from "./support/browser.mjs";
import { button, cardOf, cardWith, says } from "./support/cards.mjs";
import { RunningDaemon } from "./support/daemon.mjs";
import { runHook } from "./support/hook.mjs";
import { Stage } from "./support/stage.mjs";

const asks = (t, daemon, tool_name, tool_input) =>
  runHook(t, daemon, "permission_request_minimal", { members: { tool_name, tool_input } });

test("what is asked is there to its end, however it begins", async (t) => {
  const daemon = await RunningDaemon.start(t, { permissionWait: 100 });
  const page = await openPage(t, daemon);
  const many = (count, value) => Array.from({ length: count }, () => value);
  let depth = '"the innermost"';
  for (let i = 0; i < 200; ++i) depth = `[${depth}]`;
  // What comes at the end of each, and what would come before it.
  for (const [tool, input, end] of [
    ["AskUserQuestion", { questions: many(40, { question: "", options: [] }), script: "rm -rf ~1" }, "rm -rf ~1"],
    ["MultiEdit", { edits: many(30, { old_string: "", new_string: "" }), z: "rm -rf ~2" }, "rm -rf ~2"],
    ["ExitPlanMode", { plan: "", z: "rm -rf ~3" }, "rm -rf ~3"],
    ["AskUserQuestion", { questions: [{ question: "?", options: many(60, { label: "" }) }], z: "~4" }, "~4"],
    ["mcp__x__y", { a: JSON.parse(depth) }, "the innermost"],
  ]) {
    const hook = await asks(t, daemon, tool, input);
    const card = cardWith(page, end);
    await card.waitFor();
    assert.equal(await card.locator(".more").count(), 0, end);
    await hook.kill();
    await button(card, "收起").waitFor();
  }
});

test("numbers are shown to their last digit", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const page = await openPage(t, daemon);
  const event = { hook_event_name: "PermissionRequest", session_id: "s", tool_name: "mcp__bank__pay" };
  const numbers = '{"account":12345678901234567890,"id":9007199254740993,"rate":0.1,"small":-12e-3}';
  const text = JSON.stringify(event).replace(/}$/, `,"tool_input":${numbers}}`);
  fetch(`${daemon.origin}/hook`, { method: "POST", body: text }).catch(() => {}); // It ends with the daemon.
  await cardWith(page, "mcp__bank__pay").waitFor();
  const rows = await cardWith(page, "mcp__bank__pay").locator(".row").allTextContents();
  for (const number of ["12345678901234567890", "9007199254740993", "0.1", "-0.012"])
    assert.ok(
      rows.some((row) => row.includes(`: ${number}`)),
      `${number} in ${rows}`,
    );
});

test("an item that is too much for the page keeps no other away, and can only be denied", async (t) => {
  const broken = { ...items.script, cwd: 7 }; // Nothing the daemon would send.
  const stage = await Stage.start(t, { snapshot: snapshotWith(items.push, broken, items.compose), devices });
  const page = await openPage(t, stage, { allowed: [/uncaught|console/] });
  await button(cardOf(page, items.compose), "允許").waitFor();
  assert.deepEqual(await cardOf(page, broken).getByRole("button").allTextContents(), ["拒絕…"]);
  await page.locator(".session").first().waitFor();

  const daemon = await RunningDaemon.start(t);
  const other = await openPage(t, daemon);
  await asks(t, daemon, "AskUserQuestion", {
    questions: [{ question: "which?", options: Array.from({ length: 150_000 }, () => 1) }],
  });
  await asks(t, daemon, "Bash", { command: "after it" });
  await cardWith(other, "after it").waitFor();
  await says(cardWith(other, "which?").locator(".more span"), /^還有 [\d,]+ 個字元沒有顯示$/);
});

test("clocks that differ make no countdown wrong for long", async (t) => {
  const stage = await Stage.start(t, { snapshot: snapshotWith(items.push), devices });
  const ahead = 400_000;
  const page = await openPage(t, stage, { prepare: (opened) => opened.clock.install({ time: now + ahead }) });
  await page.locator("article").waitFor();
  const fresh = { ...items.fresh, createdAt: now, expiresAt: now + 120_000 };
  stage.show(snapshotWith(items.push, fresh));
  await says(cardOf(page, fresh).locator(".left"), /^剩 (2:00|1:5\d)$/);
  await says(cardOf(page, items.push).locator(".left"), /^剩 1:[12]\d$/);
});
