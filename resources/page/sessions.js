/** The agents' sessions, the one that was last active first. */
import { element, line, part, pathLine } from "./dom.js";
import { Folded } from "./folded.js";
import { ago, sessionName, shortPath } from "./format.js";

// More of them would push the phones, which stand below, out of most windows.
const sessionsAtFirst = 8;

export class Sessions {
  #section = part("sessions", HTMLElement);
  #rows = new Folded(part("session-list", HTMLElement), rowOf, sessionsAtFirst);

  /** @param {object[]} sessions  of the snapshot @param {number} now  milliseconds since 1970 */
  show(sessions, now) {
    this.#section.hidden = sessions.length === 0;
    // Only what a row shows, so that it stays while that stays.
    this.#rows.show(
      sessions.map((session) => {
        const { id, client, cwd, ended } = session;
        return { id, client, cwd, ended, when: whenOf(session, now) };
      }),
    );
  }
}

function whenOf(session, now) {
  return (session.ended === true ? "已結束 · " : "") + ago(session.lastAt, now);
}

/** @param {{id: string, client: string, cwd?: string, ended?: boolean, when: string}} session */
function rowOf({ when, ...session }) {
  return element(
    "li",
    { class: session.ended === true ? "session is-ended" : "session" },
    element("span", { class: "session-row" }, line(sessionName(session), "name"), line(session.client, "client")),
    element(
      "span",
      { class: "session-row" },
      session.cwd ? pathLine(shortPath(session.cwd), session.cwd) : element("span", { class: "path" }, "沒有工作目錄"),
      element("span", { class: "when" }, when),
    ),
  );
}
