import { mkdtemp, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";

import { chromium } from "playwright-core";

import { defer } from "./defer.mjs";

/**
 * Starts the system's Chromium, or the one that the environment variable CHROMIUM names, with a home of its own. It
 * finds no host but the local one. Ends with whoever `t` is.
 * @param args what it is started with besides
 */
export async function launchChromium(t, ...args) {
  const home = await mkdtemp(join(tmpdir(), "tamsell-chromium-"));
  defer(t, () => rm(home, { recursive: true, force: true, maxRetries: 10 }));
  const browser = await chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    headless: true,
    // It refuses to run sandboxed as root.
    chromiumSandbox: process.getuid() !== 0,
    env: { ...process.env, HOME: home },
    args: [
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-gpu",
      "--disable-quic",
      "--disable-sync",
      "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
      "--no-first-run",
      ...args,
    ],
  });
  defer(t, () => browser.close());
  return browser;
}
