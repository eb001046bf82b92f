/** The computer, by way of the relay: its state as it is heard, and requests that it confirms. */
import { parseExactly } from "../../../resources/page/numbers.js";
import { encode, randomBytes } from "../crypto/base64url";
import { admissionToken } from "../crypto/pairingKeys";
import { type Message, RefusedMessage, SealedRoad } from "../crypto/sealing";
import type { Pairing } from "../pairing/keyring";
import { phoneDoor } from "./admission";
import { type Frame, RelaySocket, type SocketStatus } from "./RelaySocket";
import type { ComputerState } from "./state";

/**
 * `connecting`: for the first time; `relayLost`: the relay cannot be reached; `computerAway`: it can, and the computer
 * is not there; `silent`: the computer is there and has not told its state yet; `clocksApart`: it has, and the two
 * clocks are further apart than messages may be old; `online`; `removed`: the computer has removed this phone.
 */
export type Connection = "connecting" | "relayLost" | "computerAway" | "silent" | "clocksApart" | "online" | "removed";

/** `wasRepeated`: it was sent once more, so that what is said of it may be an effect of the first time. */
export type Reply =
  | { is: "done" }
  | { is: "failed"; error: string; wasRepeated: boolean }
  | { is: "unsent" }
  | { is: "tooLong" }
  | { is: "unknown" };

interface Request {
  body: Record<string, unknown>;
  /** Of each time that it was sent; a message counts once. */
  ids: string[];
  timer: ReturnType<typeof setTimeout> | undefined;
  settle(reply: Reply): void;
}

// Milliseconds until an answer is sent once more, and until it is given up.
const patience = 10_000;
// How long a computer takes to tell its state, on a slow network.
const stateWithin = 8000;
// The relay takes frames of 256 KiB from a phone.
const longestFrame = 250_000;

export class Computer {
  connection: Connection = "connecting";
  /** The newest; nothing before the first. */
  state: ComputerState | undefined;
  /** When it was heard, by this phone's clock. */
  heardAt = 0;

  #road;
  #socket: RelaySocket | undefined;
  #isEnded = false;
  #onChange;
  #requests = new Set<Request>();
  #newestState = -Infinity;
  #behind = Infinity; // How far the computer's clock is behind this phone's at most, in milliseconds.
  #stateTimer: ReturnType<typeof setTimeout> | undefined;
  #opening: Promise<void> = Promise.resolve();

  /** @param onChange  after `connection` or `state` have changed */
  constructor(pairing: Pairing, onChange: () => void) {
    this.#road = new SealedRoad(pairing.keys.sealing, pairing.channel, pairing.device, parseExactly);
    this.#onChange = onChange;
    void admissionToken(pairing.keys).then((token) => {
      if (this.#isEnded) return;
      this.#socket = new RelaySocket(
        phoneDoor(pairing.channel, pairing.device, token),
        (status) => this.#relayIs(status),
        (frame) => this.#hear(frame),
      );
    });
  }

  end(): void {
    this.#isEnded = true;
    clearTimeout(this.#stateTimer);
    this.#socket?.end();
    for (const request of this.#requests) this.#finish(request, { is: "unknown" });
  }

  /** The computer's clock: milliseconds since 1970. */
  now(): number {
    const isAnother = Number.isFinite(this.#behind) && Math.abs(this.#behind) > 2000;
    return Date.now() - (isAnother ? this.#behind : 0);
  }

  /**
   * Asks for something and waits for the computer's result. Without one it is sent once more, after ten seconds or as
   * soon as the computer is back. Never rejects.
   */
  request(body: Record<string, unknown>): Promise<Reply> {
    if (JSON.stringify(body).length > longestFrame / 2 && sealedLength(body) > longestFrame)
      return Promise.resolve({ is: "tooLong" });
    if (this.connection !== "online") return Promise.resolve({ is: "unsent" });
    return new Promise((settle) => {
      const request: Request = { body, ids: [], timer: undefined, settle };
      this.#requests.add(request);
      this.#send(request);
    });
  }

  #send(request: Request): void {
    const id = encode(randomBytes(12));
    request.ids.push(id);
    clearTimeout(request.timer);
    request.timer = setTimeout(() => this.#lack(request), patience);
    void this.#sealed({ ...request.body, id });
  }

  // No result has come in time.
  #lack(request: Request): void {
    if (request.ids.length > 1) return this.#finish(request, { is: "unknown" });
    // While the computer is away it waits for it, as long as once more.
    if (this.connection === "online") this.#send(request);
    else request.timer = setTimeout(() => this.#finish(request, { is: "unknown" }), patience);
  }

  #finish(request: Request, reply: Reply): void {
    clearTimeout(request.timer);
    this.#requests.delete(request);
    request.settle(reply);
  }

  async #sealed(message: Record<string, unknown> & { id: string }): Promise<void> {
    const { n, c } = await this.#road.seal(message);
    this.#socket?.send({ t: "msg", n, c });
  }

  #relayIs(status: SocketStatus): void {
    if (status === "open") return; // Whether the computer is there follows at once.
    clearTimeout(this.#stateTimer);
    this.#is(status === "removed" ? "removed" : status === "lost" ? "relayLost" : "connecting");
  }

  #hear(frame: Frame): void {
    if (frame.t === "computer") return frame.connected === true ? this.#computerCame() : this.#computerWent();
    // What comes as "notify" is in the next state as well, and what "clear" names is not.
    if (frame.t !== "msg") return;
    // In the order in which they came.
    this.#opening = this.#opening.then(() => this.#open(frame)).catch((error) => reportError(error));
  }

  #computerCame(): void {
    clearTimeout(this.#stateTimer);
    this.#stateTimer = setTimeout(() => this.connection === "online" || this.#is("silent"), stateWithin);
    void this.#sealed({ type: "hello", id: encode(randomBytes(12)) });
  }

  #computerWent(): void {
    clearTimeout(this.#stateTimer);
    this.#is("computerAway");
  }

  async #open(frame: Frame): Promise<void> {
    let message: Message;
    try {
      message = await this.#road.open({ n: frame.n, c: frame.c });
    } catch (error) {
      if (!(error instanceof RefusedMessage)) throw error;
      if (error.refusal === "stale" && this.connection !== "online") this.#is("clocksApart");
      return;
    }
    this.#behind = Math.min(this.#behind, Date.now() - message.ts);
    if (message.type === "result") this.#takeResult(message);
    if (message.type === "state") this.#takeState(message);
  }

  #takeState(message: Message): void {
    // A relay may deliver an older one late.
    if (message.ts < this.#newestState || typeof message.state !== "object" || message.state === null) return;
    this.#newestState = message.ts;
    this.state = message.state as ComputerState;
    this.heardAt = Date.now();
    clearTimeout(this.#stateTimer);
    const wasOnline = this.connection === "online";
    this.connection = "online";
    this.#onChange();
    if (wasOnline) return;
    for (const request of this.#requests) if (request.ids.length === 1) this.#send(request);
  }

  #takeResult(message: Message): void {
    for (const request of this.#requests) {
      const index = request.ids.indexOf(String(message.re));
      if (index < 0) continue;
      if (message.ok === true) return this.#finish(request, { is: "done" });
      const error = typeof message.error === "string" ? message.error : "";
      return this.#finish(request, { is: "failed", error, wasRepeated: request.ids.length > 1 });
    }
  }

  #is(connection: Connection): void {
    if (this.connection === connection || this.#isEnded) return;
    this.connection = connection;
    this.#onChange();
  }
}

function sealedLength(body: Record<string, unknown>): number {
  return Math.ceil((new TextEncoder().encode(JSON.stringify(body)).length * 4) / 3);
}
