import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { join } from "node:path";

import { defer } from "./defer.mjs";
import { bin, Program, tests } from "./programs.mjs";

/** What the process is called that runs the hook, by the client that the daemon makes of it. */
const callers = {
  terminal: "claude",
  "Claude.app": "/Library/Application Support/Claude/claude-code/claude",
  SDK: "claude --output-format stream-json",
  Codex: "codex",
};

/**
 * Lets an agent run the real hook.
 * @param fixture a file of tests/fixtures/{claude,codex}/in, without ".json"
 * @param client who runs it: one of the daemon's names of clients
 * @param members what the event has in place of the fixture's members
 * @returns reply: what the hook prints for the agent, once it ends; kill(): the agent gives up on it
 */
export async function runHook(t, daemon, fixture, { client = "terminal", members = {} } = {}) {
  const isCodex = client === "Codex";
  const file = join(tests, "fixtures", isCodex ? "codex" : "claude", "in", `${fixture}.json`);
  const event = { ...JSON.parse(await readFile(file, "utf8")), ...members };
  // The second command keeps the shell from becoming the hook, so that it stays its parent.
  const command = `"$TAMSELL_HOOK"${isCodex ? " --client codex" : ""}; exit $?`;
  const program = new Program("/bin/sh", ["-c", command], {
    argv0: callers[client],
    env: { ...process.env, TAMSELL_HOOK: join(bin, "tamsell-hook"), TAMSELL_HOME: daemon.home },
    input: JSON.stringify(event),
  });
  let isKilled = false;
  const kill = () => {
    isKilled = true;
    program.signal("SIGKILL");
    return program.ended;
  };
  defer(t, kill);
  const reply = program.ended.then((ending) => {
    if (!isKilled) assert.deepEqual(ending, { code: 0, signal: null }, program.output);
    return program.output;
  });
  return { reply, kill };
}
