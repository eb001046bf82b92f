/** The paired phones: who is there, pairing another, removing one, and a test push. */
import { request } from "./api.js";
import { element, line, part, setText, shown } from "./dom.js";
import { Folded } from "./folded.js";
import { countdown } from "./format.js";

// What is left of an invite when a new one is asked for: within its last seconds the daemon makes one.
// It is asked for once in so long, whatever the clocks say.
const renewal = 4_000;
const renewalPause = 5_000;

export class Phones {
  #rows = new Folded(part("phone-list", HTMLElement), (device) => this.#rowOf(device));
  #frame = part("phone-frame", HTMLElement);
  #none = part("no-phones", HTMLElement);
  #test = part("test-push", HTMLButtonElement);
  #pair = part("pair", HTMLButtonElement);
  #outcome = part("phone-outcome", HTMLElement);
  #pairing = part("pairing", HTMLElement);
  #link = part("pairing-link", HTMLElement);
  #left = part("pairing-left", HTMLElement);
  #removal = part("removal", HTMLDialogElement);
  #removalTitle = part("removal-title", HTMLElement);
  #still;
  #clock;
  #relay = {};
  #relayText = "";
  /** @type {{id: string, name: string}[] | undefined} */
  #devices; // Nothing before they are known.
  #invite; // {link, expires} while one is shown.
  #renewedAt = -Infinity;
  #removing;
  /** @type {Promise<void> | undefined} */
  #loading; // While the phones are asked for.
  #isOutdated = false; // They have changed since that began.
  #pairings = 0;

  /** @param {{still: import("./still.js").Still, clock: import("./serverclock.js").ServerClock}} page */
  constructor({ still, clock }) {
    this.#still = still;
    this.#clock = clock;
    this.#test.addEventListener("click", () => this.#testPush());
    this.#pair.addEventListener("click", () => (this.#invite ? this.#closePairing() : this.#openPairing()));
    part("copy-link", HTMLElement).addEventListener("click", () => this.#copyLink());
    part("close-pairing", HTMLElement).addEventListener("click", () => this.#closePairing());
    part("removal-cancel", HTMLElement).addEventListener("click", () => this.#removal.close());
    part("removal-confirm", HTMLElement).addEventListener("click", () => this.#remove());
    this.#removal.addEventListener("click", (event) => event.target === this.#removal && this.#removal.close());
    setInterval(() => this.#tick(), 1000);
  }

  /** @param {object} relay  of the snapshot: a change of it may be one of the phones */
  show(relay) {
    const text = JSON.stringify(relay);
    if (text === this.#relayText) return;
    this.#relayText = text;
    this.#relay = relay ?? {};
    this.#load();
  }

  /** With the next state the phones are asked for again, whatever it says of the relay. */
  forget() {
    this.#relayText = "";
  }

  // One request at a time: whatever changes meanwhile, however often, is one more after it.
  #load() {
    this.#isOutdated = true;
    return (this.#loading ??= this.#loadWhileOutdated());
  }

  async #loadWhileOutdated() {
    try {
      while (this.#isOutdated) {
        this.#isOutdated = false;
        await this.#loadOnce();
      }
    } finally {
      this.#loading = undefined; // At once, or what changes now would wait for nobody.
    }
  }

  async #loadOnce() {
    const response = await request("GET", "/devices").catch(() => undefined);
    if (!Array.isArray(response?.value)) return this.forget();
    const known = this.#devices && new Set(this.#devices.map((device) => device.id));
    const added = response.value.filter((device) => known?.has(device.id) === false);
    const hadInvite = this.#invite !== undefined;
    this.#devices = response.value;
    this.#still.during(() => {
      if (hadInvite && added.length > 0) {
        this.#closePairing();
        this.#outcome.replaceChildren("已配對：", shown(added[0].name));
      }
      const focused = document.activeElement?.closest("#phone-list li");
      this.#rows.show(this.#devices);
      if (focused && !focused.isConnected) this.#focusRemoval(focused.getAttribute("data-id"));
      this.#frame.hidden = this.#devices.length === 0;
      this.#none.hidden = !this.#frame.hidden;
      this.#test.hidden = this.#frame.hidden;
    });
  }

  // Of the same phone, when it is still there.
  #focusRemoval(id) {
    const row = document.querySelector(`#phone-list li[data-id="${CSS.escape(id)}"]`);
    (row?.querySelector("button") ?? this.#pair).focus({ preventScroll: true });
  }

  #rowOf(device) {
    const state = device.online ? "在線" : "不在線上";
    return element(
      "li",
      { class: "phone", "data-id": device.id },
      element("span", { class: `mark-dot ${device.online ? "is-green" : "is-gray"}` }),
      line(device.name, "phone-name"),
      element("button", { type: "button", class: "plain remove", click: () => this.#askRemoval(device) }, "移除…"),
      element("span", { class: "phone-state" }, state),
    );
  }

  #askRemoval(device) {
    this.#removing = device;
    this.#removalTitle.replaceChildren("移除「", shown(device.name), "」？");
    this.#removal.showModal();
  }

  async #remove() {
    this.#removal.close();
    const response = await request("POST", "/devices/remove", { id: this.#removing.id }).catch(() => undefined);
    // One that is not there any more is removed.
    this.#say(response?.ok || response?.status === 404 ? "已移除" : "沒有移除成功，請再試一次。");
    await this.#load();
    if (document.activeElement === document.body) this.#pair.focus({ preventScroll: true });
  }

  async #testPush() {
    this.#say("傳送中…");
    this.#test.disabled = true;
    const { lastPush } = this.#relay;
    const response = await request("POST", "/test-push").catch(() => undefined);
    this.#test.disabled = false;
    this.#say(
      response
        ? pushOutcome(response.value, lastPush?.at, this.#relay.connected)
        : "沒有收到 Tamsell 的回音，請再試一次。",
    );
  }

  async #openPairing() {
    this.#say("");
    await this.#renewInvite();
    if (this.#invite && document.activeElement === this.#pair)
      part("copy-link", HTMLElement).focus({ preventScroll: true });
  }

  async #renewInvite() {
    this.#renewedAt = performance.now();
    const turn = this.#pairings;
    const response = await request("POST", "/pair").catch(() => undefined);
    if (turn !== this.#pairings) return; // It has been hidden meanwhile.
    if (!response?.ok) {
      this.#closePairing();
      this.#say(response?.status === 409 ? "還沒有設定中繼，現在不能配對手機。" : "沒有拿到配對連結，請再試一次。");
      return;
    }
    this.#invite = response.value;
    this.#still.during(() => {
      setText(this.#link, this.#invite.link);
      this.#pairing.hidden = false;
      this.#pair.setAttribute("aria-expanded", "true");
      this.#showTimeLeft();
    });
  }

  #closePairing() {
    this.#invite = undefined;
    ++this.#pairings;
    const hadFocus = this.#pairing.contains(document.activeElement);
    this.#still.during(() => {
      this.#pairing.hidden = true;
      this.#pair.setAttribute("aria-expanded", "false");
      if (hadFocus) this.#pair.focus({ preventScroll: true });
      setText(this.#link, "");
    });
  }

  #tick() {
    if (!this.#invite) return;
    const isDue = this.#showTimeLeft() < renewal && performance.now() - this.#renewedAt > renewalPause;
    if (isDue && !document.hidden) this.#renewInvite();
  }

  #showTimeLeft() {
    const left = this.#invite.expires - this.#clock.now();
    setText(this.#left, `只能配對一支手機，${countdown(left)} 後失效。不要讓別人拍到。`);
    return left;
  }

  async #copyLink() {
    try {
      await navigator.clipboard.writeText(this.#invite.link);
      this.#say("已複製連結");
    } catch {
      // Without the right to the clipboard the person copies what is selected.
      getSelection().selectAllChildren(this.#link);
      this.#say("已選取連結，請自己複製。");
    }
  }

  #say(text) {
    this.#still.during(() => setText(this.#outcome, text));
  }
}

/**
 * The outcome of a test push. A report that was there before is none of it.
 *
 * @param {{devices?: number, ok?: number, at?: number}} report @param {number | undefined} previous  that report's "at"
 * @param {boolean} isConnected  whether the relay is
 */
export function pushOutcome(report, previous, isConnected) {
  const { devices, ok, at = 0 } = report ?? {};
  if (typeof devices !== "number" || typeof ok !== "number" || at <= (previous ?? -1))
    return isConnected ? "中繼沒有回應" : "還沒連上中繼";
  if (devices === 0) return "還沒有手機註冊推播，先在手機上打開 Tamsell App";
  return ok >= 1 ? `送達 ${ok}/${devices} 台裝置` : `推播送不出去（0/${devices}）`;
}
