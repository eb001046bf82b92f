/** What is computed from an invite and from the key that computer and phone agree on. Every text is UTF-8. */
import { type Bytes, encode } from "./base64url";

const utf8 = new TextEncoder();

/** What a computer's link carries. */
export interface Invite {
  channel: string;
  /** 32 bytes, known to computer and phone alone. */
  secret: Bytes;
  /** The computer's X25519 public key, 32 bytes. */
  computerKey: Bytes;
}

export interface InviteProofs {
  /** Admits the connection that pairs. */
  token: string;
  /** Names the invite to relay and computer. */
  hash: string;
  /** That this phone, its public key and its name come from somebody who has the link. */
  proof: string;
}

export async function proveInvite(
  invite: Invite,
  device: string,
  publicKey: Bytes,
  name: string,
): Promise<InviteProofs> {
  const key = await crypto.subtle.importKey("raw", invite.secret, hmac, false, ["sign"]);
  const token = await authenticate(key, "tamsell invite v2");
  return {
    token,
    hash: encode(new Uint8Array(await crypto.subtle.digest("SHA-256", utf8.encode(token)))),
    proof: await authenticate(key, `tamsell pair v2|${device}|${encode(publicKey)}|${name}`),
  };
}

/** The device key in both its uses; its bytes can be read out of neither. */
export interface DeviceKeys {
  /** Seals and opens messages: AES-256-GCM. */
  sealing: CryptoKey;
  /** Makes the admission token: HMAC-SHA256. */
  admission: CryptoKey;
}

/** @param shared  key material for HKDF */
export async function deriveDeviceKeys(shared: CryptoKey, invite: Invite, device: string): Promise<DeviceKeys> {
  const hkdf = {
    name: "HKDF",
    hash: "SHA-256",
    salt: invite.secret,
    info: utf8.encode(`tamsell device v2|${invite.channel}|${device}`),
  };
  return {
    sealing: await crypto.subtle.deriveKey(hkdf, shared, { name: "AES-GCM", length: 256 }, false, [
      "encrypt",
      "decrypt",
    ]),
    admission: await crypto.subtle.deriveKey(hkdf, shared, { ...hmac, length: 256 }, false, ["sign"]),
  };
}

/** What the phone shows the relay when it connects. */
export function admissionToken(keys: DeviceKeys): Promise<string> {
  return authenticate(keys.admission, "tamsell relay auth v2");
}

const hmac = { name: "HMAC", hash: "SHA-256" };

async function authenticate(key: CryptoKey, text: string): Promise<string> {
  return encode(new Uint8Array(await crypto.subtle.sign("HMAC", key, utf8.encode(text))));
}
