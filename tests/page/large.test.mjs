import assert from "node:assert/strict";
import { test } from "node:test";

import { openPage } from "./support/browser.mjs";
import { button, says } from "./support/cards.mjs";
import { RunningDaemon } from "./support/daemon.mjs";
import { runHook } from "./support/hook.mjs";

/** Code points, as a person would count them. */
const countOf = (text) => [...text].length;

/** The text of a box as it is in the page, hidden characters in place of their marks. */
const textIn = (box) =>
  box.evaluate((it) => {
    for (const mark of it.querySelectorAll(".mark"))
      mark.replaceWith(String.fromCodePoint(parseInt(mark.textContent.slice(2), 16)));
    return [...it.querySelectorAll(".row")].map((row) => row.textContent).join("\n");
  });

// The parts are found by their classes: what they say or do would be looked for in every element of these.
test("five megabytes are asked whole", async (t) => {
  const line = (i) => `install -m 644 ${i}.o /opt/target-${i % 7} # 第 ${i} 個 🍎 ${"and so on ".repeat(25)}`;
  const lines = Array.from({ length: 17_000 }, (_, i) => line(i));
  lines.push("rm -rf \u200B/");
  const command = lines.join("\n");
  assert.ok(Buffer.byteLength(command) > 5_000_000);

  const daemon = await RunningDaemon.start(t);
  const page = await openPage(t, daemon);
  const { reply } = await runHook(t, daemon, "permission_request_minimal", { members: { tool_input: { command } } });
  const card = page.locator("article");
  const box = card.locator(".box");
  await box.waitFor();

  await t.test("only 64 KiB are laid out, and it says how much is not", async () => {
    const laidOut = countOf(await textIn(box));
    assert.ok(laidOut >= 64 * 1024 && laidOut < 64 * 1024 + 4096, `${laidOut} characters`);
    const left = countOf(command) - laidOut;
    await says(card.locator(".more span"), `還有 ${left.toLocaleString("en-US")} 個字元沒有顯示`);
  });

  await t.test("what hides far behind is warned of", async () => {
    await says(card.locator(".warning"), /^指令裡有看不見的控制字元，已經標出來。/);
    const look = await card.evaluate((it) => ({
      box: getComputedStyle(it.querySelector(".box")).boxShadow,
      allow: [...it.querySelectorAll("button")].at(-1).className,
    }));
    assert.notEqual(look.box, "none");
    assert.match(look.allow, /tinted/);
  });

  await t.test("it is sixteen and a half lines high, and scrolled by keys", async () => {
    const { height } = await box.boundingBox();
    assert.equal(height, 16.5 * 20 + 8);
    await box.focus();
    await page.keyboard.press("ArrowDown");
    await page.waitForFunction((it) => it.scrollTop > 0, await box.elementHandle());
    await page.keyboard.press("End");
    await page.waitForFunction((it) => it.scrollTop > 1000, await box.elementHandle());
    assert.equal((await box.boundingBox()).height, height);
  });

  await t.test("there is more until everything is there", async () => {
    const more = card.locator(".more button");
    let clicks = 0;
    for (; (await more.count()) > 0; ++clicks) await more.click();
    assert.ok(clicks > 3 && clicks < 10, `${clicks} clicks`);
    assert.equal(await card.locator(".more").count(), 0);
    assert.ok((await textIn(box)) === command, "the page shows another text");
  });

  await card.locator(".approves").click();
  assert.match(await reply, /"behavior":"allow"/);
});

test("one endless line is asked whole, too, and cut between characters", async (t) => {
  const command = `echo ${"🍎-❤\uFE0F".repeat(50_000)}`;
  const daemon = await RunningDaemon.start(t);
  const page = await openPage(t, daemon);
  await runHook(t, daemon, "permission_request_minimal", { members: { tool_input: { command } } });
  const card = page.locator("article");
  const box = card.locator(".box");
  await button(card, "再顯示一些").click();
  await button(card, "再顯示一些").click();
  await card.locator(".more").waitFor({ state: "detached" });
  assert.equal(await card.locator(".warning, .mark").count(), 0);
  assert.ok((await textIn(box)) === command, "the page shows another text");
});
