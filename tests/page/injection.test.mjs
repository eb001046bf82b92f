import assert from "node:assert/strict";
import { test } from "node:test";

import { openPage } from "./support/browser.mjs";
import { button, says } from "./support/cards.mjs";
import { RunningDaemon } from "./support/daemon.mjs";
import { runHook } from "./support/hook.mjs";
import { Stage } from "./support/stage.mjs";
import { until } from "./support/until.mjs";

test("nothing that comes from outside becomes more than text", async (t) => {
  let count = 0;
  const marks = [];
  const markup = "<img src=x onerror=ran=1></script><script>ran=1</script><a href=javascript:ran=1>";
  /** Text that would become something else if it could, and that the page shows; each with another number. */
  const evil = () => {
    marks.push(`evil${++count} ${markup.slice(0, 25)}`);
    return `evil${count} ${markup}`;
  };
  const permission = (tool_input, members) => ["permission_request_minimal", { tool_input, ...members }];
  const events = [
    permission(
      { command: evil(), description: evil(), [evil()]: { [evil()]: [evil()] } },
      { cwd: `/a/${evil().replaceAll("/", "\\")}` },
    ),
    permission({ command: `+${evil()}\n-${evil()}` }, { tool_name: "apply_patch" }),
    permission(
      {
        file_path: evil(),
        old_string: evil(),
        new_string: evil(),
        edits: [{ old_string: evil(), new_string: evil() }, evil()],
        content: evil(),
        plan: evil(),
      },
      { tool_name: evil() },
    ),
    permission({
      questions: [
        { question: evil(), header: evil(), options: [{ label: evil(), description: evil() }, evil()] },
        evil(),
      ],
    }),
    permission(evil(), { session_id: markup, cwd: undefined }),
    permission(
      { url: evil() },
      {
        permission_suggestions: [
          {
            type: "addRules",
            rules: [{ toolName: evil(), ruleContent: evil() }],
            behavior: "allow",
            destination: evil(),
          },
          { type: "addDirectories", directories: [evil()], destination: "session" },
          { type: "setMode", mode: evil(), destination: "session" },
          { type: evil(), [evil()]: evil() },
        ],
      },
    ),
    ["stop", { last_assistant_message: evil() }],
    ["user_prompt_submit", { hook_event_name: evil(), prompt: evil() }],
    ["notification_idle_prompt", { hook_event_name: "Notification", message: evil() }],
  ];
  const daemon = await RunningDaemon.start(t);
  for (const [fixture, members] of events) {
    const { reply } = await runHook(t, daemon, fixture, { members });
    if (!/permission|stop/.test(fixture)) await reply;
  }
  await daemon.pending(7);
  const snapshot = await daemon.api("/state");
  const set = marks.length;

  // As the daemon gives it, and with what only the relay, a phone or another program could set.
  const client = evil();
  const stage = await Stage.start(t, {
    snapshot: {
      ...snapshot,
      pending: snapshot.pending.map((item, i) => (i ? item : { ...item, client })),
      sessions: [...snapshot.sessions, { ...snapshot.sessions[0], id: "other", client: evil(), lastEvent: markup }],
      recent: [
        ...snapshot.recent,
        { at: 0, event: "Stop", session: evil(), client: evil(), tool: evil(), summary: evil() },
      ],
      relay: { ...snapshot.relay, url: markup },
    },
    devices: [{ id: markup, name: evil(), addedAt: 0, online: true }],
  });
  stage.replies["/pair"] = { status: 200, body: { link: evil(), expires: Date.now() + 60_000 } };
  for (const served of [daemon, stage]) {
    const page = await openPage(t, served);
    await until(async () => (await page.locator("article").count()) === 7, "every card");
    for (const opener of await page.getByRole("button", { name: "總是允許…" }).all()) await opener.click();
    await page.getByRole("button", { name: /^顯示其餘/ }).evaluateAll((all) => all.forEach((it) => it.click()));
    if (served === stage) {
      await button(page, "配對手機…").click();
      await button(page, "移除…").click();
      await says(page.locator("#removal-title"), /^移除「evil/);
    }
    const { ran, strange, text } = await page.evaluate(() => ({
      ran: window.ran,
      strange: [...document.querySelectorAll("body *")].filter(
        (it) =>
          /^(a|audio|base|embed|form|frame|iframe|img|link|math|meta|object|style|video)$/i.test(it.localName) ||
          (it.localName === "script" && (it.parentElement !== document.body || it.text.includes("evil"))) ||
          [...it.attributes].some(({ name }) => /^(on|src|href|action|formaction)/i.test(name)),
      ).length,
      // What is elided is there all the same.
      text: [...document.querySelectorAll("main, dialog")].map((it) => it.textContent).join(),
    }));
    assert.equal(ran, undefined);
    assert.equal(strange, 0);
    const expected = served === daemon ? marks.slice(0, set) : marks;
    assert.deepEqual(
      expected.filter((mark) => !text.includes(mark)),
      [],
    );
  }
});
