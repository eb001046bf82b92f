import { useEffect, useRef, useState } from "preact/hooks";

import type { Scan } from "../scanner/scan";

interface Properties {
  onText: (text: string) => void;
  onCancel: () => void;
}

/** The camera's picture, until there is a QR code in it. What reads it is loaded now, not with the page. */
export function Scanner({ onText, onCancel }: Properties) {
  const video = useRef<HTMLVideoElement>(null);
  const [problem, setProblem] = useState("");
  useEffect(() => {
    let scan: Scan | undefined;
    let isOver = false;
    import("../scanner/scan")
      .then(async ({ startScan }) => {
        if (isOver) return;
        const started = await startScan(video.current!, onText);
        if (isOver) started.end();
        else scan = started;
      })
      .catch((error: Error) => isOver || setProblem(problemOf(error)));
    return () => {
      isOver = true;
      scan?.end();
    };
  }, []);
  return (
    <div class="scanner">
      {problem ? (
        <p class="problem" role="alert">
          {problem}
        </p>
      ) : (
        <>
          <video ref={video} playsInline muted aria-label="相機畫面" />
          <p class="caption" role="status">
            把電腦上的 QR code 放進畫面裡。
          </p>
        </>
      )}
      <button type="button" class="wide" onClick={onCancel}>
        不掃描
      </button>
    </div>
  );
}

function problemOf({ name }: Error): string {
  if (name === "NotAllowedError") return "這一頁不能用相機。請在瀏覽器的設定裡允許，或改貼配對連結。";
  if (name === "NotFoundError" || name === "NotReadableError") return "找不到可以用的相機。請改貼配對連結。";
  return "掃描沒有開始。請看看手機有沒有網路，或改貼配對連結。";
}
