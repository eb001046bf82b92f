/** The connection to the relay, again and again for as long as it is wanted. */
import { askAt, type Door } from "./admission";

export interface Frame {
  t: string;
  [member: string]: unknown;
}

/** `lost`: it is being tried again; `removed`: the relay does not know this phone any more, and nothing is tried. */
export type SocketStatus = "connecting" | "open" | "lost" | "removed";

// Milliseconds between tries.
const pauses = [1000, 2000, 4000, 8000, 16_000, 30_000];
// A network that drops what it is given does not say so: the relay is asked, and has this long to answer.
const askEvery = 25_000;
const answerWithin = 8000;
// Closing codes of the relay: another connection of this phone took the place; it was removed.
const replaced = 4001;
const removed = 4003;

export class RelaySocket {
  #door;
  #onStatus;
  #onFrame;
  #socket: WebSocket | undefined;
  #tries = 0;
  #isEnded = false;
  #retryTimer: ReturnType<typeof setTimeout> | undefined;
  #answerTimer: ReturnType<typeof setTimeout> | undefined;
  #listeners = new AbortController();

  constructor(door: Door, onStatus: (status: SocketStatus) => void, onFrame: (frame: Frame) => void) {
    this.#door = door;
    this.#onStatus = onStatus;
    this.#onFrame = onFrame;
    const { signal } = this.#listeners;
    // Whoever looks at the page does not wait for a pause to pass.
    const look = () => document.hidden || this.#lookAgain();
    document.addEventListener("visibilitychange", look, { signal });
    addEventListener("online", look, { signal });
    addEventListener("offline", () => this.#ask(), { signal });
    const timer = setInterval(() => this.#ask(), askEvery);
    signal.addEventListener("abort", () => clearInterval(timer));
    this.#open();
  }

  /** Whether it was given to the connection, which may lose it all the same. */
  send(frame: Frame): boolean {
    if (this.#socket?.readyState !== WebSocket.OPEN) return false;
    this.#socket.send(JSON.stringify(frame));
    return true;
  }

  end(): void {
    this.#isEnded = true;
    this.#listeners.abort();
    clearTimeout(this.#retryTimer);
    clearTimeout(this.#answerTimer);
    this.#socket?.close();
  }

  #open(): void {
    let wasOpen = false;
    const socket = new WebSocket(this.#door);
    this.#socket = socket;
    socket.onopen = () => {
      wasOpen = true;
      this.#tries = 0;
      this.#onStatus("open");
    };
    socket.onmessage = ({ data }) => this.#hear(data);
    socket.onclose = ({ code }) => {
      if (this.#socket !== socket || this.#isEnded) return;
      void this.#closed(wasOpen, code);
    };
  }

  async #closed(wasOpen: boolean, code: number): Promise<void> {
    this.#socket = undefined;
    clearTimeout(this.#answerTimer);
    if (code === removed) return this.#leave();
    this.#onStatus("lost");
    if (!wasOpen && (await askAt(this.#door)) === "refused") return this.#leave();
    if (this.#isEnded || this.#socket) return;
    const pause = code === replaced ? pauses.at(-1)! : pauses[Math.min(this.#tries, pauses.length - 1)]!;
    ++this.#tries;
    clearTimeout(this.#retryTimer);
    this.#retryTimer = setTimeout(() => this.#open(), pause);
  }

  #leave(): void {
    if (this.#isEnded) return;
    this.end();
    this.#onStatus("removed");
  }

  #lookAgain(): void {
    if (this.#socket) return this.#ask();
    clearTimeout(this.#retryTimer);
    this.#tries = 0;
    this.#open();
  }

  #ask(): void {
    if (this.#socket?.readyState !== WebSocket.OPEN) return;
    this.#socket.send("ping");
    clearTimeout(this.#answerTimer);
    this.#answerTimer = setTimeout(() => this.#giveUp(), answerWithin);
  }

  // A close of a dead connection takes the browser minutes; it is gone for us at once.
  #giveUp(): void {
    const socket = this.#socket;
    if (!socket) return;
    void this.#closed(true, 0);
    socket.close();
  }

  #hear(data: unknown): void {
    clearTimeout(this.#answerTimer);
    if (typeof data !== "string" || data === "pong") return;
    let frame: unknown;
    try {
      frame = JSON.parse(data);
    } catch {
      return;
    }
    if (typeof frame === "object" && frame !== null && typeof (frame as Frame).t === "string")
      this.#onFrame(frame as Frame);
  }
}
