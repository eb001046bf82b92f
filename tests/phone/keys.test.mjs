// The phone page's keys and sealed messages, held to the vectors and to Node's own cryptography.
import assert from "node:assert/strict";
import * as node from "node:crypto";
import { readFile } from "node:fs/promises";
import { createRequire } from "node:module";
import { join } from "node:path";
import { test } from "node:test";

import { tests } from "../page/support/programs.mjs";

globalThis.crypto ??= node.webcrypto; // Node 18 has it there alone.
const phone = join(tests, "../phone");
const { build } = createRequire(join(phone, "package.json"))("esbuild");
const bytes = (text) => new Uint8Array(Buffer.from(text, "base64url"));
const text = (value) => Buffer.from(value).toString("base64url");

/** The page's modules as its builder reads them. */
async function load() {
  const contents = ["keyAgreement", "pairingKeys", "sealing"].map((name) => `export * from "./src/crypto/${name}";`);
  const built = await build({
    stdin: { contents: contents.join("\n"), resolveDir: phone },
    ...{ bundle: true, format: "esm", platform: "neutral", mainFields: ["module", "main"], write: false },
  });
  return import(`data:text/javascript;base64,${Buffer.from(built.outputFiles[0].contents).toString("base64")}`);
}
const page = await load();
const { cases } = JSON.parse(await readFile(join(tests, "vectors/pairing.json"), "utf8"));

const inviteOf = ({ channel, inviteSecret, computerPublicKey }) => ({
  channel,
  secret: bytes(inviteSecret),
  computerKey: bytes(computerPublicKey),
});

test("an invite proves, and its keys are derived, as the vectors say", async () => {
  assert.ok(cases.length > 0);
  for (const vector of cases) {
    const invite = inviteOf(vector);
    assert.deepEqual(
      await page.proveInvite(invite, vector.device, bytes(vector.phonePublicKey), vector.name),
      { token: vector.inviteToken, hash: vector.inviteHash, proof: vector.proof },
      vector.label,
    );
    const shared = await crypto.subtle.importKey("raw", bytes(vector.sharedSecret), "HKDF", false, ["deriveKey"]);
    const keys = await page.deriveDeviceKeys(shared, invite, vector.device);
    assert.equal(await page.admissionToken(keys), vector.admissionToken, vector.label);
    const nonce = new Uint8Array(12);
    const sealed = await crypto.subtle.encrypt({ name: "AES-GCM", iv: nonce }, keys.sealing, new Uint8Array(3));
    const cipher = node.createCipheriv("aes-256-gcm", bytes(vector.deviceKey), nonce);
    assert.deepEqual(Buffer.from(sealed).subarray(0, 3), cipher.update(new Uint8Array(3)), vector.label);
    for (const key of [keys.sealing, keys.admission]) await assert.rejects(crypto.subtle.exportKey("raw", key));
  }
});

test("two sides agree, with the browser's X25519 and without", async (t) => {
  const generateKey = crypto.subtle.generateKey.bind(crypto.subtle);
  for (const hasX25519 of [true, false]) {
    if (!hasX25519)
      t.mock.method(crypto.subtle, "generateKey", (algorithm, ...rest) =>
        algorithm.name === "X25519" ? Promise.reject(new Error("unknown")) : generateKey(algorithm, ...rest),
      );
    const computer = node.generateKeyPairSync("x25519");
    const pair = await page.makeKeyPair();
    const publicKey = node.createPublicKey({
      key: { kty: "OKP", crv: "X25519", x: text(pair.publicKey) },
      format: "jwk",
    });
    const secret = node.diffieHellman({ privateKey: computer.privateKey, publicKey });
    const invite = { channel: "c", secret: new Uint8Array(32), computerKey: new Uint8Array(32) };
    const theirs = await crypto.subtle.importKey("raw", secret, "HKDF", false, ["deriveKey"]);
    const mine = await pair.agree(bytes(computer.publicKey.export({ format: "jwk" }).x));
    const tokens = [theirs, mine].map(async (key) =>
      page.admissionToken(await page.deriveDeviceKeys(key, invite, "d")),
    );
    assert.equal(await tokens[0], await tokens[1]);
    await assert.rejects(pair.agree(new Uint8Array(32)), `the all-zero secret, X25519: ${hasX25519}`);
  }
});

test("a message opens once, on its own road, while it is fresh", async () => {
  const key = node.randomBytes(32);
  const imported = await crypto.subtle.importKey("raw", key, "AES-GCM", false, ["encrypt", "decrypt"]);
  const road = new page.SealedRoad(imported, "channel", "device");
  const seal = (message, { device = "device", direction = "m2p" } = {}) => {
    const nonce = node.randomBytes(12);
    const cipher = node.createCipheriv("aes-256-gcm", key, nonce);
    cipher.setAAD(Buffer.from(`tamsell2|channel|${device}|${direction}`));
    const plaintext = typeof message === "string" ? message : JSON.stringify(message);
    const c = Buffer.concat([cipher.update(plaintext), cipher.final(), cipher.getAuthTag()]);
    return { n: text(nonce), c: text(c) };
  };
  const ts = Date.now();
  const fresh = seal({ id: "a", ts, type: "state" });
  assert.equal((await road.open(fresh)).type, "state");
  const refusals = [
    [fresh, "replayed"],
    [seal({ id: "a", ts }), "replayed"],
    [seal({ id: "b", ts: ts - 601_000 }), "stale"],
    [seal({ id: "c", ts: ts + 601_000 }), "stale"],
    [seal({ id: "d", ts }, { device: "another" }), "notForUs"],
    [seal({ id: "e", ts }, { direction: "p2m" }), "notForUs"],
    [{ ...seal({ id: "f", ts }), n: text(node.randomBytes(12)) }, "notForUs"],
    [seal({ ts }), "badFrame"],
    [seal({ id: "g", ts: "now" }), "badFrame"],
    [seal("[1"), "badFrame"],
    [{ n: "!", c: "AAAA" }, "badFrame"],
    [{ n: 1 }, "badFrame"],
  ];
  for (const [sealed, refusal] of refusals) await assert.rejects(road.open(sealed), { refusal });

  const { n, c } = await road.seal({ id: "h", type: "hello" });
  const opener = node.createDecipheriv("aes-256-gcm", key, bytes(n));
  opener.setAAD(Buffer.from("tamsell2|channel|device|p2m"));
  opener.setAuthTag(bytes(c).subarray(-16));
  const message = JSON.parse(Buffer.concat([opener.update(bytes(c).subarray(0, -16)), opener.final()]));
  assert.ok(message.id === "h" && message.type === "hello" && Math.abs(message.ts - ts) < 60_000);
});
