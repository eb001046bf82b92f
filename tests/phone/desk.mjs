import { randomBytes } from "node:crypto";
import { once } from "node:events";
import { WebSocket } from "ws";

import { defer } from "../page/support/defer.mjs";
import * as wire from "./wire.mjs";

/** A computer that pairs with every phone that asks, and tells them the state that it was given. */
export class Desk {
  channel = wire.b64url(randomBytes(16));
  state;
  #token = wire.b64url(randomBytes(32));
  #own = randomBytes(32);
  #secret = randomBytes(32);
  #keys = new Map(); // By the phone's id.
  #socket;

  /**
   * @param relay its origin
   * @param clock gives the time of what is sealed
   * @param inviteLife milliseconds that the link is good for
   */
  constructor(relay, { state, clock = Date.now, inviteLife = 600_000 }) {
    Object.assign(this, { relay, state, clock, inviteLife });
  }

  static async start(t, relay, options) {
    const desk = new Desk(relay, options);
    defer(t, () => desk.leave());
    await desk.connect();
    return desk;
  }

  get link() {
    const key = wire.publicKey(this.#own);
    const items = { v: 2, c: this.channel, i: wire.b64url(this.#secret), m: wire.b64url(key) };
    return `${this.relay}/#${new URLSearchParams(items)}`;
  }

  async connect() {
    const query = new URLSearchParams({ role: "mac", auth: this.#token });
    this.#socket = new WebSocket(`${this.relay.replace(/^http/, "ws")}/ws/${this.channel}?${query}`);
    this.#socket.on("message", (data) => this.#take(JSON.parse(data)));
    await once(this.#socket, "open");
    this.#send({ t: "sync", devices: [...this.#keys.keys()] });
    const hash = wire.hashText(wire.inviteToken(this.#secret));
    this.#send({ t: "invite", hash, expires: Date.now() + this.inviteLife });
  }

  /** It is gone, and comes back with connect(). */
  async leave() {
    if (this.#socket.readyState === WebSocket.CLOSED) return;
    const closed = once(this.#socket, "close");
    this.#socket.close();
    await closed;
  }

  /** Tells every phone that this is the state now. */
  show(state) {
    this.state = state;
    for (const device of this.#keys.keys()) this.#tell(device);
  }

  remove() {
    for (const device of this.#keys.keys()) this.#send({ t: "removeDevice", device });
    this.#keys.clear();
  }

  #take({ t, ...frame }) {
    if (t === "pair") this.#pair(frame);
    else if (t === "peers") for (const device of frame.phones) this.#tell(device);
  }

  #pair({ device, invite, pub }) {
    const shared = wire.sharedSecret(this.#own, wire.fromB64url(pub));
    const key = wire.deviceKey(shared, this.#secret, this.channel, device);
    this.#keys.set(device, key);
    this.#send({ t: "addDevice", device, auth: wire.hashText(wire.admissionToken(key)), invite });
  }

  #tell(device) {
    const message = { type: "state", state: this.state, id: wire.b64url(randomBytes(12)), ts: this.clock() };
    const nonce = randomBytes(12);
    const associated = wire.associatedData(this.channel, device, "m2p");
    const sealed = wire.seal(this.#keys.get(device), nonce, associated, JSON.stringify(message));
    this.#send({ t: "msg", to: device, n: wire.b64url(nonce), c: wire.b64url(sealed) });
  }

  #send(frame) {
    this.#socket.send(JSON.stringify(frame));
  }
}
