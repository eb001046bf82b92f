/** The page of a paired phone: what the computer tells goes onto the screen, what the person answers to the computer. */
import { render } from "preact";

import { Arming } from "../../resources/page/arming.js";
import type { Answer, Outcome } from "../../resources/page/card.js";
import { Still } from "../../resources/page/still.js";
import { Waiting } from "../../resources/page/waiting.js";
import type { Pairing } from "./pairing/keyring";
import { Computer, type Reply } from "./relay/Computer";
import { Home } from "./ui/Home";

// What the computer says of an item that was answered or has run out.
const overText = "已經回答過或已逾時";
const unconfirmedText = "已經結束，但沒有確認到你的回答。請到電腦前看。";
// How often "3 分鐘前" is looked at again.
const agoPeriod = 20_000;

export class PairedPage {
  #root;
  #pairing;
  #forget;
  #computer;
  #still;
  #arming: Arming | undefined;
  #waiting: Waiting | undefined;
  #hasFault = false;
  #wasOnline = false;
  #timer;

  /** @param forget  ends the pairing, and this page with it */
  constructor(root: HTMLElement, pairing: Pairing, forget: () => void) {
    this.#root = root;
    this.#pairing = pairing;
    this.#forget = forget;
    this.#still = new Still(document.getElementById("filler")!, () => this.#arming?.check());
    this.#computer = new Computer(pairing, () => this.#show());
    this.#timer = setInterval(() => document.hidden || this.#show(), agoPeriod);
    this.#show();
  }

  end(): void {
    clearInterval(this.#timer);
    this.#computer.end();
    this.#waiting?.end();
    document.documentElement.classList.remove("is-offline", "is-removed");
    document.title = "Tamsell";
  }

  #show(): void {
    const isOnline = this.#computer.connection === "online";
    document.documentElement.classList.toggle("is-offline", !isOnline);
    document.documentElement.classList.toggle("is-removed", this.#computer.connection === "removed");
    this.#still.during(() => {
      this.#showItems();
      this.#draw();
    });
    // Whoever waited for the buttons to come back has not seen yet what they would answer.
    if (isOnline && !this.#wasOnline) this.#arming?.disarm();
    this.#wasOnline = isOnline;
  }

  #draw(): void {
    render(
      <Home
        computer={this.#computer}
        pairing={this.#pairing}
        hasFault={this.#hasFault}
        onQuestionsReady={() => this.#prepareItems()}
        forget={this.#forget}
      />,
      this.#root,
    );
  }

  #prepareItems(): void {
    this.#arming = new Arming(document.getElementById("cards")!);
    this.#waiting = new Waiting({
      arming: this.#arming,
      still: this.#still,
      clock: this.#computer,
      answer: ({ id }, answer) => this.#answer(id, answer),
      unconfirmed: unconfirmedText,
    });
  }

  #showItems(): void {
    if (!this.#computer.state || !this.#waiting) return;
    this.#hasFault = false;
    try {
      this.#waiting.show(this.#computer.state.pending ?? []);
    } catch (error) {
      reportError(error);
      this.#hasFault = true;
    }
  }

  async #answer(target: string, answer: Answer): Promise<Outcome> {
    return outcomeOf(await this.#computer.request({ type: "answer", target, ...answer }));
  }
}

function outcomeOf(reply: Reply): Outcome {
  switch (reply.is) {
    case "done":
      return { is: "done" };
    case "failed":
      if (reply.error !== overText) return { is: "refused", text: `電腦沒有接受這個回答：${reply.error}` };
      return reply.wasRepeated ? { is: "unconfirmed" } : { is: "over", text: overText };
    case "unsent":
      return { is: "refused", text: "現在連不上電腦，沒有送出。" };
    case "tooLong":
      return { is: "refused", text: "太長了，請縮短再送出。" };
    case "unknown":
      return { is: "unknown", text: "電腦沒有確認，不確定有沒有送到。請再試一次。" };
  }
}
