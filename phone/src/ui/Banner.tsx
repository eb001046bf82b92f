import { two } from "../../../resources/page/format.js";
import type { Connection } from "../relay/Computer";

/** What is wrong with the connection, and what it means for what is on the screen. */
export function Banner({ connection, heardAt }: { connection: Connection; heardAt: number }) {
  const [title, ...more] = textsOf(connection);
  if (!title) return null;
  const stopped = heardAt > 0 ? `畫面停在 ${timeOf(heardAt)}。` : "";
  return (
    <div class="banner" role="alert">
      <strong>{title}</strong>
      <p>
        {stopped}
        {more.join("")}
      </p>
    </div>
  );
}

function textsOf(connection: Connection): string[] {
  switch (connection) {
    case "relayLost":
      return navigator.onLine
        ? ["連不上中繼，正在重新連線…", "連上之前，按鈕先停用。"]
        : ["手機沒有網路", "連上之前，按鈕先停用。"];
    case "computerAway":
      return ["連不上電腦，正在重新連線…", "連上之前，按鈕先停用。"];
    case "silent":
      return ["電腦連著，但沒有回應", "連上之前，按鈕先停用。"];
    case "clocksApart":
      return ["手機和電腦的時間差太多", "相差 10 分鐘以上的訊息不會採用。請把兩邊的時間都設成自動。"];
    default:
      return [];
  }
}

function timeOf(then: number): string {
  const date = new Date(then);
  return `${date.getHours()}:${two(date.getMinutes())}`;
}
