import { spawn } from "node:child_process";
import { once } from "node:events";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

/** The tests' folder of the source tree. */
export const tests = dirname(dirname(dirname(fileURLToPath(import.meta.url))));

/** Where the built programs are: ctest says it; by hand it is the release build. */
export const bin = process.env.TAMSELL_BIN ?? join(dirname(tests), "build/release/bin");

/** The page as the daemon beside it finds it. */
export const pageFile = join(dirname(bin), "share/tamsell/app.html");

/** A child process in a group of its own, which never outlives the one that runs the tests. */
export class Program {
  output = "";
  #child;
  #kill = () => this.signal("SIGKILL");

  /**
   * @param command passed to spawn(), with the two
   * @param options of spawn(); `input` is what it reads
   */
  constructor(command, args, { input, ...options } = {}) {
    this.#child = spawn(command, args, { ...options, detached: true, stdio: "pipe" });
    this.ended = once(this.#child, "close").then(([code, signal]) => ({ code, signal }));
    this.ended.catch(() => {});
    // Ending without having read everything is the program's right.
    this.#child.stdin.on("error", () => {});
    this.#child.stdin.end(input ?? "");
    for (const stream of [this.#child.stdout, this.#child.stderr]) {
      stream.setEncoding("utf8").on("data", (text) => (this.output += text));
    }
    process.on("exit", this.#kill);
    this.#child.on("close", () => process.off("exit", this.#kill));
  }

  get isRunning() {
    return this.#child.exitCode === null && this.#child.signalCode === null && this.#child.pid !== undefined;
  }

  /** To the program and what it started. */
  signal(name) {
    if (this.isRunning) process.kill(-this.#child.pid, name);
  }
}
