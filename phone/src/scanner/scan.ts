/** Looks for a QR code in the camera's picture: with the system's reader where there is one, else with jsQR. */

export interface Scan {
  /** Lets go of the camera. */
  end(): void;
}

type Read = (video: HTMLVideoElement) => Promise<string | undefined>;

interface SystemReader {
  detect(source: HTMLVideoElement): Promise<{ rawValue: string }[]>;
}
declare global {
  interface Window {
    BarcodeDetector?: {
      new (options: { formats: string[] }): SystemReader;
      getSupportedFormats(): Promise<string[]>;
    };
  }
}

// Milliseconds between two looks, and the longer side of what is looked at.
const period = 120;
const longestSide = 800;

/**
 * Shows the camera that looks away from the person.
 *
 * @param onText  with the first code's text, after which it has ended
 * @throws DOMException  of getUserMedia, when there is no camera or it may not be used
 */
export async function startScan(video: HTMLVideoElement, onText: (text: string) => void): Promise<Scan> {
  const stream = await navigator.mediaDevices.getUserMedia({
    video: { facingMode: "environment", width: { ideal: 1280 } },
  });
  let isOver = false;
  const end = () => {
    isOver = true;
    for (const track of stream.getTracks()) track.stop();
  };
  try {
    video.srcObject = stream;
    const read = (await systemReader()) ?? (await portableReader());
    await video.play();
    void look(video, read, () => isOver).then((text) => {
      if (text === undefined) return;
      end();
      onText(text);
    });
  } catch (error) {
    end();
    throw error;
  }
  return { end };
}

async function look(video: HTMLVideoElement, read: Read, isOver: () => boolean): Promise<string | undefined> {
  while (!isOver()) {
    const text = video.videoWidth > 0 ? await read(video).catch(() => undefined) : undefined;
    if (text && !isOver()) return text;
    await new Promise((resolve) => setTimeout(resolve, period));
  }
  return undefined;
}

async function systemReader(): Promise<Read | undefined> {
  const formats = await window.BarcodeDetector?.getSupportedFormats().catch((): string[] => []);
  if (!window.BarcodeDetector || !formats?.includes("qr_code")) return undefined;
  const reader = new window.BarcodeDetector({ formats: ["qr_code"] });
  return async (video) => (await reader.detect(video))[0]?.rawValue;
}

async function portableReader(): Promise<Read> {
  const { default: jsQR } = await import("jsqr");
  const context = document.createElement("canvas").getContext("2d", { willReadFrequently: true })!;
  return async (video) => {
    const scale = Math.min(1, longestSide / Math.max(video.videoWidth, video.videoHeight));
    const width = (context.canvas.width = Math.round(video.videoWidth * scale));
    const height = (context.canvas.height = Math.round(video.videoHeight * scale));
    context.drawImage(video, 0, 0, width, height);
    return jsQR(context.getImageData(0, 0, width, height).data, width, height)?.data;
  };
}
