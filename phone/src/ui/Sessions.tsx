import { useState } from "preact/hooks";

import { ago, sessionName } from "../../../resources/page/format.js";
import type { Session } from "../relay/state";
import { Line } from "./Texts";

// More of them would push the mode, which stands below, out of reach.
const atFirst = 4;

/** The agents' sessions, the one that was last active first. @param now by the computer's clock */
export function Sessions({ sessions, now }: { sessions: Session[]; now: number }) {
  const [isWhole, setWhole] = useState(false);
  if (sessions.length === 0) return null;
  const shown = isWhole ? sessions : sessions.slice(0, atFirst);
  return (
    <section aria-labelledby="sessions-heading">
      <h2 id="sessions-heading">工作階段</h2>
      <ul class="frame">
        {shown.map((session) => (
          <li class={session.ended === true ? "session is-ended" : "session"} key={session.id}>
            <span class="session-texts">
              <Line text={sessionName(session)} kind="name" />
              <Line text={session.client ?? ""} kind="client" />
            </span>
            <span class="when">{`${session.ended === true ? "已結束 · " : ""}${ago(session.lastAt, now)}`}</span>
          </li>
        ))}
      </ul>
      {shown.length < sessions.length && (
        <button type="button" class="plain" onClick={() => setWhole(true)}>
          {`顯示其餘 ${sessions.length - shown.length} 個`}
        </button>
      )}
    </section>
  );
}
