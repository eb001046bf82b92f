/** Messages that only computer and phone can read: AES-256-GCM with the device key (NIST SP 800-38D). */
import { type Bytes, decode, encode, randomBytes } from "./base64url";

export interface Sealed {
  /** The nonce, 12 random bytes. */
  n: string;
  /** The ciphertext and behind it the tag. */
  c: string;
}

/** An opened message. */
export interface Message {
  id: string;
  /** When it was sealed, by the clock of whoever sealed it: milliseconds since 1970. */
  ts: number;
  [member: string]: unknown;
}

export type Refusal = "badFrame" | "stale" | "replayed" | "notForUs";

export class RefusedMessage extends Error {
  readonly refusal: Refusal;

  constructor(refusal: Refusal) {
    super(`a message was refused: ${refusal}`);
    this.refusal = refusal;
  }
}

// How far the two clocks may be apart, in milliseconds.
const freshness = 600_000;
// More messages than a computer sends in that time.
const mostRemembered = 100_000;
const tagLength = 16;

/** One phone's end of the sealed road to its computer. */
export class SealedRoad {
  #key;
  #channel;
  #device;
  #parse;
  #seen = new Map<string, number>();

  /** @param parse  reads the plaintext, as JSON.parse does */
  constructor(key: CryptoKey, channel: string, device: string, parse: (text: string) => unknown = JSON.parse) {
    this.#key = key;
    this.#channel = channel;
    this.#device = device;
    this.#parse = parse;
  }

  /** Seals a message, with an id and the present time. */
  async seal(message: Record<string, unknown> & { id: string }): Promise<Sealed> {
    const nonce = randomBytes(12);
    const plaintext = new TextEncoder().encode(JSON.stringify({ ...message, ts: Date.now() }));
    const sealed = await crypto.subtle.encrypt(this.#parameters(nonce, "p2m"), this.#key, plaintext);
    return { n: encode(nonce), c: encode(new Uint8Array(sealed)) };
  }

  /**
   * Opens what the computer has sealed for this phone, once.
   *
   * @throws RefusedMessage, which leaves nothing behind
   */
  async open(sealed: { n?: unknown; c?: unknown }): Promise<Message> {
    const nonce = typeof sealed.n === "string" ? decode(sealed.n) : undefined;
    const ciphertext = typeof sealed.c === "string" ? decode(sealed.c) : undefined;
    if (!nonce || !ciphertext || ciphertext.length < tagLength) throw new RefusedMessage("badFrame");
    const plaintext = await crypto.subtle
      .decrypt(this.#parameters(nonce, "m2p"), this.#key, ciphertext)
      .catch(() => undefined);
    if (!plaintext) throw new RefusedMessage("notForUs");
    const message = this.#read(plaintext);
    const now = Date.now();
    if (Math.abs(now - message.ts) > freshness) throw new RefusedMessage("stale");
    if (this.#seen.has(message.id) || this.#seen.size >= mostRemembered) throw new RefusedMessage("replayed");
    this.#seen.set(message.id, message.ts);
    for (const [id, ts] of this.#seen) if (now - ts > freshness) this.#seen.delete(id);
    return message;
  }

  #read(plaintext: ArrayBuffer): Message {
    let value: unknown;
    try {
      value = this.#parse(new TextDecoder("utf-8", { fatal: true }).decode(plaintext));
    } catch {
      throw new RefusedMessage("badFrame");
    }
    const isMessage =
      typeof value === "object" &&
      value !== null &&
      typeof (value as Message).id === "string" &&
      typeof (value as Message).ts === "number";
    if (!isMessage) throw new RefusedMessage("badFrame");
    return value as Message;
  }

  #parameters(nonce: Bytes, direction: "p2m" | "m2p"): AesGcmParams {
    const data = new TextEncoder().encode(`tamsell2|${this.#channel}|${this.#device}|${direction}`);
    return { name: "AES-GCM", iv: nonce, additionalData: data };
  }
}
