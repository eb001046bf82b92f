import type { ComponentChildren } from "preact";
import { useRef, useState } from "preact/hooks";

import type { Invite } from "../crypto/pairingKeys";
import { type ReadLink, readLink } from "../pairing/link";
import type { Pairing } from "../pairing/keyring";
import { pair, PairingError, type PairingFailure } from "../pairing/pair";
import { Header } from "./Header";
import { Scanner } from "./Scanner";

const failures: Record<PairingFailure, [title: string, advice: string]> = {
  badKey: ["這個連結不對", "請在電腦上換一個 QR code 再掃描一次。"],
  noStorage: ["瀏覽器不讓這一頁儲存金鑰", "請關閉私密瀏覽，或允許這個網站儲存資料，再試一次。"],
  unreachable: ["連不上中繼", "請看看手機有沒有網路，再試一次。"],
  refused: ["這個邀請不能用了", "可能已經用過、超過 10 分鐘，或電腦不在線上。請在電腦上換一個 QR code。"],
  computerAway: ["電腦不在線上", "請確認電腦開著、Tamsell 連得上中繼，再試一次。"],
  unanswered: ["電腦沒有接受這支手機", "請在電腦上換一個 QR code 再掃描一次。"],
  otherKeys: ["電腦的金鑰和連結裡的不一樣", "這個連結可能被改過。請直接掃描電腦畫面上的 QR code。"],
};

/** What is said of a link that cannot be used. */
export function linkProblem(link: ReadLink): string | undefined {
  switch (link.is) {
    case "incomplete":
      return "這個連結不完整。請在電腦上複製整個配對連結，或掃描 QR code。";
    case "newer":
      return "這個連結是另一個版本的 Tamsell 的。請更新電腦上的 Tamsell 和這一頁。";
    case "elsewhere":
      return `這個連結屬於另一個中繼（${link.origin}）。請用瀏覽器打開它。`;
    case "invite":
      return undefined;
  }
}

interface Properties {
  /** From the link that opened the page, or why that one cannot be used. */
  opened: ReadLink | undefined;
  /** This phone is paired already. */
  isReplacing: boolean;
  onPaired: (pairing: Pairing) => void;
  onCancel: () => void;
}

/** Reading an invite and pairing with its computer. */
export function PairingPage({ opened, isReplacing, onPaired, onCancel }: Properties) {
  const [link, setLink] = useState(opened);
  const [isPasting, setPasting] = useState(false);
  const cancel = isReplacing ? onCancel : undefined;
  if (link?.is === "invite" && !isPasting)
    return (
      <NameForm
        invite={link.invite}
        isReplacing={isReplacing}
        onPaired={onPaired}
        onOtherLink={() => setPasting(true)}
        onCancel={cancel}
      />
    );
  return (
    <LinkForm
      problem={link && linkProblem(link)}
      onLink={(read) => {
        setLink(read);
        setPasting(false);
      }}
      onCancel={cancel}
    />
  );
}

interface NameFormProperties {
  invite: Invite;
  isReplacing: boolean;
  onPaired: (pairing: Pairing) => void;
  onOtherLink: () => void;
  onCancel: (() => void) | undefined;
}

function NameForm({ invite, isReplacing, onPaired, onOtherLink, onCancel }: NameFormProperties) {
  const [name, setName] = useState(usualName);
  const [progress, setProgress] = useState("");
  const [failure, setFailure] = useState<PairingFailure>();
  const isBusy = progress !== "";
  const submit = async (event: Event) => {
    event.preventDefault();
    if (isBusy) return;
    setFailure(undefined);
    setProgress("正在配對…");
    try {
      onPaired(await pair(invite, name.trim(), () => setProgress("電腦不在線上，等它連線…")));
    } catch (error) {
      if (!(error instanceof PairingError)) reportError(error);
      setFailure(error instanceof PairingError ? error.failure : "unreachable");
    }
    setProgress("");
  };
  return (
    <>
      <Header />
      <main class="pairing">
        <h2 class="title">和電腦配對</h2>
        <p class="lead">已經讀到電腦上的邀請。取個名字，電腦上會顯示它。</p>
        {isReplacing && <p class="lead">這支手機原本的配對會被換掉。</p>}
        <form onSubmit={(event) => void submit(event)}>
          <label class="caption" for="phone-name">
            這支手機的名字
          </label>
          <input
            id="phone-name"
            class="field"
            maxLength={64}
            autocomplete="off"
            enterkeyhint="done"
            value={name}
            readOnly={isBusy}
            onInput={(event) => setName(event.currentTarget.value)}
          />
          <button type="submit" class="filled wide" aria-disabled={isBusy}>
            配對
          </button>
          <p class="progress" role="status">
            {progress}
          </p>
          {failure && (
            <div class="banner" role="alert">
              <strong>{failures[failure][0]}</strong>
              <p>{failures[failure][1]}</p>
            </div>
          )}
        </form>
        <Promises />
        <button type="button" class="link" onClick={onOtherLink} aria-disabled={isBusy} disabled={isBusy}>
          改用貼上的連結
        </button>
        {onCancel && (
          <button type="button" class="link" onClick={onCancel} disabled={isBusy}>
            不配對，回到原本的電腦
          </button>
        )}
      </main>
    </>
  );
}

interface LinkFormProperties {
  problem: string | undefined;
  onLink: (link: ReadLink) => void;
  onCancel: (() => void) | undefined;
}

function LinkForm({ problem, onLink, onCancel }: LinkFormProperties) {
  const [isScanning, setScanning] = useState(false);
  const text = useRef<HTMLTextAreaElement>(null);
  const take = (link: string) => onLink(readLink(link));
  return (
    <>
      <Header />
      <main class="pairing">
        <h2 class="title">和電腦配對</h2>
        <p class="lead">在電腦上打開 Tamsell，選「配對手機…」，再用這裡掃描它的 QR code。</p>
        {problem && (
          <div class="banner" role="alert">
            <strong>這個連結不能用</strong>
            <p>{problem}</p>
          </div>
        )}
        {isScanning ? (
          <Scanner
            onText={(found) => {
              setScanning(false);
              take(found);
            }}
            onCancel={() => setScanning(false)}
          />
        ) : (
          <button type="button" class="filled wide" onClick={() => setScanning(true)}>
            掃描 QR code
          </button>
        )}
        <form
          onSubmit={(event) => {
            event.preventDefault();
            take(text.current?.value ?? "");
          }}
        >
          <label class="caption" for="pasted-link">
            或貼上配對連結
          </label>
          <textarea
            id="pasted-link"
            class="field"
            rows={3}
            autocomplete="off"
            autocapitalize="off"
            spellcheck={false}
            dir="ltr"
            ref={text}
          />
          <button type="submit" class="wide">
            使用這個連結
          </button>
        </form>
        {onCancel && (
          <button type="button" class="link" onClick={onCancel}>
            不配對，回到原本的電腦
          </button>
        )}
      </main>
    </>
  );
}

const promises: [text: string, drawing: ComponentChildren][] = [
  [
    "內容全程端對端加密，中繼看不到。",
    <>
      <path d="M10 2.25 16.25 4.5v5c0 3.9-2.5 6.8-6.25 8.25C6.25 16.3 3.75 13.4 3.75 9.5v-5z" />
      <rect x="7.25" y="9.25" width="5.5" height="4" rx="0.9" class="solid" />
      <path d="M8.4 9.25V7.9a1.6 1.6 0 0 1 3.2 0v1.35" stroke-width="1.25" />
    </>,
  ],
  [
    "這支手機有自己的金鑰，只存在這個瀏覽器裡。清除網站資料就要重新配對。",
    <>
      <rect x="5.75" y="2.25" width="8.5" height="15.5" rx="2.25" />
      <path d="M9 15h2" />
    </>,
  ],
  [
    "邀請只能用一次，10 分鐘內有效。失效了就在電腦上換一個 QR code。",
    <>
      <circle cx="10" cy="10" r="7.25" />
      <path d="M7.9 8.1a2.1 2.1 0 1 1 3.2 1.8c-.75.45-1.1.85-1.1 1.6" />
      <circle cx="10" cy="13.9" r="0.9" class="solid" />
    </>,
  ],
];

function Promises() {
  return (
    <ul class="frame promises">
      {promises.map(([text, drawing]) => (
        <li key={text}>
          <svg class="icon" viewBox="0 0 20 20" aria-hidden="true">
            {drawing}
          </svg>
          {text}
        </li>
      ))}
    </ul>
  );
}

function usualName(): string {
  const { userAgent } = navigator;
  if (userAgent.includes("iPad")) return "iPad";
  return userAgent.includes("Android") ? "Android 手機" : "iPhone";
}
