import { clock } from "../../../resources/page/format.js";
import type { Event } from "../relay/state";
import { Line } from "./Texts";

// What has just happened; the computer has the rest.
const shown = 20;

/** The agents' recent events, the newest first, when somebody asks for them. @param now by the computer's clock */
export function Events({ recent, now }: { recent: Event[]; now: number }) {
  if (recent.length === 0) return null;
  return (
    <details class="frame events">
      <summary>最近的事件</summary>
      <ul>
        {recent
          .slice(-shown)
          .reverse()
          .map((event, index) => (
            <li key={`${event.at} ${index}`}>
              <span class="event-head">
                <time>{clock(event.at, now)}</time>
                <Line text={[event.event, event.tool].filter(Boolean).join(" · ")} kind="event-name" />
                <Line text={event.client ?? ""} kind="client" />
              </span>
              {event.summary && <Line text={event.summary} kind="summary" />}
            </li>
          ))}
      </ul>
    </details>
  );
}
