import assert from "node:assert/strict";
import { randomBytes } from "node:crypto";
import { readFile } from "node:fs/promises";
import { join } from "node:path";
import { test } from "node:test";

import { RunningDaemon } from "../page/support/daemon.mjs";
import { defer } from "../page/support/defer.mjs";
import { runHook } from "../page/support/hook.mjs";
import { until } from "../page/support/until.mjs";
import { Phone } from "./phone.mjs";
import { startRelay } from "./relay.mjs";
import { b64url } from "./wire.mjs";

/** A relay, the daemon connected to it, and a link for one phone. */
async function stand(t) {
  const relay = await startRelay(t);
  process.env.TAMSELL_RELAY_CA = relay.authority;
  const settings = {
    url: relay.url,
    channel: b64url(randomBytes(16)),
    auth: b64url(randomBytes(32)),
    privateKey: b64url(randomBytes(32)),
    devices: [],
  };
  const daemon = await RunningDaemon.start(t, { relay: settings });
  await until(async () => (await daemon.api("/state")).relay.connected, "the daemon to reach the relay");
  const { link } = await daemon.api("/pair", {});
  return { relay, daemon, link };
}

/** The same with a paired phone that is online. */
async function standWithPhone(t) {
  const { relay, daemon, link } = await stand(t);
  const phone = await Phone.pair(link, { name: "小葵的 iPhone", ca: relay.ca });
  await phone.connect();
  defer(t, () => phone.disconnect());
  await phone.waitFor("state");
  return { relay, daemon, phone };
}

test("a phone is paired once by a link, and is told the state", async (t) => {
  const { relay, daemon, link } = await stand(t);
  const before = Date.now();
  const phone = await Phone.pair(link, { name: "小葵的 iPhone", ca: relay.ca });
  const { relay: settings } = JSON.parse(await readFile(join(daemon.home, "config.json"), "utf8"));
  const [{ addedAt, ...device }, ...others] = settings.devices;
  assert.deepEqual(device, { id: phone.device, name: "小葵的 iPhone", key: b64url(phone.key) });
  assert.ok(addedAt >= before && addedAt <= Date.now());
  assert.deepEqual(others, []);
  await assert.rejects(Phone.pair(link, { name: "another", ca: relay.ca }), /401/);

  await phone.connect();
  defer(t, () => phone.disconnect());
  const { state } = await phone.waitFor("state");
  assert.deepEqual(state.pending, []);
  await until(async () => (await daemon.api("/state")).relay.phones === 1, "the daemon to see the phone");
  phone.send({ type: "hello" });
  await phone.waitFor("state", (message) => message.state.relay.phones === 1);
  assert.ok(!daemon.log.includes(b64url(phone.key)), "a key in the log");
});

test("a question reaches the phone, and its first answer the hook", async (t) => {
  const { daemon, phone } = await standWithPhone(t);
  const hook = await runHook(t, daemon, "permission_request_bash");
  const { id, ts, target, expiresAt, ...question } = await phone.waitFor("notify");
  const [item] = await daemon.pending(1);
  assert.equal(target, item.id);
  assert.equal(expiresAt, item.expiresAt);
  assert.deepEqual(question, {
    t: "notify",
    type: "notify",
    kind: "permission",
    project: "orchard",
    detail: "git push origin release/2.4",
    tool: "Bash",
    canAlways: true,
  });
  await phone.waitFor("state", ({ state }) => state.pending[0]?.id === target);

  const request = phone.answer(target, { action: "allow" });
  assert.deepEqual(await phone.resultOf(request), { type: "result", re: request, ok: true });
  assert.deepEqual(JSON.parse(await hook.reply), {
    hookSpecificOutput: { hookEventName: "PermissionRequest", decision: { behavior: "allow" } },
  });
  const { targets, t: kind } = await phone.waitFor("clear");
  assert.equal(kind, "clear");
  assert.deepEqual(targets, [target]);

  const refused = [
    [phone.answer(target, { action: "deny" }), "已經回答過或已逾時"],
    [phone.send({ type: "mode", mode: "later" }), "mode must be off, auto or on"],
  ];
  for (const [re, error] of refused)
    assert.deepEqual(await phone.resultOf(re), { type: "result", re, ok: false, error });
});

test("what is replayed, stale, malformed or given back is answered by nothing", async (t) => {
  const { daemon, phone } = await standWithPhone(t);
  const mode = (members) => ({ type: "mode", mode: "off", id: b64url(randomBytes(12)), ts: Date.now(), ...members });
  const once = mode({ mode: "auto" });
  const frame = phone.seal(once);
  phone.sendFrame(frame);
  assert.equal((await phone.resultOf(once.id)).ok, true);

  const refused = [
    ["replayed", frame],
    ["replayed", phone.seal(mode({ id: once.id }))],
    ["stale", phone.seal(mode({ ts: Date.now() - 601_000 }))],
    ["stale", phone.seal(mode({ ts: Date.now() + 660_000 }))],
    ["badFrame", phone.seal(mode({ ts: String(Date.now()) }))],
    ["badFrame", phone.seal(mode({ id: undefined }))],
    ["badFrame", phone.seal([mode()])],
    ["badFrame", JSON.stringify({ t: "msg", n: "*", c: "" })],
    ["authentication failure", phone.seal(mode(), "m2p")],
  ];
  for (const [, one] of refused) phone.sendFrame(one);
  // Frames are handled in their order, so that this result comes behind all others.
  const last = phone.send({ type: "mode", mode: "auto" });
  await phone.resultOf(last);
  const results = phone.messages.filter(({ type }) => type === "result").map(({ re }) => re);
  assert.deepEqual(results, [once.id, last]);
  assert.equal((await daemon.api("/state")).presence.mode, "auto");
  assert.deepEqual(
    [...daemon.log.matchAll(/relay: dropped frame \((.*)\)/g)].map(([, reason]) => reason),
    refused.map(([reason]) => reason),
  );
});
