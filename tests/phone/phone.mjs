import assert from "node:assert/strict";
import { randomBytes } from "node:crypto";
import { once } from "node:events";
import { WebSocket } from "ws";

import { until } from "../page/support/until.mjs";
import * as wire from "./wire.mjs";

/** Where a pairing link leads, and what it carries. */
export function parseLink(link) {
  const { origin, pathname, hash } = new URL(link);
  assert.equal(pathname, "/");
  const items = new URLSearchParams(hash.slice(1));
  assert.deepEqual([...items.keys()], ["v", "c", "i", "m"]);
  assert.equal(items.get("v"), "2");
  return {
    relay: origin,
    channel: items.get("c"),
    secret: wire.fromB64url(items.get("i")),
    macKey: wire.fromB64url(items.get("m")),
  };
}

/** A phone that knows nothing of the daemon but the wire. */
export class Phone {
  /** Every message that was opened, with the frame's kind as "t". */
  messages = [];
  #taken = new Set();
  #socket;

  /** @param ca the certificate of the authority to trust */
  constructor({ relay, channel, device, key, ca }) {
    Object.assign(this, { relay, channel, device, key, ca });
  }

  /** Pairs by the link of a QR code. Rejects when the relay refuses. */
  static async pair(link, { name, ca }) {
    const { relay, channel, secret, macKey } = parseLink(link);
    const own = randomBytes(32);
    const device = wire.b64url(randomBytes(16));
    const key = wire.deviceKey(wire.sharedSecret(own, macKey), secret, channel, device);
    const phone = new Phone({ relay, channel, device, key, ca });
    const token = wire.inviteToken(secret);
    const socket = await phone.#open({ role: "pair", device, invite: token });
    const answered = once(socket, "message");
    const pub = wire.b64url(wire.publicKey(own));
    const proof = wire.proof(secret, device, pub, name ?? "");
    socket.send(JSON.stringify({ t: "pair", device, invite: wire.hashText(token), pub, proof, name }));
    const [data] = await answered;
    assert.deepEqual(JSON.parse(data), { t: "paired" });
    socket.close();
    return phone;
  }

  async connect() {
    const { device, key } = this;
    this.#socket = await this.#open({ role: "phone", device, auth: wire.admissionToken(key) });
    this.#socket.on("message", (data) => this.#take(JSON.parse(data)));
  }

  async disconnect() {
    const closed = once(this.#socket, "close");
    this.#socket.close();
    await closed;
  }

  /** @returns the message's id, which "re" of the result names */
  send(message) {
    const whole = { id: wire.b64url(randomBytes(12)), ts: Date.now(), ...message };
    this.sendFrame(this.seal(whole));
    return whole.id;
  }

  answer(target, answer) {
    return this.send({ type: "answer", target, ...answer });
  }

  /** A frame that carries this message as it is. */
  seal(message, direction = "p2m") {
    const nonce = randomBytes(12);
    const associated = wire.associatedData(this.channel, this.device, direction);
    const sealed = wire.seal(this.key, nonce, associated, JSON.stringify(message));
    return JSON.stringify({ t: "msg", n: wire.b64url(nonce), c: wire.b64url(sealed) });
  }

  sendFrame(frame) {
    this.#socket.send(frame);
  }

  /** The first message of that type that fits and was not returned before, once there is one. */
  waitFor(type, fits = () => true) {
    return until(() => {
      const found = this.messages.find((one) => one.type === type && !this.#taken.has(one) && fits(one));
      if (found) this.#taken.add(found);
      return found;
    }, `the phone to get "${type}"`);
  }

  /** The result of the request with that id. */
  async resultOf(id) {
    const { t, ts, id: own, ...rest } = await this.waitFor("result", ({ re }) => re === id);
    assert.equal(t, "msg");
    assert.ok(Number.isInteger(ts) && typeof own === "string");
    return rest;
  }

  async #open(query) {
    const url = `${this.relay.replace(/^http/, "ws")}/ws/${this.channel}?${new URLSearchParams(query)}`;
    const socket = new WebSocket(url, { ca: this.ca });
    await once(socket, "open");
    return socket;
  }

  #take({ t, n, c }) {
    const associated = wire.associatedData(this.channel, this.device, "m2p");
    const plaintext = wire.open(this.key, wire.fromB64url(n), associated, wire.fromB64url(c));
    this.messages.push({ ...JSON.parse(plaintext), t });
  }
}
