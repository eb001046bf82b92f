import assert from "node:assert/strict";
import { readdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";

import { diffLines, linesOf } from "../../resources/page/diff.js";
import { ago, clock, countdown, projectOf, sessionName, shortPath } from "../../resources/page/format.js";
import { canAlways, rememberedBy } from "../../resources/page/rules.js";
import { textsOf, viewOf } from "../../resources/page/view.js";
import { hidesSomething, piecesOf, visibleText } from "../../resources/page/visible.js";
import { tests } from "./support/programs.mjs";

/** Numbers from 0 up to a limit, the same ones in every run. */
function generator(seed) {
  let state = seed;
  return (limit) => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.floor((state / 2 ** 32) * limit);
  };
}

test("what a text hides is marked, and nothing else is", () => {
  for (const [text, expected] of [
    ["rm\u202E fr-", "rm[U+202E] fr-"],
    ["\u2066a\u2069\u061C\u200F", "[U+2066]a[U+2069][U+061C][U+200F]"],
    ["a\u200B\u200D\u2060\uFEFFb", "a[U+200B][U+200D][U+2060][U+FEFF]b"],
    ["a\u{E0041}\u{E007F}b", "a[U+E0041][U+E007F]b"],
    ["\u2800 \u3164\uFFA0\u115F\u034F\u180E", "[U+2800] [U+3164][U+FFA0][U+115F][U+034F][U+180E]"],
    ["co\u00ADop", "co[U+00AD]op"],
    ["a\uD83Db \uDE00", "a[U+D83D]b [U+DE00]"],
    ["a\u3000b\u00A0c\u2003d\u2028e", "a[U+3000]b[U+00A0]c[U+2003]d[U+2028]e"],
    ["\0\x1B[31m\x7F\x9B\r\n", "[U+0000][U+001B][31m[U+007F][U+009B][U+000D]\n"],
    ["\uFFFF\u0378\u{10FFFF}", "[U+FFFF][U+0378][U+10FFFF]"],
    ["❤\uFE0F 🌶\uFE0F ©\uFE0F", "❤\uFE0F 🌶\uFE0F ©\uFE0F"],
    ["❤\uFE0F\uFE0F a\uFE0F \uFE0F ❤\uFE0E", "❤\uFE0F[U+FE0F] a[U+FE0F] [U+FE0F] ❤[U+FE0E]"],
    ["\ttab, space\nand line — e\u0301, 中文，עברית, 🍎 〇", "\ttab, space\nand line — e\u0301, 中文，עברית, 🍎 〇"],
    ["", ""],
  ]) {
    assert.equal(visibleText(text), expected);
    assert.equal(hidesSomething(text), expected !== text, JSON.stringify(text));
    const back = piecesOf(text).map((piece) => piece.text ?? String.fromCodePoint(parseInt(piece.mark.slice(2), 16)));
    assert.equal(back.join(""), text);
  }
});

test("a diff", async (t) => {
  const diff = (before, after) => diffLines(before, after).map(({ sign, text }) => sign + text);

  await t.test("is the shortest, what goes before what comes", () => {
    for (const [before, after, expected] of [
      ["", "", []],
      ["a\nb", "a\nb\n", [" a", " b"]],
      ["a", "b", ["-a", "+b"]],
      ["", "a\nb", ["+a", "+b"]],
      ["a\n\nb", "", ["-a", "-", "-b"]],
      ["a\nb\nc\nd", "a\nx\nc\nd", [" a", "-b", "+x", " c", " d"]],
      ["a\nb\nc", "b\nc\na", ["-a", " b", " c", "+a"]],
      ["a\na", "a\na\na", [" a", " a", "+a"]],
    ])
      assert.deepEqual(diff(before, after), expected, JSON.stringify([before, after]));
  });

  await t.test("gives both texts back", () => {
    const below = generator(20261122);
    const text = () => Array.from({ length: below(12) }, () => "abc"[below(3)]).join("\n");
    for (let round = 0; round < 500; ++round) {
      const [before, after] = [text(), text()];
      const lines = diffLines(before, after);
      const side = (other) => lines.filter(({ sign }) => sign !== other).map((line) => line.text);
      assert.deepEqual(side("+"), linesOf(before));
      assert.deepEqual(side("-"), linesOf(after));
    }
  });

  await t.test("of far too many lines takes away and brings as a whole", () => {
    const many = (name) => Array.from({ length: 2001 }, (_, i) => `${name} ${i % 100 ? i : "same"}`);
    const [old, now] = [many("old"), many("now")];
    const around = (lines) => ["first", ...lines, "last"].join("\n");
    old[500] = now[500] = "common";
    assert.deepEqual(diff(around(old), around(now)), [
      " first",
      ...old.map((line) => `-${line}`),
      ...now.map((line) => `+${line}`),
      " last",
    ]);
  });
});

const fixtures = ["claude", "codex"].flatMap((agent) => {
  const folder = join(tests, "fixtures", agent, "in");
  return readdirSync(folder).map((file) => [`${agent}/${file}`, JSON.parse(readFileSync(join(folder, file)))]);
});
const fixture = (name) => fixtures.find(([file]) => file === `${name}.json`)[1];
const permission = (tool, input) => ({ kind: "permission", tool, input });

/** The strings and numbers in a value of JSON, and what its members are called where a view shows that. */
function* leaves(value) {
  if (typeof value === "string") yield* value.split("\n");
  else if (typeof value === "number") yield String(value);
  else if (value && typeof value === "object") for (const member of Object.values(value)) yield* leaves(member);
}

function assertShowsAll(item) {
  const { blocks, claim } = viewOf(item);
  const texts = [...blocks.flatMap(textsOf), ...claim.split("\n")];
  for (const leaf of leaves(item.input ?? item.lastMessage)) {
    const escaped = JSON.stringify(leaf).slice(1, -1);
    assert.ok(
      // A patch has its signs before the lines.
      texts.some(
        (text) => text.includes(leaf) || text.includes(escaped) || (/^[-+]/.test(leaf) && text === leaf.slice(1)),
      ),
      `${JSON.stringify(leaf)} is lost of ${JSON.stringify(item)}`,
    );
  }
}

test("the view of an item", async (t) => {
  await t.test("has everything of every fixture", () => {
    const asked = fixtures.filter(([, event]) => event.tool_input || event.last_assistant_message);
    assert.ok(asked.length > 20);
    for (const [, event] of asked)
      assertShowsAll(
        event.tool_input
          ? permission(event.tool_name, event.tool_input)
          : { kind: "stop", lastMessage: event.last_assistant_message },
      );
  });

  await t.test("has everything of inputs that are nearly known", () => {
    const below = generator(184243);
    const names = ["command", "description", "file_path", "old_string", "new_string", "replace_all", "content", "plan"];
    const inner = ["old_string", "new_string", "replace_all", "question", "header", "options", "multiSelect", "label"];
    let count = 0;
    const value = (depth) => {
      const kind = below(depth > 2 ? 5 : 8);
      if (kind < 3) return `text ${++count}.`;
      if (kind < 5) return [true, false, null, ++count + 0.5][below(4)];
      if (kind < 6) return Array.from({ length: below(3) }, () => value(depth + 1));
      return members(depth + 1, [...inner, "description", "more"]);
    };
    const members = (depth, from) =>
      Object.fromEntries(Array.from({ length: below(5) }, () => [from[below(from.length)], value(depth)]));
    for (let round = 0; round < 3000; ++round) {
      const input = members(0, [...names, "__proto__"]);
      if (below(2)) input.edits = [members(1, inner.slice(0, 3)), value(0)];
      if (below(2)) input.questions = [{ ...members(1, inner), question: "?", options: [members(2, inner), value(2)] }];
      assertShowsAll(permission(["Bash", "Edit", "apply_patch"][below(3)], input));
    }
  });

  await t.test("tells edits, patches and empty files apart", () => {
    const code = (label, lines, signs) => ({ kind: "code", label, lines, ...(signs && { signs: [...signs] }) });
    const note = (text) => ({ kind: "note", text });
    const edit = fixture("claude/permission_request_edit").tool_input;
    const patch = fixture("codex/permission_request_apply_patch").tool_input;
    for (const [tool, input, ...blocks] of [
      [
        "Edit",
        { ...edit, replace_all: true },
        code("檔案", [edit.file_path]),
        note("全部取代："),
        code("修改", [edit.old_string, edit.new_string], "-+"),
      ],
      [
        "Edit",
        { old_string: "a\n", new_string: "b" },
        code("修改", ["a", "b"], "-+"),
        note("最後少了一個換行，會和下一行連在一起。"),
      ],
      [
        "MultiEdit",
        {
          edits: [
            { old_string: "a", new_string: "b" },
            { old_string: "a", new_string: 1 },
          ],
        },
        note("取代一處："),
        code("修改", ["a", "b"], "-+"),
        code("修改", ["{", '  "old_string": "a",', '  "new_string": 1', "}"]),
      ],
      ["Write", { file_path: "/a", content: "" }, code("檔案", ["/a"]), note("（空的）")],
      [
        "apply_patch",
        patch,
        code(
          "修補",
          linesOf(patch.command).map((line) => line.replace(/^[-+]/, "")),
          "   -+ ",
        ),
      ],
      ["apply_patch", { command: "--- a" }, code("修補", ["-- a"], "-")],
    ])
      assert.deepEqual(viewOf(permission(tool, input)).blocks, blocks, JSON.stringify(input));
  });

  await t.test("says something of what says nothing", () => {
    const silent = [
      { kind: "stop" },
      ...[undefined, null, {}, [], "", { command: "" }].map((it) => permission("X", it)),
    ];
    for (const item of silent) assert.ok(viewOf(item).blocks.flatMap(textsOf).join("").trim(), JSON.stringify(item));
  });

  await t.test("has the agent's description as a claim only beside a command", () => {
    assert.equal(viewOf(permission("Bash", { command: "a", description: "why" })).claim, "why");
    assert.equal(viewOf(permission("X", { description: "what" })).claim, "");
  });
});

test("what always remembers", () => {
  const rule = { toolName: "Bash", ruleContent: "git push:*" };
  const add = { type: "addRules", rules: [rule], behavior: "allow", destination: "localSettings" };
  const known = (heading, entries, place) => ({ heading, entries, place });
  const asJSON = (value) => known("agent 會照這樣記住：", JSON.stringify(value, null, 2).split("\n"), "");
  for (const [suggestion, expected] of [
    [
      { ...add, rules: [{ toolName: "Read" }, rule] },
      known("以後不再問，直接允許：", ["Read", "Bash(git push:*)"], "寫入這個專案的本機設定（localSettings）。"),
    ],
    [
      { ...add, behavior: "deny", destination: "session" },
      known("以後一律拒絕：", ["Bash(git push:*)"], "只在這個工作階段有效（session）。"),
    ],
    [
      { type: "setMode", mode: "acceptEdits", destination: "projectSettings" },
      known("權限模式改成：", ["acceptEdits"], "寫入這個專案的共用設定（projectSettings）。"),
    ],
    [
      { type: "addDirectories", directories: ["/a", "/b"], destination: "session" },
      known("以後可以使用這些資料夾：", ["/a", "/b"], "只在這個工作階段有效（session）。"),
    ],
  ]) {
    assert.deepEqual(rememberedBy({ suggestions: [suggestion] }), [expected]);
    assert.deepEqual(rememberedBy({ suggestions: [{ ...suggestion, more: 1 }] }), [asJSON({ ...suggestion, more: 1 })]);
  }
  for (const unknown of [
    null,
    7,
    { type: "removeRules", rules: [rule], behavior: "allow", destination: "session" },
    { ...add, behavior: "constructor" },
    { ...add, rules: "all" },
    { ...add, rules: [{ ...rule, more: 1 }] },
    { ...add, rules: [JSON.parse('{"toolName":"Bash","__proto__":{}}')] },
    { ...add, rules: [{ toolName: "Bash", ruleContent: null }] },
    { ...add, destination: ["session"] },
    // An agent's words do not end up in a sentence of the page's.
    { ...add, destination: "session）。一小時後自動刪除（session" },
    { ...add, destination: "__proto__" },
    { type: "addRules", rules: [rule], behavior: "allow" },
    { type: "addDirectories", directories: [{}], destination: "session" },
    { type: "setMode", mode: {}, destination: "session" },
  ])
    assert.deepEqual(rememberedBy({ suggestions: [unknown] }), [asJSON(unknown)]);
  for (const suggestions of [undefined, null, [], {}, "all", { length: 1 }]) {
    assert.equal(canAlways({ suggestions }), false);
    assert.deepEqual(rememberedBy({ suggestions }), []);
  }
});

test("times, names and paths", () => {
  const now = new Date(2026, 10, 22, 18, 42, 7).getTime();
  const minute = 60_000;
  for (const [call, ...table] of [
    [countdown, [-5, "0:00"], [84_999, "1:24"], [3_599_999, "59:59"], [3_723_000, "1:02:03"]],
    [
      (past) => ago(now - past, now),
      ...[
        [-minute, "剛剛"],
        [59_999, "剛剛"],
        [60 * minute, "1 小時前"],
      ],
    ],
    [(then) => clock(then, now), [now, "18:42:07"], [now - 24 * 60 * minute, "11/21 18:42"]],
    [projectOf, ["/a/b", "b"], ["/a/b//", "b"], ["/", "/"], ["", undefined], [undefined, undefined]],
    [sessionName, [{ id: "🍎123456789", cwd: "" }, "🍎1234567"], [{ id: "x", cwd: "/a/b" }, "b"]],
    [
      shortPath,
      ["/home/u/a", "~/a"],
      ["/Users/u", "~"],
      ["/root/a", "~/a"],
      ["/rooted", "/rooted"],
      ["/homes/u/a", "/homes/u/a"],
    ],
  ])
    for (const [given, expected] of table) assert.equal(call(given), expected, JSON.stringify(given));
});
