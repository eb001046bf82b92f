/** The agents' recent events, the newest first. */
import { element, line, part } from "./dom.js";
import { Folded } from "./folded.js";
import { clock } from "./format.js";

// What has just happened; the daemon remembers five times as many.
const eventsAtFirst = 10;

export class Events {
  #section = part("events", HTMLElement);
  #rows = new Folded(part("event-rows", HTMLElement), rowOf, eventsAtFirst);

  /** @param {object[]} recent  of the snapshot, oldest first @param {number} now  milliseconds since 1970 */
  show(recent, now) {
    this.#section.hidden = recent.length === 0;
    const today = new Date(now).toDateString();
    const isOlder = (event) => new Date(event.at).toDateString() !== today;
    this.#section.classList.toggle("has-older", recent.some(isOlder));
    this.#rows.show([...recent].reverse().map((event) => ({ event, time: clock(event.at, now) })));
  }
}

function rowOf({ event, time }) {
  const cell = (className, ...children) => element("td", { class: className, role: "cell" }, ...children);
  return element(
    "tr",
    { role: "row" },
    cell("at", element("time", { title: new Date(event.at).toLocaleString() }, time)),
    cell("event", line(event.event ?? "", "")),
    cell("session-id", line(event.session, "")),
    cell("client", line(event.client, "")),
    cell("tool", line(event.tool ?? "", "")),
    cell("summary", line(event.summary, "")),
  );
}
