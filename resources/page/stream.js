/**
 * The daemon's event stream: the newest state, again and again, for as long as the page is open.
 *
 * It is read by hand and not through an EventSource, because that tells neither the status of a
 * refused connection nor of a stream that has fallen silent.
 */
import { address } from "./api.js";
import { parseExactly } from "./numbers.js";

// The daemon sends a comment every 20 seconds: two of them are missing, and they were not only late.
const silence = 45_000;
// A daemon that was started again is soon there. One that stays away is not asked all the time, and when it comes back
// nobody waits for long in front of the page.
const firstPause = 500;
const longestPause = 5_000;

/**
 * @typedef {"connecting" | "connected" | "lost" | "refused"} Connection
 *     connecting: for the first time; lost: it is being tried again; refused: the token is not, or no longer, the daemon's
 */
export class Stream {
  #onState;
  #onConnection;
  #abort = new AbortController();
  #isWanted = true;
  /** @type {(value?: unknown) => void} */
  #wake = () => {};
  #others = new BroadcastChannel("tamsell-page");

  /** @param {(state: object) => void} onState @param {(connection: Connection) => void} onConnection */
  constructor(onState, onConnection) {
    this.#onState = onState;
    this.#onConnection = onConnection;
    // A browser keeps few connections to one server, and each open page holds one: when there is
    // another page, one that nobody sees lets go of its own.
    this.#others.onmessage = () => {
      if (!document.hidden) return;
      this.#isWanted = false;
      this.#abort.abort();
    };
    document.addEventListener("visibilitychange", () => {
      if (document.hidden) return;
      this.#others.postMessage("here");
      this.#isWanted = true;
      this.#wake();
    });
    this.#others.postMessage("here");
    this.#run();
  }

  async #run() {
    let pause = firstPause;
    for (;;) {
      const hadState = await this.#readUntilItEnds();
      pause = hadState ? firstPause : Math.min(pause * 2, longestPause);
      await new Promise((resolve) => {
        this.#wake = resolve;
        if (this.#isWanted) setTimeout(resolve, pause);
      });
    }
  }

  // Whether a state has arrived before the stream ended.
  async #readUntilItEnds() {
    let hadState = false;
    this.#abort = new AbortController();
    let silenceTimer;
    const heard = () => {
      clearTimeout(silenceTimer);
      silenceTimer = setTimeout(() => this.#abort.abort(), silence);
    };
    try {
      heard();
      const response = await fetch(address("/events"), { cache: "no-store", signal: this.#abort.signal });
      if (!response.ok) {
        this.#onConnection(response.status === 401 ? "refused" : "lost");
        return false;
      }
      for await (const record of records(response.body.getReader(), heard)) {
        hadState = true;
        try {
          this.#onConnection("connected");
          this.#onState(parseExactly(record));
        } catch (error) {
          reportError(error); // A fault of the page's own, and no reason to hear no more.
        }
      }
    } catch {
      // Whatever ended it: it has ended.
    } finally {
      clearTimeout(silenceTimer);
      this.#abort.abort();
    }
    this.#onConnection("lost");
    return hadState;
  }
}

// The data of each record. Every line of the daemon's is a whole record, and a long one comes in many
// chunks, so that only the new chunk is searched.
async function* records(reader, heard) {
  const decoder = new TextDecoder();
  let pieces = [];
  for (;;) {
    const { done, value } = await reader.read();
    if (done) return;
    heard();
    let text = decoder.decode(value, { stream: true });
    for (;;) {
      const end = text.indexOf("\n");
      if (end < 0) break;
      pieces.push(text.slice(0, end));
      const record = pieces.join("");
      pieces = [];
      text = text.slice(end + 1);
      if (record.startsWith("data: ")) yield record.slice("data: ".length);
    }
    if (text) pieces.push(text);
  }
}
