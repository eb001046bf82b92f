/** One waiting item: what is asked, the time that is left, and the answers. */
import { asked } from "./asked.js";
import { anyHides, beginning, element, icon, inOneLine, setText, shown } from "./dom.js";
import { countdown, projectOf } from "./format.js";
import { canAlways, rememberedBy } from "./rules.js";
import { textsOf, viewOf } from "./view.js";
import { visibleText } from "./visible.js";

const checkmark = ["M4.5 10.5 8.25 14.25 15.5 6"];
const warningTriangle = [
  "M8.7 3.1a1.5 1.5 0 0 1 2.6 0l6.85 11.85A1.5 1.5 0 0 1 16.85 17.2H3.15a1.5 1.5 0 0 1-1.3-2.25zM9.2 7.9v3.9a.8.8 0 0 0 1.6 0V7.9a.8.8 0 0 0-1.6 0zM10 13.35a.95.95 0 1 0 0 1.9.95.95 0 0 0 0-1.9z",
];

/**
 * How sending an answer ended.
 *
 * done: it was applied; over: it cannot be answered any more, and nothing sent from here did it; unconfirmed: nor can
 * it, and an answer from here may have done it; refused: nothing was done, and the item waits; unknown: no response
 * came. Texts are the page's own.
 *
 * @typedef {{is: "done"} | {is: "over", text: string} | {is: "unconfirmed"} | {is: "refused" | "unknown", text: string}} Outcome
 * @typedef {{action: "allow" | "always"} | {action: "deny", message: string} | {action: "reply", text: string}} Answer
 * @typedef {object} Page  what the cards of a page have in common
 * @property {import("./arming.js").Arming} arming
 * @property {import("./still.js").Still} still
 * @property {{now(): number}} clock  the daemon's, in milliseconds since 1970
 * @property {(item: any, answer: Answer) => Promise<Outcome>} answer  sends one; never rejects
 * @property {string} unconfirmed  said when it is over and an answer from here may have done it
 */

// When the time is short the bar changes its colour and the number its weight.
const shortTime = 20_000;
// A dozen lines of Chinese on a narrow screen; more would push the answers out of it.
const longestClaim = 300;
/** @type {import("./view.js").View} */
const unreadable = {
  blocks: [{ kind: "note", text: "這個要求顯示不出來，所以只能拒絕，或等你回到電腦前。" }],
  claim: "",
  isCommand: false,
};
const previewText = "內容太長，這裡只有一部分。回答會用在全部內容上；要看完整的請到電腦前。";
// Milliseconds for which nobody wonders whether the tap was noticed.
const unnoticed = 1000;
const endedElsewhere = "已經回答過或已逾時";
const outcomes = new Map([
  ["allow", "已允許"],
  ["always", "已允許，並且記住了"],
  ["deny", "已拒絕"],
  ["reply", "已送出"],
]);

export class Card {
  #item;
  #page;
  #left = element("span", { class: "left" });
  #fill = element("div", { class: "fill" });
  #actions = element("div", { class: "actions" });
  #problem = element("p", { class: "problem", role: "alert" });
  #progress = element("p", { class: "caption sending", role: "status" });
  #isReadable;
  #hidesSomething;
  #isDoubtful; // So that approving does not suggest itself.
  #phase = "waiting"; // then "sending", back or on to "settled"
  #hasEnded = false; // The daemon does not list the item any more.
  #mayHaveArrived = false; // An answer was sent, and no response came.
  #deliveredText = ""; // What the daemon took of the words typed here.

  /**
   * @param {any} item  a pending item of the snapshot
   * @param {Page & {onChange: () => void}} page  onChange: after the card settled or was put away
   * @param {"whole" | "unreadable"} [form]  what cannot be shown can only be denied
   */
  constructor(item, page, form = "whole") {
    this.#item = item;
    this.#page = page;
    this.#isReadable = form === "whole";
    const view = this.#isReadable ? viewOf(item) : unreadable;
    const isStop = item.kind !== "permission";
    const project = projectOf(item.cwd) ?? "";
    const tool = isStop ? "停下來了" : item.tool || "工具";
    const texts = view.blocks.flatMap(textsOf);
    const rules = this.#isReadable ? rememberedBy(item).flatMap((rule) => rule.entries) : [];
    const asksHidden = anyHides(texts);
    this.#hidesSomething = asksHidden || anyHides([view.claim, project, tool, item.client, ...rules]);
    const isPreview = item.truncated === true;
    this.#isDoubtful = this.#hidesSomething || isPreview;

    const title = element("h3", { class: "what", id: `item-${item.id}` });
    const add = (className, text, tip) =>
      title.append(element("span", { class: `${className} outside`, dir: "ltr", title: tip }, shown(beginning(text))));
    if (project) add("name", project, visibleText(beginning(item.cwd)));
    add("tool", tool, false);
    add("client", item.client ?? "", false);
    this.element = element(
      "article",
      { class: "card", "data-id": item.id, "aria-labelledby": title.id, tabindex: "-1" },
      element("header", { class: "card-head" }, title, this.#left),
      element("div", { class: "bar" }, this.#fill),
      asked(view.blocks),
      ...(isPreview ? [warning(previewText)] : []),
      ...(this.#hidesSomething ? [warning(hiddenText(asksHidden, view))] : []),
      ...(view.claim ? [claimView(view.claim)] : []),
      this.#actions,
      this.#problem,
      this.#progress,
    );
    if (isStop) this.#offerReply();
    else this.#offerAnswers();
    this.tick(page.clock.now());
  }

  get id() {
    return this.#item.id;
  }
  get isSettled() {
    return this.#phase === "settled";
  }

  /** Shows how much time is left. @param {number} now  milliseconds since 1970 */
  tick(now) {
    if (this.isSettled) return;
    const { createdAt, expiresAt } = this.#item;
    const left = Math.max(0, expiresAt - now);
    setText(this.#left, `剩 ${countdown(left)}`);
    this.element.classList.toggle("is-short", left < shortTime);
    this.#fill.style.width = `${Math.min(100, (100 * left) / Math.max(1, expiresAt - createdAt))}%`;
  }

  /**
   * The daemon no longer lists the item. An answer on its way will say how it ended.
   *
   * @param {number} [height]  of the element, when it is known already
   */
  end(height) {
    this.#hasEnded = true;
    if (this.#phase !== "waiting") return;
    this.#settle(this.#mayHaveArrived ? this.#page.unconfirmed : endedElsewhere, height);
  }

  // What can be done, in place of what could be done before.
  #offer(className, ...children) {
    const change = () => {
      this.#actions.className = `actions ${className}`;
      this.#actions.replaceChildren(...children);
      setText(this.#problem, "");
    };
    if (this.element.isConnected) this.#page.still.during(change);
    else change();
  }

  #offerAnswers() {
    const deny = button("拒絕…", "destructive deny", () => this.#offerDenial());
    deny.setAttribute("aria-describedby", `item-${this.id}`);
    if (!this.#isReadable) return this.#offer("is-answers", deny);
    const buttons = [deny];
    if (canAlways(this.#item)) buttons.push(this.#armed("總是允許…", "always", () => this.#offerAlways()));
    buttons.push(this.#approving("允許", this.#isDoubtful ? "tinted" : "filled", { action: "allow" }));
    this.#offer("is-answers", ...buttons);
  }

  #offerDenial() {
    const reason = field(
      "拒絕的理由",
      "",
      () => this.#send({ action: "deny", message: reason.value }),
      () => this.#back("button.deny"),
    );
    this.#offer(
      "is-denial",
      reason,
      element("span", { class: "caption" }, "理由會交給 agent，可以不填。"),
      button("取消", "plain", () => this.#back("button.deny")),
      button("拒絕", "destructive-confirm", () => this.#send({ action: "deny", message: reason.value })),
    );
    reason.focus({ preventScroll: true });
  }

  #offerAlways() {
    const cancel = button("取消", "plain", () => this.#back("button.always"));
    this.#offer(
      "is-always",
      element("div", { class: "rules" }, asked(rememberedBy(this.#item).flatMap(blocksOf))),
      cancel,
      this.#approving("總是允許", "tinted", { action: "always" }),
    );
    cancel.focus({ preventScroll: true });
  }

  /** @param {"button.deny" | "button.always"} opener  gets the focus back */
  #back(opener) {
    this.#offerAnswers();
    const target = /** @type {HTMLButtonElement | null} */ (this.#actions.querySelector(opener));
    target?.focus({ preventScroll: true });
  }

  #offerReply() {
    const isBlank = () => reply.value.trim() === "";
    const sendReply = () => isBlank() || this.#send({ action: "reply", text: reply.value });
    const reply = field("下一個指令", "下一個指令", sendReply);
    const send = button("送出", "send", sendReply);
    send.disabled = true;
    reply.addEventListener("input", () => (send.disabled = isBlank()));
    this.#offer("is-reply", reply, element("span", { class: "caption" }, "送出後 agent 會接著做。"), send);
  }

  #approving(text, className, answer) {
    return this.#armed(text, `${className} approves`, () => this.#send(answer));
  }

  #armed(text, className, act) {
    const armed = button(text, className, () => {});
    armed.setAttribute("aria-describedby", `item-${this.id}`);
    this.#page.arming.guard(armed, act);
    return armed;
  }

  async #send(answer) {
    if (this.#phase !== "waiting") return;
    this.#phase = "sending";
    this.element.classList.add("is-sending");
    this.#say(this.#problem, "");
    const slow = setTimeout(() => this.#say(this.#progress, "正在送出…"), unnoticed);
    const outcome = await this.#page.answer(this.#item, answer);
    clearTimeout(slow);
    this.element.classList.remove("is-sending");
    this.#say(this.#progress, "");
    this.#phase = "waiting";
    this.#mayHaveArrived ||= outcome.is === "unknown" || outcome.is === "unconfirmed";
    if (outcome.is === "done") {
      this.#deliveredText = "message" in answer ? answer.message : "text" in answer ? answer.text : "";
      this.#settle(outcomes.get(answer.action));
    } else if (outcome.is === "over" || outcome.is === "unconfirmed") {
      this.#settle(this.#mayHaveArrived || outcome.is === "unconfirmed" ? this.#page.unconfirmed : outcome.text);
    } else {
      if (this.#hasEnded) return this.end();
      this.#say(this.#problem, outcome.text);
    }
  }

  #say(where, text) {
    this.#page.still.during(() => setText(where, text));
  }

  #settle(text, height = this.element.offsetHeight) {
    this.#page.still.during(() => this.#showSettled(text, height));
    this.#page.onChange();
  }

  #showSettled(text, height) {
    const hadFocus = this.element.contains(document.activeElement);
    const typed = this.#actions.querySelector("textarea");
    this.#phase = "settled";
    this.element.style.minHeight = `${height}px`;
    this.element.classList.add("is-settled");
    this.element.classList.remove("is-short");
    const isUnsent = typed && typed.value.trim() !== "" && typed.value !== this.#deliveredText;
    const said = element("p", { class: "outcome", role: "status" }, icon(checkmark), text);
    // It stands where an approving button was, and another one may come to stand here.
    this.#offer(
      "is-over",
      said,
      this.#armed("收起", "plain", () => this.#putAway()),
    );
    if (isUnsent) {
      // What was being typed is not lost with the question.
      typed.readOnly = true;
      this.#actions.before(typed);
    }
    if (hadFocus) (isUnsent ? typed : this.element).focus({ preventScroll: true });
  }

  #putAway() {
    this.#page.still.during(() => {
      this.element.remove();
      this.#page.onChange();
    });
  }
}

function button(text, className, act) {
  return element("button", { type: "button", class: className, click: act }, text);
}

function field(label, placeholder, submit, cancel = () => {}) {
  return element("textarea", {
    rows: "1",
    class: "field",
    autocomplete: "off",
    "aria-label": label,
    placeholder,
    keydown: (event) => {
      // An input method's Return only ends what is being composed (229 in the browser that forgets to say so).
      if (event.isComposing || event.keyCode === 229) return;
      if (event.key === "Enter" && !event.shiftKey) {
        event.preventDefault();
        if (!event.repeat && !event.target.readOnly) submit();
      }
      if (event.key === "Escape") cancel();
    },
  });
}

// What the agent says about it is marked as the agent's, and a long one scrolls in a box of its own.
function claimView(claim) {
  const label = "agent 的說明：";
  if (claim.length > longestClaim)
    return asked([
      { kind: "note", text: label },
      { kind: "prose", label, lines: claim.split("\n") },
    ]);
  return element("p", { class: "claim" }, label, element("span", { class: "outside", dir: "ltr" }, inOneLine(claim)));
}

function hiddenText(asksHidden, view) {
  if (!asksHidden) return "有看不見的控制字元，已經標出來。";
  return view.isCommand
    ? "指令裡有看不見的控制字元，已經標出來。畫面上的順序就是實際執行的順序。"
    : "內容裡有看不見的控制字元，已經標出來。";
}

function warning(text) {
  return element("p", { class: "warning" }, icon(warningTriangle, true), text);
}

function blocksOf({ heading, entries, place }) {
  /** @type {import("./view.js").Block[]} */
  const blocks = [
    { kind: "note", text: heading },
    { kind: "code", label: "規則", lines: entries.flatMap((entry) => entry.split("\n")) },
  ];
  if (place) blocks.push({ kind: "note", text: place });
  return blocks;
}
