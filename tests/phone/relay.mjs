import { spawn } from "node:child_process";
import { once } from "node:events";
import { readFile } from "node:fs/promises";
import { dirname, join } from "node:path";

import { defer } from "../page/support/defer.mjs";
import { bin } from "../page/support/programs.mjs";

/**
 * A relay over TLS with an authority of its own, until the test ends.
 * @returns url; authority: the file of its authority's certificate; ca: what that file holds
 */
export async function startRelay(t) {
  // It ends with its standard input, which the end of this process closes, too.
  const program = spawn(join(dirname(bin), "tests/relay-double"), ["--tls"], { stdio: ["pipe", "pipe", "inherit"] });
  const ended = once(program, "close");
  defer(t, () => {
    program.stdin.end();
    return ended;
  });
  const line = await Promise.race([
    once(program.stdout.setEncoding("utf8"), "data").then(([text]) => text),
    ended.then(([code]) => Promise.reject(new Error(`the relay ended with ${code}`))),
  ]);
  const [url, authority] = line.trim().split(" ");
  return { url, authority, ca: await readFile(authority) };
}
