import type { Connection } from "../relay/Computer";

const statuses: Record<Connection, [text: string, colour: "green" | "orange" | "gray"]> = {
  connecting: ["正在連線…", "gray"],
  online: ["電腦在線", "green"],
  relayLost: ["連不上中繼", "orange"],
  computerAway: ["連不上電腦", "orange"],
  silent: ["電腦沒有回應", "orange"],
  clocksApart: ["時鐘不一致", "orange"],
  removed: ["已經移除", "orange"],
};

export function Header({ connection }: { connection?: Connection }) {
  const [text, colour] = connection ? statuses[connection] : [];
  return (
    <header class="top">
      <h1>Tamsell</h1>
      {/* It stays in the page, so that a screen reader hears its changes. */}
      <p class="status" role="status">
        {text && <span class={`mark-dot is-${colour}`} />}
        {text}
      </p>
    </header>
  );
}
