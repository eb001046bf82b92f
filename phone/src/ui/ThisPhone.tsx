import { useState } from "preact/hooks";

import { Shown } from "./Texts";

/** The phone's own name here, and how to end its pairing. */
export function ThisPhone({ name, forget }: { name: string; forget: () => void }) {
  const [isAsking, setAsking] = useState(false);
  return (
    <section class="frame this-phone" aria-label="這支手機">
      {isAsking ? (
        <div role="alertdialog" aria-labelledby="forget-title" aria-describedby="forget-text">
          <h2 id="forget-title">取消這支手機的配對？</h2>
          <p id="forget-text">這裡的金鑰會刪掉，不會再收到問題。電腦的手機列表裡還會有它，要在電腦上移除。</p>
          <div class="buttons">
            <button type="button" autoFocus onClick={() => setAsking(false)} ref={(button) => button?.focus()}>
              保留
            </button>
            <button type="button" class="destructive-confirm" onClick={forget}>
              取消配對
            </button>
          </div>
        </div>
      ) : (
        <>
          <p class="outside" dir="ltr">
            <Shown text={name || "iPhone"} />
          </p>
          <button type="button" class="destructive" onClick={() => setAsking(true)}>
            取消配對…
          </button>
        </>
      )}
    </section>
  );
}
