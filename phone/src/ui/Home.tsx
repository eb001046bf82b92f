import type { Pairing } from "../pairing/keyring";
import type { Computer } from "../relay/Computer";
import type { Mode } from "../relay/state";
import { Banner } from "./Banner";
import { Events } from "./Events";
import { Header } from "./Header";
import { ModeSwitch } from "./ModeSwitch";
import { Questions } from "./Questions";
import { Sessions } from "./Sessions";
import { ThisPhone } from "./ThisPhone";

interface Properties {
  computer: Computer;
  pairing: Pairing;
  /** Something of the state could not be shown. */
  hasFault: boolean;
  onQuestionsReady: () => void;
  forget: () => void;
}

/** The page of a phone that is paired. */
export function Home({ computer, pairing, hasFault, onQuestionsReady, forget }: Properties) {
  const { connection, state, heardAt } = computer;
  const now = computer.now();
  return (
    <>
      <Header connection={connection} />
      <main>
        {connection === "removed" ? (
          <div class="banner" role="alert">
            <strong>這支手機已經從電腦上移除</strong>
            <p>要再用的話，在電腦上開啟配對並掃描 QR code。</p>
            <button type="button" onClick={forget}>
              重新配對
            </button>
          </div>
        ) : (
          <Banner connection={connection} heardAt={heardAt} />
        )}
        {hasFault && (
          <p class="problem" role="alert">
            有些內容顯示不出來，請到電腦前看。
          </p>
        )}
        <Questions onReady={onQuestionsReady} />
        <Sessions sessions={state?.sessions ?? []} now={now} />
        {state?.presence && (
          <ModeSwitch
            presence={state.presence}
            isOnline={connection === "online"}
            choose={(mode: Mode) => computer.request({ type: "mode", mode })}
          />
        )}
        <Events recent={state?.recent ?? []} now={now} />
        {connection !== "removed" && <ThisPhone name={pairing.name} forget={forget} />}
      </main>
    </>
  );
}
