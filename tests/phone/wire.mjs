/** What computer and phone agree on, with Node's cryptography. Bytes are Buffers or other Uint8Arrays. */
import {
  createCipheriv,
  createDecipheriv,
  createHash,
  createHmac,
  createPrivateKey,
  createPublicKey,
  diffieHellman,
  hkdfSync,
} from "node:crypto";

/** RFC 8410: what stands before the 32 bytes of an X25519 private key. */
const pkcs8 = Buffer.from("302e020100300506032b656e04220420", "hex");
const tagSize = 16;

export const b64url = (bytes) => Buffer.from(bytes).toString("base64url");
export const fromB64url = (text) => Buffer.from(text, "base64url");

export const hmacText = (key, text) => createHmac("sha256", key).update(text).digest("base64url");
export const hashText = (text) => createHash("sha256").update(text).digest("base64url");

const privateKeyOf = (bytes) => createPrivateKey({ key: Buffer.concat([pkcs8, bytes]), format: "der", type: "pkcs8" });
const publicKeyOf = (bytes) => createPublicKey({ key: { kty: "OKP", crv: "X25519", x: b64url(bytes) }, format: "jwk" });

export const publicKey = (bytes) => fromB64url(createPublicKey(privateKeyOf(bytes)).export({ format: "jwk" }).x);

/** X25519 of 32 raw bytes each. */
export const sharedSecret = (own, other) =>
  diffieHellman({ privateKey: privateKeyOf(own), publicKey: publicKeyOf(other) });

export const deviceKey = (shared, inviteSecret, channel, device) =>
  Buffer.from(hkdfSync("sha256", shared, inviteSecret, `tamsell device v2|${channel}|${device}`, 32));

export const inviteToken = (inviteSecret) => hmacText(inviteSecret, "tamsell invite v2");
export const admissionToken = (key) => hmacText(key, "tamsell relay auth v2");
export const proof = (inviteSecret, device, pub, name) =>
  hmacText(inviteSecret, `tamsell pair v2|${device}|${pub}|${name}`);

/** @param direction "m2p" or "p2m" */
export const associatedData = (channel, device, direction) => `tamsell2|${channel}|${device}|${direction}`;

/** AES-256-GCM: the ciphertext, and its tag behind it. */
export function seal(key, nonce, associated, plaintext) {
  const cipher = createCipheriv("aes-256-gcm", key, nonce).setAAD(Buffer.from(associated));
  return Buffer.concat([cipher.update(plaintext, "utf8"), cipher.final(), cipher.getAuthTag()]);
}

/** Throws when the tag is not right. */
export function open(key, nonce, associated, sealed) {
  const decipher = createDecipheriv("aes-256-gcm", key, nonce, { authTagLength: tagSize })
    .setAAD(Buffer.from(associated))
    .setAuthTag(sealed.subarray(sealed.length - tagSize));
  return decipher.update(sealed.subarray(0, sealed.length - tagSize), undefined, "utf8") + decipher.final("utf8");
}
