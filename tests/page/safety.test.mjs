import assert from "node:assert/strict";
import { test } from "node:test";

import { items, now, snapshotWith } from "./states.mjs";
import { openPage } from "./support/browser.mjs";
import { answersOf, button, cardOf, middleOf, says } from "./support/cards.mjs";
import { Stage } from "./support/stage.mjs";
import { until } from "./support/until.mjs";

/** Milliseconds that an approving button does nothing. */
const armingTime = 600;

/** The page with these items, at a moment that goes on when the test says so. */
async function standStill(t, pending, { snapshot = snapshotWith(...pending), ...options } = {}) {
  const stage = await Stage.start(t, {
    snapshot,
    devices: [{ id: "phone-1", name: "iPhone", addedAt: 0, online: true }],
  });
  const prepare = (opened) => opened.clock.install({ time: now - 10_000 });
  const page = await openPage(t, stage, { prepare, reducedMotion: "reduce", ...options });
  for (const item of pending) await cardOf(page, item).waitFor();
  await page.clock.pauseAt(now);
  return { stage, page, answers: answersOf(page) };
}

const approving = (page, item) => button(cardOf(page, item), "允許");
const isArmed = async (approve) => (await approve.getAttribute("aria-disabled")) !== "true";
/** The page's own timers and frames are the clock's; this is the browser's next frame. */
const nextFrame = (page) =>
  page.evaluate(() => new Promise((resolve) => new ResizeObserver(resolve).observe(document.body)).then(() => {}));
const many = (count, from, change) => Array.from({ length: count }, (_, i) => ({ ...from, ...change(i) }));

test("an approving button does nothing for a moment after it has appeared", async (t) => {
  await t.test("however it is pressed", async (t) => {
    const { stage, page, answers } = await standStill(t, []);
    const press = (key) => (approve) => approve.focus().then(() => page.keyboard.press(key));
    const ways = [
      [items.push, "a click", async (approve) => page.mouse.click(...(await middleOf(approve)))],
      [items.script, "Return", press("Enter")],
      [items.unexplained, "Space", press("Space")],
      [items.compose, "a screen reader's click", (approve) => approve.evaluate((it) => it.click())],
    ];
    const given = [];
    for (const [item, name, approveBy] of ways) {
      stage.show(snapshotWith(item));
      const allow = approving(page, item);
      await allow.waitFor();
      await approveBy(allow);
      await page.clock.runFor(armingTime - 20);
      await approveBy(allow);
      assert.equal(await isArmed(allow), false, name);
      assert.deepEqual(await answers(), given, name);
      await page.clock.runFor(40);
      assert.equal(await isArmed(allow), true, name);
      await approveBy(allow);
      given.push({ id: item.id, action: "allow" });
      assert.deepEqual(await answers(), given, name);
      await cardOf(page, item).locator(".outcome").waitFor();
    }
  });

  await t.test("and what was pressed before and is released after approves nothing", async (t) => {
    const { stage, page, answers } = await standStill(t, []);
    stage.show(snapshotWith(items.push, items.compose));
    const [pointed, focused] = [approving(page, items.push), approving(page, items.compose)];
    await focused.waitFor();
    await page.mouse.move(...(await middleOf(pointed)));
    await page.mouse.down();
    await focused.focus();
    await page.keyboard.down("Space");
    await page.clock.runFor(armingTime + 20);
    await page.keyboard.up("Space");
    await page.mouse.up();
    assert.deepEqual(await answers(), []);
    await page.keyboard.press("Space");
    await page.mouse.down();
    await page.mouse.up();
    assert.equal((await answers()).length, 2);
  });

  await t.test("and a key that is held down never approves", async (t) => {
    const { stage, page, answers } = await standStill(t, [items.push]);
    await page.keyboard.down("Enter");
    for (const name of ["允許", "總是允許…"]) {
      await button(cardOf(page, items.push), name).focus();
      for (let repeat = 0; repeat < 5; ++repeat) await page.keyboard.down("Enter");
    }
    assert.deepEqual(await answers(), []);
    await page.keyboard.up("Enter");
    assert.ok(await approving(page, items.push).isVisible());
    // Nor the space bar, which a browser only counts when it is let go.
    stage.show(snapshotWith(items.push, items.compose));
    await approving(page, items.compose).focus();
    for (let repeat = 0; repeat < 40; ++repeat) {
      await page.keyboard.down("Space");
      await page.clock.runFor(33);
    }
    await page.keyboard.up("Space");
    assert.deepEqual(await answers(), []);
    await button(cardOf(page, items.push), "總是允許…").focus();
    // Nor what it does in a second step that it opened itself.
    await page.keyboard.down("Enter");
    for (let repeat = 0; repeat < 50; ++repeat) {
      await page.clock.runFor(33);
      await page.keyboard.down("Enter");
    }
    await page.keyboard.up("Enter");
    assert.deepEqual(await answers(), []);
  });

  await t.test("and denying works at once", async (t) => {
    const { stage, page, answers } = await standStill(t, []);
    stage.show(snapshotWith(items.push));
    await button(cardOf(page, items.push), "拒絕…").click();
    await page.keyboard.type("no");
    await button(cardOf(page, items.push), "拒絕").click();
    assert.deepEqual(await answers(), [{ id: items.push.id, action: "deny", message: "no" }]);
  });
});

test("an approving button that has moved does nothing for a moment", async (t) => {
  const moves = {
    "when the card above is put away": {
      pending: [items.push, items.compose],
      move: async (page, stage) => {
        stage.settle(items.push.id);
        await button(cardOf(page, items.push), "收起").waitFor();
        await page.clock.runFor(armingTime + 20);
        await button(cardOf(page, items.push), "收起").click();
      },
    },
    "when what is typed above takes another line": {
      pending: [items.stopped, items.compose],
      move: async (page) => {
        await cardOf(page, items.stopped).getByRole("textbox").focus();
        await page.keyboard.press("Shift+Enter");
        await page.keyboard.press("Shift+Enter");
      },
    },
    // Then the page itself gets no longer.
    "when that happens beside a longer column": {
      pending: [items.stopped, items.compose],
      sessions: 8,
      move: (page, stage) => moves["when what is typed above takes another line"].move(page, stage),
    },
    "when the window gets narrower": {
      pending: [items.push, items.compose],
      move: (page) => page.setViewportSize({ width: 500, height: 800 }),
    },
    "when the page was out of sight": {
      pending: [items.push, items.compose],
      isStill: true,
      move: (page) =>
        page.evaluate(() => {
          for (const hidden of [true, false]) {
            Object.defineProperty(document, "hidden", { value: hidden, configurable: true });
            document.dispatchEvent(new Event("visibilitychange"));
          }
        }),
    },
  };
  for (const [name, { pending, sessions = 0, isStill, move }] of Object.entries(moves)) {
    await t.test(name, async (t) => {
      const one = snapshotWith().sessions[0];
      const snapshot = {
        ...snapshotWith(...pending),
        sessions: many(sessions, one, (i) => ({ id: `s${i}` })),
        recent: [],
      };
      const { stage, page, answers } = await standStill(t, pending, { snapshot });
      const allow = approving(page, pending.at(-1));
      assert.ok(await isArmed(allow));
      const before = await allow.boundingBox();
      await move(page, stage);
      await nextFrame(page);
      if (!isStill) assert.notDeepEqual(await allow.boundingBox(), before);
      await page.mouse.click(...(await middleOf(allow)));
      assert.deepEqual(await answers(), []);
      await page.mouse.move(0, 0);
      await page.clock.runFor(armingTime + 20);
      await page.mouse.click(...(await middleOf(allow)));
      assert.equal((await answers()).length, 1);
    });
  }
});

test("a rhythm of clicks at one place does not run on into approving", async (t) => {
  const alike = many(3, items.push, (i) => ({ id: `alike-${i}` }));
  const { stage, page, answers } = await standStill(t, alike);
  const { x, y } = await approving(page, alike[0]).boundingBox();
  const rhythm = async () => {
    await page.clock.runFor(800);
    await page.mouse.click(x + 110, y + 10);
    await nextFrame(page);
  };
  stage.show(snapshotWith(...alike.slice(1)));
  await button(cardOf(page, alike[0]), "收起").waitFor();
  await page.mouse.move(0, 0);
  for (let i = 0; i < 6; ++i) await rhythm();
  assert.equal(await cardOf(page, alike[0]).count(), 0);
  const box = await approving(page, alike[1]).boundingBox();
  assert.deepEqual([box.x, box.y], [x, y]);
  assert.deepEqual(await answers(), []);
  await page.clock.runFor(3000); // Somebody who has read it meanwhile.
  await rhythm();
  assert.deepEqual(await answers(), [{ id: alike[1].id, action: "allow" }]);
  await says(cardOf(page, alike[1]).locator(".outcome"), "已允許");
  await rhythm(); // And a click too many does not put the card away unread.
  assert.equal(await cardOf(page, alike[1]).count(), 1);
});

test("no key approves where the focus is not on an approving button", async (t) => {
  const { page, answers } = await standStill(t, [items.push, items.stopped]);
  await page.evaluate(() => document.activeElement.blur());
  const printable = Array.from({ length: 95 }, (_, i) => String.fromCharCode(32 + i));
  const named = [
    "Enter",
    "Escape",
    "Backspace",
    "Delete",
    "ArrowDown",
    "ArrowUp",
    "ArrowRight",
    "Home",
    "End",
    "PageDown",
  ];
  for (const modifier of ["", "Control+", "Alt+"])
    for (const key of modifier ? ["Enter", "Space", "y"] : [...printable, ...named])
      await page.keyboard.press(modifier + key);
  assert.equal(await page.evaluate(() => document.activeElement === document.body), true);
  assert.deepEqual(await answers(), []);
  assert.ok(await approving(page, items.push).isVisible());
});

test("a new card moves nothing that is pointed at or has the focus", async (t) => {
  const narrow = (height) => ({ viewport: { width: 360, height } });
  const more = [items.script, items.hidden, items.unexplained];
  for (const [name, pending, height] of [
    ["with no cards there yet", [], 640],
    ["with cards there already", [items.push, items.stopped], 640],
    ["in a window that is longer than the page", [], 2000],
  ]) {
    await t.test(`pointed at, ${name}`, async (t) => {
      const { stage, page } = await standStill(t, pending, narrow(height));
      const pair = button(page, "配對手機…");
      await pair.scrollIntoViewIfNeeded();
      await page.mouse.move(...(await middleOf(pair)));
      const place = await pair.boundingBox();
      stage.show(snapshotWith(...pending, ...more));
      await cardOf(page, more.at(-1)).waitFor({ state: "attached" });
      assert.deepEqual(await pair.boundingBox(), place);
      stage.show(snapshotWith()); // Nor do cards that end.
      await until(() => page.locator(".is-settled").count(), "the end of the cards");
      assert.deepEqual(await pair.boundingBox(), place);
    });
  }

  await t.test("written in", async (t) => {
    const { stage, page } = await standStill(t, [items.push, items.stopped], narrow(640));
    const field = cardOf(page, items.stopped).getByRole("textbox");
    await field.scrollIntoViewIfNeeded();
    await field.fill("half a sen");
    const place = await field.boundingBox();
    stage.show(snapshotWith(items.push, items.stopped, ...more));
    await cardOf(page, more.at(-1)).waitFor({ state: "attached" });
    await page.keyboard.type("tence");
    assert.equal(await field.inputValue(), "half a sentence");
    assert.deepEqual(await field.boundingBox(), place);
  });
});

test("no button of the second step lies where the first was", async (t) => {
  for (const pending of [[items.push], [items.script, items.stopped, items.push]]) {
    const { page } = await standStill(t, pending);
    const card = cardOf(page, items.push);
    for (const width of [360, 700, 1440]) {
      await page.setViewportSize({ width, height: 700 });
      for (const opener of ["拒絕…", "總是允許…"]) {
        await page.clock.runFor(armingTime + 20);
        await button(card, opener).scrollIntoViewIfNeeded();
        const [x, y] = await middleOf(button(card, opener));
        await page.mouse.click(x, y);
        const boxes = await card.getByRole("button").evaluateAll((all) => all.map((it) => it.getBoundingClientRect()));
        assert.equal(boxes.length, 2);
        for (const box of boxes)
          assert.ok(x < box.left || x > box.right || y < box.top || y > box.bottom, `${opener} at ${width}`);
        await button(card, "取消").click();
      }
    }
  }
});

test("what is put away gives the focus to nothing that approves", async (t) => {
  const { stage, page } = await standStill(t, [items.push, items.script, items.compose, items.unexplained]);
  const focused = () => page.evaluate(() => document.activeElement.id);
  await approving(page, items.push).focus();
  stage.show(snapshotWith(items.compose, items.unexplained));
  const away = button(cardOf(page, items.push), "收起");
  await away.waitFor();
  await page.clock.runFor(armingTime + 20);
  await away.focus();
  await page.keyboard.press("Enter");
  assert.equal(await focused(), "waiting-heading");
  stage.show(snapshotWith(items.unexplained));
  await button(page, "全部收起").focus();
  await page.keyboard.press("Enter");
  await until(async () => (await page.locator("article").count()) === 1, "the last card");
  assert.equal(await focused(), "waiting-heading");
});
