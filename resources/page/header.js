/** The bar: whether the phones are reached, whether the person is away, and the mode. */
import { request } from "./api.js";
import { part, setText } from "./dom.js";

const refusedText = "這個網址的權杖不對。執行 tamsellctl url 取得新的網址。";
const lostText = "連線中斷，正在重新連線…";
const unreadableText = "有些內容顯示不出來，請到電腦前看。";

export class Header {
  #mark = part("mark", HTMLElement);
  #status = part("status", HTMLElement);
  #description = part("description", HTMLElement);
  #modes = part("modes", HTMLFieldSetElement);
  #problem = part("mode-problem", HTMLElement);
  #mode; // The daemon's.
  #chosen; // While the daemon has not answered yet.

  constructor() {
    for (const input of this.#modeInputs()) input.addEventListener("change", () => this.#choose(input.value));
  }

  /** Some of the state could not be shown. */
  showFault() {
    setText(this.#status, unreadableText);
    this.#mark.className = "mark-dot is-orange";
  }

  /** @param {object} state  the snapshot @param {import("./stream.js").Connection} connection */
  show(state, connection) {
    const isConnected = connection === "connected";
    const [text, color] = isConnected
      ? relayStatus(state.relay)
      : [connection === "refused" ? refusedText : lostText, "orange"];
    setText(this.#status, text);
    this.#mark.className = `mark-dot is-${color}`;
    setText(this.#description, isConnected ? presenceText(state.presence) : "");
    for (const input of this.#modeInputs()) {
      // It keeps the focus while it cannot be changed.
      input.setAttribute("aria-disabled", String(!isConnected));
      if (isConnected) input.disabled = false;
    }
    this.#mode = state?.presence?.mode;
    if (!this.#chosen) this.#showMode();
  }

  #showMode() {
    for (const input of this.#modeInputs()) input.checked = input.value === this.#mode;
  }

  #modeInputs() {
    return this.#modes.querySelectorAll("input");
  }

  async #choose(mode) {
    if (this.#modes.querySelector("input[aria-disabled='true']")) return this.#showMode();
    this.#chosen = mode;
    setText(this.#problem, "");
    const response = await request("POST", "/mode", { mode }).catch(() => undefined);
    if (this.#chosen !== mode) return; // Another has been chosen since.
    this.#chosen = undefined;
    if (response?.ok) this.#mode = response.value.mode;
    else setText(this.#problem, "模式沒有改成功，請再試一次。");
    this.#showMode();
  }
}

function relayStatus(relay) {
  const isPaired = relay?.configured === true && relay.devices > 0;
  if (!isPaired) return ["還沒有配對手機", "gray"];
  if (!relay.connected) return ["正在連線到中繼…", "orange"];
  if (!(relay.phones > 0)) return ["已連線，手機目前不在線上", "green"];
  return [`已連線，${relay.phones} 支手機在線`, "green"];
}

function presenceText({ mode, away, idleMinutes }) {
  if (mode === "off") return "不轉發，全部在 Mac 上處理";
  if (mode === "on") return "權限請求和停下來的回合一律轉發到手機";
  return away ? "你離開了，正在轉發到手機" : `閒置 ${Math.trunc(idleMinutes)} 分鐘後轉發到手機`;
}
