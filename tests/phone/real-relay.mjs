import assert from "node:assert/strict";
import { mkdtemp, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";

import { defer } from "../page/support/defer.mjs";
import { bin, Program } from "../page/support/programs.mjs";
import { until } from "../page/support/until.mjs";

/** The real relay, which serves the page, until the test ends. */
export class Relay {
  static async start(t) {
    const home = await mkdtemp(join(tmpdir(), "tamsell-relay-"));
    const relay = new Relay();
    relay.home = home;
    relay.address = "127.0.0.1:0";
    defer(t, async () => {
      await relay.kill();
      await rm(home, { recursive: true });
    });
    await relay.launch();
    return relay;
  }

  /** At the same address as before. */
  async launch() {
    const database = join(this.home, "relay.db");
    this.program = new Program(join(bin, "tamsell-relay"), ["--listen", this.address, "--database", database]);
    const listening = () => /listening on (\S+)/.exec(this.program.output);
    await until(() => listening() || !this.program.isRunning, "the relay to listen");
    assert.ok(listening(), this.program.output);
    this.address = listening()[1];
    this.origin = `http://${this.address}`;
  }

  async kill() {
    this.program.signal("SIGKILL");
    await this.program.ended;
  }
}
