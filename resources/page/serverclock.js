/**
 * The daemon's clock, which may be another computer's. Its states carry no time of their own; but what
 * is new in one has only just happened.
 */

// What takes its way here for as long is no difference of clocks.
const tolerance = 2000;
// A page that was stopped for longer, with its timers, hears late.
const longestStop = 3000;

export class ServerClock {
  #newest; // The latest time in any state so far; nothing before the first.
  #lastTick = performance.now();
  #stoppedAt = -Infinity;
  #least = Infinity; // How long ago that was at least, in milliseconds; what is late only makes it longer.

  constructor() {
    setInterval(() => this.#tick(), 1000);
  }

  /** @param {{recent?: {at: number}[], pending?: {createdAt: number}[]}} state  one that has just arrived */
  hear(state) {
    const newest = Math.max(
      ...(state.recent ?? []).slice(-1).map((event) => event.at),
      ...(state.pending ?? []).slice(-1).map((item) => item.createdAt),
    );
    const difference = Date.now() - newest;
    // The first state may be as old as it likes, but not of the future.
    const isNews = this.#newest !== undefined && newest > this.#newest;
    this.#tick();
    const isOnTime = performance.now() - this.#stoppedAt > longestStop;
    if ((isNews && isOnTime) || difference < 0) this.#least = Math.min(this.#least, difference);
    this.#newest = Math.max(this.#newest ?? -Infinity, newest);
  }

  /** After a pause the next state may be old again. */
  pause() {
    this.#newest = undefined;
    this.#least = Infinity;
  }

  #tick() {
    const now = performance.now();
    if (now - this.#lastTick > longestStop) this.#stoppedAt = now;
    this.#lastTick = now;
  }

  /** Milliseconds since 1970. */
  now() {
    const isAhead = Number.isFinite(this.#least) && Math.abs(this.#least) > tolerance;
    return Date.now() - (isAhead ? this.#least : 0);
  }
}
