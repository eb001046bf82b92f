/** Chooses what the page shows: what stands in the way, pairing, or the paired computer. */
import { render } from "preact";

import "../../resources/page/tokens.css";
import "../../resources/page/controls.css";
import "../../resources/page/cards.css";
import "./phone.css";
import { forgetPairing, loadPairing, type Pairing } from "./pairing/keyring";
import { type ReadLink, readFragment } from "./pairing/link";
import { resumeAttempt } from "./pairing/pair";
import { PairedPage } from "./PairedPage";
import { Header } from "./ui/Header";
import { Insecure, NoStorage } from "./ui/Obstacle";
import { PairingPage } from "./ui/PairingPage";

const root = document.getElementById("page")!;
let page: PairedPage | undefined;

// The secret behind "#" is not left in the address, where history and screenshots would have it.
function takeFragment(): ReadLink | undefined {
  if (location.hash.length < 2) return undefined;
  const link = readFragment(location.hash);
  history.replaceState(null, "", location.pathname);
  return link;
}

function showPairing(opened: ReadLink | undefined, present: Pairing | undefined): void {
  page?.end();
  page = undefined;
  render(
    <PairingPage
      key={Math.random()}
      opened={opened}
      isReplacing={present !== undefined}
      onPaired={showPaired}
      onCancel={() => present && showPaired(present)}
    />,
    root,
  );
  scrollTo(0, 0);
}

function showPaired(pairing: Pairing): void {
  page?.end();
  render(null, root);
  page = new PairedPage(root, pairing, () => void forget());
  scrollTo(0, 0);
}

async function forget(): Promise<void> {
  page?.end();
  page = undefined;
  await forgetPairing();
  showPairing(undefined, undefined);
}

async function start(): Promise<void> {
  if (!isSecureContext || !crypto.subtle) return render(<Insecure />, root);
  const link = takeFragment();
  render(<Header />, root);
  let pairing: Pairing | undefined;
  try {
    pairing = await loadPairing();
    if (!link) pairing = (await resumeAttempt()) ?? pairing;
  } catch (error) {
    reportError(error);
    return render(<NoStorage />, root);
  }
  if (pairing && !link) showPaired(pairing);
  else showPairing(link, pairing);
  addEventListener("hashchange", () => {
    const another = takeFragment();
    if (another) void loadPairing().then((present) => showPairing(another, present));
  });
}

void start();
// So that the page opens without a network, too.
if (isSecureContext && "serviceWorker" in navigator && import.meta.env.PROD)
  addEventListener("load", () => void navigator.serviceWorker.register("/worker.js").catch(() => {}));
