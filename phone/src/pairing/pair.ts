/** Pairing with the computer whose link this phone has. */
import { encode, randomBytes } from "../crypto/base64url";
import { makeKeyPair } from "../crypto/keyAgreement";
import { admissionToken, deriveDeviceKeys, type Invite, proveInvite } from "../crypto/pairingKeys";
import { askAt, type Door, pairingDoor, phoneDoor, type Verdict } from "../relay/admission";
import { confirmAttempt, dropAttempt, keepAttempt, loadAttempt, type Pairing } from "./keyring";

/**
 * `badKey`: the link's public key is none; `noStorage`: the browser keeps nothing; `unreachable`: no relay answers;
 * `refused`: the relay knows no such invite, because it was used, is too old, or its computer is away; `computerAway`:
 * the relay knows the invite, and the computer is not there; `unanswered`: it is, and did not add this phone;
 * `otherKeys`: it did, with keys that are not this phone's, so that the link was not the computer's.
 */
export type PairingFailure =
  | "badKey"
  | "noStorage"
  | "unreachable"
  | "refused"
  | "computerAway"
  | "unanswered"
  | "otherKeys";

export class PairingError extends Error {
  readonly failure: PairingFailure;

  constructor(failure: PairingFailure) {
    super(`no pairing: ${failure}`);
    this.failure = failure;
  }
}

// All in milliseconds. The computer gives out its link a moment before the relay has heard of it.
const admittedWithin = 12_000;
const askAgainAfter = 1500;
// It answers in a few, on a network that may be slow.
const pairedWithin = 15_000;
// Somebody who just has opened the computer waits so long for it.
const computerWithin = 40_000;
const tellAgainAfter = 2500;

/**
 * @param name  what the person calls the phone, perhaps empty
 * @param onComputerAway  it is waited for
 * @throws PairingError, after which the pairing before this one still is in use
 */
export async function pair(invite: Invite, name: string, onComputerAway: () => void): Promise<Pairing> {
  const device = encode(randomBytes(16));
  const keyPair = await makeKeyPair();
  const shared = await keyPair.agree(invite.computerKey).catch(() => fail("badKey"));
  const keys = await deriveDeviceKeys(shared, invite, device);
  const attempt: Pairing = { channel: invite.channel, device, name, keys, isConfirmed: false };
  await keepAttempt(attempt).catch(() => fail("noStorage"));
  const proofs = await proveInvite(invite, device, keyPair.publicKey, name);
  const message = { t: "pair", device, invite: proofs.hash, pub: encode(keyPair.publicKey), proof: proofs.proof, name };
  try {
    const door = pairingDoor(invite.channel, device, proofs.token);
    await untilAdmitted(door);
    await tellComputer(door, message, onComputerAway).catch(async (failure) => {
      // The connection may have been lost after the computer had heard it.
      if ((await askForPhone(attempt)) !== "admitted") throw failure;
    });
    const verdict = await askForPhone(attempt);
    if (verdict === "refused") fail("otherKeys");
    if (verdict !== "admitted") fail("unreachable");
  } catch (error) {
    // One that may have succeeded is kept, and looked at when the page is next opened.
    if (!(error instanceof PairingError) || error.failure !== "unreachable") await dropAttempt();
    throw error;
  }
  return confirmAttempt(attempt);
}

/** A pairing that was interrupted and had succeeded; nothing otherwise. */
export async function resumeAttempt(): Promise<Pairing | undefined> {
  const attempt = await loadAttempt();
  if (!attempt) return undefined;
  const verdict = await askForPhone(attempt);
  if (verdict === "admitted") return confirmAttempt(attempt);
  if (verdict === "refused") await dropAttempt();
  return undefined;
}

function fail(failure: PairingFailure): never {
  throw new PairingError(failure);
}

async function askForPhone({ channel, device, keys }: Pairing): Promise<Verdict> {
  return askAt(phoneDoor(channel, device, await admissionToken(keys)));
}

async function untilAdmitted(door: Door): Promise<void> {
  const deadline = Date.now() + admittedWithin;
  for (;;) {
    const verdict = await askAt(door);
    if (verdict === "admitted") return;
    if (Date.now() > deadline) fail(verdict === "refused" ? "refused" : "unreachable");
    await pause(askAgainAfter);
  }
}

// Until the relay says that the computer has added the phone.
function tellComputer(door: Door, message: object, onComputerAway: () => void): Promise<void> {
  const socket = new WebSocket(door);
  let failure: PairingFailure = "unreachable";
  let timer: ReturnType<typeof setTimeout>;
  let retryTimer: ReturnType<typeof setTimeout> | undefined;
  const tell = () => socket.readyState === WebSocket.OPEN && socket.send(JSON.stringify(message));
  return new Promise<void>((resolve, reject) => {
    const giveUpAfter = (milliseconds: number) => {
      clearTimeout(timer);
      timer = setTimeout(() => reject(new PairingError(failure)), milliseconds);
    };
    giveUpAfter(pairedWithin);
    const awayUntil = Date.now() + computerWithin;
    socket.onopen = () => {
      failure = "unanswered";
      tell();
    };
    socket.onmessage = ({ data }) => {
      const frame = read(data);
      if (frame?.t === "paired") return resolve();
      if (frame?.t !== "error") return;
      failure = "computerAway";
      onComputerAway();
      giveUpAfter(Math.max(0, awayUntil - Date.now()));
      retryTimer = setTimeout(tell, tellAgainAfter);
    };
    socket.onclose = () => reject(new PairingError(failure));
  }).finally(() => {
    clearTimeout(timer);
    clearTimeout(retryTimer);
    socket.onclose = null;
    socket.close();
  });
}

function read(data: unknown): { t?: unknown } | undefined {
  try {
    return JSON.parse(String(data)) ?? undefined;
  } catch {
    return undefined;
  }
}

function pause(milliseconds: number): Promise<void> {
  return new Promise((resolve) => setTimeout(resolve, milliseconds));
}
