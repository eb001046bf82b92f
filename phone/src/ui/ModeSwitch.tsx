import { useState } from "preact/hooks";

import type { Reply } from "../relay/Computer";
import type { Mode, Presence } from "../relay/state";

const modes: [Mode, string][] = [
  ["off", "關閉"],
  ["auto", "自動"],
  ["on", "開啟"],
];

interface Properties {
  presence: Presence;
  isOnline: boolean;
  choose: (mode: Mode) => Promise<Reply>;
}

/** When questions go to the phones. It shows the computer's mode, and one that was chosen here once it has it. */
export function ModeSwitch({ presence, isOnline, choose }: Properties) {
  const [chosen, setChosen] = useState<Mode>();
  const [problem, setProblem] = useState("");
  const take = async (mode: Mode) => {
    if (!isOnline || chosen) return;
    setChosen(mode);
    setProblem("");
    const reply = await choose(mode);
    setChosen(undefined);
    if (reply.is !== "done") setProblem("電腦沒有確認，模式可能沒有改。請再試一次。");
  };
  return (
    <fieldset class="frame mode-card" aria-describedby="presence" aria-busy={chosen !== undefined}>
      <legend>轉發到手機</legend>
      <div class="segments">
        {modes.map(([mode, name]) => (
          <label key={mode}>
            <input
              type="radio"
              name="mode"
              value={mode}
              checked={mode === (chosen ?? presence.mode)}
              aria-disabled={!isOnline}
              onClick={(event) => {
                // Only what the computer has, or is being asked for, is shown as chosen.
                if (!isOnline || chosen) event.preventDefault();
              }}
              onChange={() => void take(mode)}
            />
            <span>{name}</span>
          </label>
        ))}
      </div>
      <p id="presence" class="caption" role="status">
        {presenceText(presence)}
      </p>
      {problem && (
        <p class="problem" role="alert">
          {problem}
        </p>
      )}
    </fieldset>
  );
}

function presenceText({ mode, away, idleMinutes }: Presence): string {
  if (mode === "off") return "不轉發，全部在電腦上處理";
  if (mode === "on") return "權限請求和停下來的回合一律轉發到手機";
  return away ? "你離開了，正在轉發到手機" : `閒置 ${Math.trunc(idleMinutes)} 分鐘後轉發到手機`;
}
