/**
 * Makes the vectors of this folder from fixed inputs, with Node's own cryptography and nothing of the daemon's code:
 *   node make.mjs           writes sealed.json and pairing.json
 *   node make.mjs --check   fails when they are not what it would write
 * README.md describes them.
 */
import assert from "node:assert/strict";
import { readFile, writeFile } from "node:fs/promises";

import * as wire from "../phone/wire.mjs";

const { b64url } = wire;
const counted = (length, first) => Uint8Array.from({ length }, (_, i) => (first + i) % 256);

// Sealed frames

const channel = "Vtq0QMDmsgxFzCEK";
const device = "AAECAwQFBgcICQoLDA0ODw";
const key = counted(32, 0x40);
/** An instant with milliseconds: 2026-01-01 00:00:00.123 UTC. */
const t = Date.UTC(2026, 0, 1, 0, 0, 0, 123);
const window = 600_000;

let sealedSoFar = 0;

/** What a phone sends, unless `options` says otherwise, and what becomes of it. */
function message(expect, plaintext, options = {}) {
  ++sealedSoFar;
  const made = {
    key,
    nonce: counted(12, 7 * sealedSoFar),
    associatedData: wire.associatedData(channel, device, "p2m"),
    now: t,
    ...options,
  };
  const sealed = wire.seal(made.key, made.nonce, made.associatedData, plaintext);
  const n = b64url(made.nonce);
  const c = b64url(made.change ? made.change(sealed) : sealed);
  return {
    now: made.now,
    expect,
    n: made.changeN ? made.changeN(n) : n,
    c: made.changeC ? made.changeC(c) : c,
    sealed: { key: b64url(made.key), nonce: n, associatedData: made.associatedData, plaintext },
  };
}

const hello = (ts = t, id = "a1b2c3d4e5f6g7h8") => JSON.stringify({ type: "hello", id, ts });
/** With one bit of the byte at that place changed; places behind the end count from there. */
const flip = (place) => (bytes) => bytes.map((byte, i) => ((i - place) % bytes.length === 0 ? byte ^ 1 : byte));
const first = (count) => (bytes) => bytes.slice(0, count);
const padded = (text) => text + "=".repeat((4 - (text.length % 4)) % 4);

const aad = (...ends) => ({ associatedData: wire.associatedData(...ends) });

const single = {
  "a hello of a phone": ["accepted", hello()],
  "an answer with text beyond ASCII": [
    "accepted",
    `{"type":"answer","target":"3f0c","action":"deny","message":"先不要\\n\\ud83d\\ude80 “später”","id":"x","ts":${t}}`,
  ],
  "white space and nesting in the plaintext": ["accepted", ` { "ts" : ${t}.0 , "id" : "y", "a" : [ { } , null ] } \n`],
  "an empty id is an id": ["accepted", hello(t, "")],
  "no type": ["accepted", `{"id":"z","ts":${t}}`],
  "ts with a fraction": ["accepted", `{"id":"z","ts":${t}.5}`],
  "ts with an exponent": ["accepted", `{"id":"z","ts":1.767225600123e12}`],
  "a nonce of 16 bytes": ["accepted", hello(), { nonce: counted(16, 1) }],
  "n and c with padding": ["accepted", `${hello()} `, { nonce: counted(13, 9), changeN: padded, changeC: padded }],

  "ts late by just as much as is allowed": ["accepted", hello(t - window)],
  "ts early by just as much as is allowed": ["accepted", hello(t + window)],
  "ts late by 1 ms more": ["stale", hello(t - window - 1)],
  "ts early by 1 ms more": ["stale", hello(t + window + 1)],
  "ts late by half a millisecond more": ["stale", `{"id":"z","ts":${t - window - 1}.5}`],
  "ts early by half a millisecond more": ["stale", `{"id":"z","ts":${t + window}.5}`],
  "ts in seconds": ["stale", hello(Math.round(t / 1000))],
  "ts 0": ["stale", hello(0)],
  "ts beyond every clock": ["stale", `{"id":"z","ts":1e300}`],
  "ts before every clock": ["stale", `{"id":"z","ts":-1e300}`],

  "id is a number": ["badFrame", `{"type":"hello","id":7,"ts":${t}}`],
  "id is null": ["badFrame", `{"type":"hello","id":null,"ts":${t}}`],
  "id missing": ["badFrame", `{"type":"hello","ts":${t}}`],
  "ts is a string": ["badFrame", `{"type":"hello","id":"z","ts":"${t}"}`],
  "ts is a boolean": ["badFrame", `{"type":"hello","id":"z","ts":true}`],
  "ts missing": ["badFrame", `{"type":"hello","id":"z"}`],
  "id missing, and ts long past": ["badFrame", `{"type":"hello","ts":0}`],
  "an array": ["badFrame", `[{"type":"hello","id":"z","ts":${t}}]`],
  "a string": ["badFrame", `"hello"`],
  "a number": ["badFrame", `7`],
  null: ["badFrame", `null`],

  "not JSON": ["decoding", "hello"],
  "JSON cut short": ["decoding", hello().slice(0, -1)],
  "no plaintext at all": ["decoding", ""],

  "c of 15 bytes": ["badFrame", hello(), { change: first(15) }],
  "c empty": ["badFrame", hello(), { change: first(0) }],
  "c of 15 bytes, and n of 8": ["badFrame", hello(), { change: first(15), nonce: counted(8, 1) }],
  "c with a space": ["badFrame", hello(), { changeC: (c) => `${c.slice(0, 8)} ${c.slice(8)}` }],
  "c with a line feed at its end": ["badFrame", hello(), { changeC: (c) => `${c}\n` }],
  "c with a character of no alphabet": ["badFrame", hello(), { changeC: (c) => `*${c.slice(1)}` }],
  "c of an impossible length": ["badFrame", hello(), { change: first(18), changeC: (c) => `${c}A` }],
  "c with padding in its middle": ["badFrame", hello(), { changeC: (c) => `${c.slice(0, 6)}==${c.slice(8)}` }],
  "n with a space before it": ["badFrame", hello(), { changeN: (n) => ` ${n}` }],
  "n with a character of no alphabet": ["badFrame", hello(), { changeN: (n) => `${n.slice(0, 15)}.` }],
  "n with a letter beyond ASCII": ["badFrame", hello(), { changeN: (n) => `${n.slice(0, 15)}é` }],
  "n of an impossible length": ["badFrame", hello(), { changeN: (n) => `${n}A` }],

  "n of 8 bytes": ["cipher", hello(), { nonce: counted(8, 1) }],
  "n of 11 bytes": ["cipher", hello(), { nonce: counted(11, 1) }],
  "n empty": ["cipher", hello(), { changeN: () => "" }],
  "n changed": ["cipher", hello(), { changeN: (n) => (n[0] === "A" ? "B" : "A") + n.slice(1) }],
  "c of 16 bytes, the tag of something else": ["cipher", hello(), { change: first(16) }],
  "first bit of the ciphertext flipped": ["cipher", hello(), { change: flip(0) }],
  "first byte of the tag flipped": ["cipher", hello(), { change: flip(-16) }],
  "last byte of the tag flipped": ["cipher", hello(), { change: flip(-1) }],
  "cut by a byte": ["cipher", hello(), { change: (bytes) => bytes.slice(0, -1) }],
  "not JSON, and not its tag either": ["cipher", "hello", { change: flip(-1) }],
  "sealed with another key": ["cipher", hello(), { key: counted(32, 0x41) }],
  "sealed for the other direction": ["cipher", hello(), aad(channel, device, "m2p")],
  "sealed for another device": ["cipher", hello(), aad(channel, "ABECAwQFBgcICQoLDA0ODw", "p2m")],
  "sealed for another channel": ["cipher", hello(), aad("Wtq0QMDmsgxFzCEK", device, "p2m")],
  "sealed for the first version of the protocol": [
    "cipher",
    hello(),
    { associatedData: `tamsell|${channel}|${device}|p2m` },
  ],
};

/** Messages that one box opens in turn. */
function sequences() {
  const answer = (id, ts) => JSON.stringify({ type: "answer", target: "3f0c", action: "allow", id, ts });
  const again = (sent, expect, now) => ({ ...sent, expect, now });
  const once = message("accepted", answer("once", t));
  const early = message("accepted", answer("early", t + window));
  const late = message("accepted", answer("late", t - window));
  return {
    "the same message twice": [once, again(once, "replayed", t), again(once, "replayed", t + window)],
    "another message with the same id": [
      once,
      message("replayed", answer("once", t + 1)),
      message("accepted", answer("Once", t)),
    ],
    "a message is remembered by its own time, not by its arrival": [
      early,
      message("accepted", hello(t + window, "meanwhile"), { now: t + window }),
      again(early, "replayed", t + 2 * window),
      again(early, "stale", t + 2 * window + 1),
    ],
    "a message at the window's end is still remembered": [late, again(late, "replayed", t)],
    "what is forgotten is stale": [
      once,
      message("accepted", hello(t + window + 1, "prunes"), { now: t + window + 1 }),
      again(once, "stale", t + window + 1),
    ],
    "an id is free again once it is forgotten": [
      once,
      message("accepted", hello(t + window + 1, "prunes"), { now: t + window + 1 }),
      message("accepted", answer("once", t + window + 1), { now: t + window + 1 }),
    ],
    "an id stays taken until something was accepted after its time": [
      once,
      message("replayed", answer("once", t + window + 1), { now: t + window + 1 }),
    ],
    "a refused message leaves nothing behind": [
      message("stale", answer("once", t - window - 1)),
      message("badFrame", `{"id":"once","ts":"${t}"}`),
      message("cipher", answer("once", t), { change: flip(-1) }),
      once,
    ],
    "stale is found before replayed": [once, message("stale", answer("once", t - window - 1))],
  };
}

function sealedVectors() {
  const cases = [];
  const add = (name, messages, box = {}) =>
    cases.push({ name, channel, device, key: b64url(key), sendDirection: "m2p", ...box, messages });
  for (const [name, [expect, plaintext, options]] of Object.entries(single)) {
    add(name, [message(expect, plaintext, options)]);
  }
  for (const [name, messages] of Object.entries(sequences())) add(name, messages);
  const toPhone = aad(channel, device, "m2p");
  const state = `{"type":"state","state":{"pending":[]},"id":"s","ts":${t}}`;
  add("a state, as the phone opens it", [message("accepted", state, toPhone)], { sendDirection: "p2m" });
  add("its own message, given back to the phone", [message("cipher", hello())], { sendDirection: "p2m" });
  const named = { channel: "工作", device: "ü|" };
  add("names beyond ASCII", [message("accepted", hello(), aad("工作", "ü|", "p2m"))], named);
  return { cases };
}

// Pairing

function pairing({ label, relayURL, secret, computer, phone, device: id, name }) {
  const macKey = wire.publicKey(computer);
  const pub = b64url(wire.publicKey(phone));
  const shared = wire.sharedSecret(computer, wire.publicKey(phone));
  assert.deepEqual(shared, wire.sharedSecret(phone, macKey), "both sides agree");
  const deviceKey = wire.deviceKey(shared, secret, channel, id);
  const inviteToken = wire.inviteToken(secret);
  const admissionToken = wire.admissionToken(deviceKey);
  return {
    label,
    relayURL,
    channel,
    inviteSecret: b64url(secret),
    computerPrivateKey: b64url(computer),
    computerPublicKey: b64url(macKey),
    phonePrivateKey: b64url(phone),
    phonePublicKey: pub,
    device: id,
    name,
    inviteLink: `${relayURL.replace(/\/+$/, "")}/#v=2&c=${channel}&i=${b64url(secret)}&m=${b64url(macKey)}`,
    inviteToken,
    inviteHash: wire.hashText(inviteToken),
    proof: wire.proof(secret, id, pub, name),
    sharedSecret: b64url(shared),
    deviceKey: b64url(deviceKey),
    admissionToken,
    admissionTokenHash: wire.hashText(admissionToken),
  };
}

function pairingVectors() {
  const inputs = {
    label: "a phone",
    relayURL: "https://relay.tamsell.example",
    secret: counted(32, 0x80),
    computer: counted(32, 0x01),
    phone: counted(32, 0xc0),
    device,
    name: "iPhone 16 Pro",
  };
  return {
    cases: [
      pairing(inputs),
      pairing({
        ...inputs,
        label: "a name beyond ASCII, a relay with a port and a path",
        relayURL: "http://127.0.0.1:8787/relay//",
        secret: counted(32, 0x11),
        computer: counted(32, 0x21),
        phone: counted(32, 0x31),
        device: b64url(counted(16, 0xf0)),
        name: "小葵的 iPhone 🚀|",
      }),
      pairing({ ...inputs, label: "no name", relayURL: "https://relay.tamsell.example/", name: "" }),
    ],
  };
}

const files = { "sealed.json": sealedVectors(), "pairing.json": pairingVectors() };
for (const [name, content] of Object.entries(files)) {
  const file = new URL(name, import.meta.url);
  const text = `${JSON.stringify(content, null, 2)}\n`;
  if (process.argv[2] === "--check") {
    assert.equal(await readFile(file, "utf8"), text, `${name} is not what make.mjs makes`);
  } else {
    await writeFile(file, text);
  }
}
