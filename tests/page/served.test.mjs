import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { createHash } from "node:crypto";
import { test } from "node:test";

import { RunningDaemon } from "./support/daemon.mjs";

/** Names of vocabularies look like addresses; nothing is ever fetched from there. */
const namespaces = ["http://www.w3.org/2000/svg"];

/** The text of the page's one element of that name, and its attributes. */
function onlyElement(html, name) {
  const found = [...html.matchAll(new RegExp(`<${name}\\b([^>]*)>([^]*?)</${name}>`, "gi"))];
  assert.equal(found.length, 1, `${found.length} <${name}> in the page`);
  return { attributes: found[0][1], text: found[0][2] };
}

/** The page's content security policy by directive. */
function policyOf(head) {
  const [, content] = /<meta\s+http-equiv="Content-Security-Policy"\s+content="([^"]*)"/i.exec(head) ?? [];
  assert.ok(content, "no content security policy in the head");
  return Object.fromEntries(
    content.split(";").map((directive) => {
      const [name, ...sources] = directive.trim().split(/\s+/);
      return [name, sources.join(" ")];
    }),
  );
}

const hashOf = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

test("the daemon serves a page that trusts nothing but itself", async (t) => {
  const daemon = await RunningDaemon.start(t);
  const response = await fetch(daemon.url);
  assert.equal(response.status, 200);
  assert.equal(response.headers.get("content-type"), "text/html; charset=utf-8");
  const html = await response.text();
  const script = onlyElement(html, "script");
  const style = onlyElement(html, "style");
  const [, head] = /<head>([^]*)<\/head>/i.exec(html);

  await t.test("its policy lets exactly its own script and style through", () => {
    const policy = policyOf(head);
    assert.equal(policy["default-src"], "'none'");
    assert.equal(policy["script-src"], hashOf(script.text));
    assert.equal(policy["style-src"], hashOf(style.text));
    assert.equal(policy["connect-src"], "'self'");
    assert.equal(policy["base-uri"], "'none'");
    assert.equal(policy["form-action"], "'none'");
    assert.equal(policy["require-trusted-types-for"], "'script'");
    assert.ok(
      head.search(/Content-Security-Policy/i) < head.search(/<(script|style|link)\b/i),
      "a policy holds only for what follows it",
    );
  });

  await t.test("it loads nothing from elsewhere", () => {
    const markup = html.replace(script.text, "").replace(style.text, "");
    assert.doesNotMatch(markup, /\b(src|srcset|href|action)\s*=\s*["']?(?!data:|#|["'])/i);
    assert.doesNotMatch(style.text, /@import|url\(\s*["']?(?!data:|#)/i);
    const addresses = html.match(/https?:\/\/[^\s"'`<>)]*/gi) ?? [];
    assert.deepEqual(
      addresses.filter((address) => !namespaces.includes(address)),
      [],
    );
  });

  await t.test("its address, which has the token in it, is told nobody", () => {
    assert.match(head, /<meta name="referrer" content="no-referrer"\s*\/?>/);
  });

  await t.test("its language is the Chinese of Taiwan", () => {
    assert.match(html, /^<!doctype html>\s*<html lang="zh-Hant-TW"/i);
  });

  await t.test("its script parses", () => {
    const type = /type="module"/.test(script.attributes) ? "module" : "commonjs";
    const { status, stderr } = spawnSync(process.execPath, [`--input-type=${type}`, "--check", "-"], {
      input: script.text,
      encoding: "utf8",
    });
    assert.equal(status, 0, stderr);
  });
});

test("nobody gets the page without the token", async (t) => {
  const daemon = await RunningDaemon.start(t);
  for (const address of [`${daemon.origin}/`, `${daemon.origin}/?token=`, `${daemon.url}x`]) {
    const response = await fetch(address);
    assert.equal(response.status, 401, address);
    assert.doesNotMatch(await response.text(), /</);
  }
});
