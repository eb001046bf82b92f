import assert from "node:assert/strict";
import { test } from "node:test";

import { devices, items, now, snapshotWith } from "./states.mjs";
import { accessibilityFaults } from "./support/accessibility.mjs";
import { openPage } from "./support/browser.mjs";
import { button, cardOf } from "./support/cards.mjs";
import { Stage } from "./support/stage.mjs";

const long = "a-folder-with-a-name-that-is-longer-than-any-line-of-the-page-has-room-for-資料夾";
const command =
  "tar --exclude=node_modules/.cache -czf /tmp/backup-2026.tar.gz . && rm -rf --no-preserve-root /srv/app-data " +
  `${"/a-very-long-directory-name".repeat(9)} שלום/‏עולם 資料夾-名稱很長/檔案 -f\n\techo "$x"\n`;
const wide = {
  ...items.push,
  id: "wide",
  cwd: `/home/user/work/${long}`,
  tool: "mcp__a_server_with_a_long_name__create_many_issues_at_once_and_then_some_more",
  input: { command, description: long.repeat(4) },
};

async function stand(t, pending, options) {
  const snapshot = snapshotWith(...pending);
  snapshot.sessions = [{ ...snapshot.sessions[0], id: "wide", cwd: `${wide.cwd}/${long}` }, ...snapshot.sessions];
  snapshot.recent = [...snapshot.recent, { ...snapshot.recent[1], summary: command, tool: wide.tool }];
  const stage = await Stage.start(t, { snapshot, devices: [{ ...devices[0], name: long }, ...devices] });
  const page = await openPage(t, stage, { prepare: (opened) => opened.clock.install({ time: now }), ...options });
  await page.locator("article").first().waitFor();
  return { stage, page };
}

/** What a page goes through, one after the other. */
const poses = {
  "cards that wait": async () => {},
  "second steps": async (page) => {
    await button(cardOf(page, items.push), "總是允許…").click();
    await button(cardOf(page, items.script), "拒絕…").click();
  },
  "a pairing link": async (page, stage) => {
    const body = { link: "https://relay.tamsell.example/pair#0", expires: now + 600_000 };
    stage.replies["/pair"] = { status: 200, body };
    await button(page, "配對手機…").click();
    await page.getByRole("group", { name: "配對連結" }).waitFor();
  },
  "a removal": async (page) => {
    await page.locator(".phone").last().hover();
    await button(page.locator(".phone").last(), "移除…").click();
  },
  "cards that have ended": async (page, stage) => {
    await page.keyboard.press("Escape");
    stage.show({ ...stage.snapshot, pending: [] });
    await button(cardOf(page, items.push), "收起").waitFor();
  },
  "a lost connection": async (page, stage) => {
    await page.route("**/events?*", (route) => route.abort());
    stage.breakStreams();
    await page.getByText("正在重新連線").waitFor();
  },
};

for (const width of [360, 1440]) {
  for (const colorScheme of ["light", "dark"]) {
    test(`axe finds nothing at ${width}, ${colorScheme}`, async (t) => {
      // axe is put into the page, which its policy would not allow.
      const options = { viewport: { width, height: 800 }, colorScheme, bypassCSP: true, allowed: [/ERR_/] };
      const { page, stage } = await stand(t, [items.push, items.script, items.hidden, items.stopped, wide], options);
      for (const [name, pose] of Object.entries(poses)) {
        await pose(page, stage);
        // Text fades in, and a button that is not armed yet is not legible on purpose.
        await page.clock.runFor(1000);
        await page.evaluate(() => Promise.all(document.getAnimations().map((animation) => animation.finished)));
        assert.deepEqual(await accessibilityFaults(page), [], name);
      }
    });
  }
}

test("nothing is wider than the window", async (t) => {
  const { page } = await stand(t, [wide, items.stopped]);
  await button(cardOf(page, wide), "總是允許…").click();
  for (const width of [320, 360, 559, 560, 699, 700, 959, 960, 1440]) {
    await page.setViewportSize({ width, height: 800 });
    const tooWide = await page.evaluate(() =>
      [...document.querySelectorAll("body *")]
        .filter(
          (one) => one.getBoundingClientRect().right > innerWidth + 0.5 && !one.closest(".line, .path, .unseen, .rows"),
        )
        .map((one) => one.className || one.tagName),
    );
    assert.deepEqual(tooWide, [], `at ${width}`);
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth > innerWidth), false, `at ${width}`);
  }
});

test("a command wraps at its spaces, never behind a hyphen, and is copied as it is", async (t) => {
  const { page } = await stand(t, [wide], { viewport: { width: 360, height: 800 } });
  const box = page.locator(".box").first();
  const { breaks, copied } = await box.evaluate((element) => {
    const breaks = []; // What stands around each place at which a line was broken.
    for (const row of element.querySelectorAll(".row")) {
      const walker = document.createTreeWalker(row, NodeFilter.SHOW_TEXT);
      let before = "";
      let top;
      for (let node = walker.nextNode(); node; node = walker.nextNode()) {
        for (let i = 0; i < node.data.length; ++i) {
          const range = document.createRange();
          range.setStart(node, i);
          range.setEnd(node, i + 1);
          const rect = [...range.getClientRects()].at(-1);
          if (rect && rect.width > 0) {
            if (top !== undefined && rect.top > top + 10) {
              const word = node.parentElement.closest(".word");
              const isLong = word !== null && word.offsetHeight > 30;
              breaks.push({ before, after: node.data.slice(i, i + 8), isLong });
            }
            top = rect.top;
          }
          before = (before + node.data[i]).slice(-8);
        }
      }
    }
    getSelection().selectAllChildren(element);
    return { breaks, copied: getSelection().toString() };
  });
  assert.ok(breaks.length > 10, JSON.stringify(breaks));
  for (const place of breaks) {
    assert.ok(!place.before.endsWith("-"), JSON.stringify(place));
    assert.ok(place.before.endsWith(" ") || place.isLong, JSON.stringify(place));
  }
  assert.equal(copied.trimEnd(), command.replace("\u200F", "U+200F").trimEnd());
});

test("forced colours leave outlines, reduced motion no movement", async (t) => {
  const { page } = await stand(t, [items.push, items.stopped], { forcedColors: "active", reducedMotion: "reduce" });
  const faults = await page.evaluate(() =>
    [...document.querySelectorAll("button, article, .box, textarea")]
      .filter((one) => one.checkVisibility())
      .filter((one) => {
        const { borderTopWidth, borderTopStyle, borderTopColor, animationName } = getComputedStyle(one);
        const isOutlined = borderTopStyle !== "none" && parseFloat(borderTopWidth) > 0;
        return !isOutlined || /^rgba.* 0\)$/.test(borderTopColor) || animationName !== "none";
      })
      .map((one) => one.outerHTML.slice(0, 80)),
  );
  assert.deepEqual(faults, []);
});

test("blank lines are copied, too", async (t) => {
  const text = "cat <<END\n\n  a\n\n\nEND";
  const pending = [
    { ...items.push, input: { command: text } },
    { ...items.stopped, lastMessage: text },
    { ...items.script, input: { old_string: "", new_string: text } },
  ];
  const { page } = await stand(t, pending);
  for (const [i, item] of pending.entries()) {
    const copied = await cardOf(page, item)
      .locator(".box")
      .evaluate((box) => {
        getSelection().selectAllChildren(box);
        return getSelection().toString();
      });
    assert.equal(copied.trimEnd(), text, pending[i].kind);
  }
});
