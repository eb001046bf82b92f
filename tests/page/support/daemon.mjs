import assert from "node:assert/strict";
import { randomInt, randomUUID } from "node:crypto";
import { mkdtemp, readFile, rm, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";

import { defer } from "./defer.mjs";
import { bin, Program } from "./programs.mjs";
import { until } from "./until.mjs";

/** Many tests start daemons at once, so that each looks somewhere else. */
async function portBelowTheEphemeralOnes() {
  const range = await readFile("/proc/sys/net/ipv4/ip_local_port_range", "utf8");
  return randomInt(10_000, Math.max(Number.parseInt(range, 10), 11_000));
}

/** The real daemon in a home of its own, listening where its configuration says. */
export class RunningDaemon {
  token = randomUUID();
  #program;

  /** Ends with the test, which fails when the daemon does not end well.
   *  @param settings what config.json holds beside port and token; the mode is "on" if it says none */
  static async start(t, settings = {}) {
    const home = await mkdtemp(join(tmpdir(), "tamsell-page-"));
    const daemon = new RunningDaemon(home);
    defer(t, async () => {
      await daemon.stop();
      await rm(home, { recursive: true });
    });
    for (let attempt = 0; attempt < 20; ++attempt) {
      daemon.port = await portBelowTheEphemeralOnes();
      await daemon.configure({ mode: "on", ...settings, port: daemon.port, token: daemon.token });
      if (await daemon.#launch()) return daemon;
      await daemon.stop();
    }
    throw new Error("the daemon found no free port");
  }

  constructor(home) {
    this.home = home;
  }

  get origin() {
    return `http://127.0.0.1:${this.port}`;
  }

  /** The page's address as a person opens it. */
  get url() {
    return `${this.origin}/?token=${this.token}`;
  }

  /** What it has logged since it was last started. */
  get log() {
    return this.#program.output;
  }

  /** Replaces config.json; the daemon reads it again at the next event or tick. */
  async configure(settings) {
    await writeFile(join(this.home, "config.json"), JSON.stringify(settings));
  }

  async stop() {
    const program = this.#program;
    if (!program) return;
    this.#program = undefined;
    program.signal("SIGCONT");
    program.signal("SIGTERM");
    try {
      await until(() => !program.isRunning, "the daemon's end");
    } finally {
      program.signal("SIGKILL");
    }
    assert.deepEqual(await program.ended, { code: 0, signal: null }, program.output);
  }

  /** Ends it, unless it was stopped, and starts it at the same address and with the same token. */
  async restart() {
    await this.stop();
    assert.ok(await this.#launch(), "somebody else took the port meanwhile");
  }

  /** It stops doing anything, and its connections stay open. */
  suspend() {
    this.#program.signal("SIGSTOP");
  }

  resume() {
    this.#program.signal("SIGCONT");
  }

  /** What a route answers: POST with a body, GET without. Rejects when that is an error. */
  async api(path, body) {
    const response = await fetch(this.origin + path, {
      method: body === undefined ? "GET" : "POST",
      headers: { "x-token": this.token },
      body: body === undefined ? undefined : JSON.stringify(body),
    });
    const text = await response.text();
    assert.ok(response.ok, `${path}: ${response.status} ${text}`);
    return JSON.parse(text);
  }

  /** The waiting items, once there are so many. */
  pending(count) {
    return until(async () => {
      const { pending } = await this.api("/state");
      return pending.length === count && pending;
    }, `${count} waiting items`);
  }

  /** Whether it listens; not so when the port is taken. */
  async #launch() {
    const program = new Program(join(bin, "tamsell"), ["--headless"], {
      // A user who is never idle, and nothing of the one who runs the tests.
      env: {
        ...process.env,
        TAMSELL_HOME: this.home,
        TAMSELL_CLAUDE_SETTINGS: join(this.home, "claude.json"),
        CODEX_HOME: join(this.home, "codex"),
        TAMSELL_FORCE_IDLE: "0",
      },
    });
    this.#program = program;
    const isTaken = () => program.output.includes("is already in use\n");
    const listens = () => program.output.includes(`tamsell listening on 127.0.0.1:${this.port}\n`);
    await until(() => listens() || isTaken() || !program.isRunning, "the daemon to listen");
    if (!program.isRunning) {
      const { code, signal } = await program.ended;
      this.#program = undefined;
      throw new Error(`the daemon ended with ${signal ?? code}: ${program.output}`);
    }
    return listens();
  }
}
