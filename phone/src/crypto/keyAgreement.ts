/**
 * X25519 (RFC 7748): what two sides agree on who know each other's public keys. The browser's own where it has one,
 * so that the private key never is in the page's hands.
 */
import type { Bytes } from "./base64url";

export interface KeyPair {
  /** 32 bytes. */
  publicKey: Bytes;
  /**
   * The shared secret as key material for HKDF, which cannot be read out again.
   *
   * @throws when the other's key is none, or one of those that give the all-zero secret (RFC 7748 section 6.1)
   */
  agree(theirs: Bytes): Promise<CryptoKey>;
}

export async function makeKeyPair(): Promise<KeyPair> {
  return (await makeBrowserKeyPair()) ?? makePortableKeyPair();
}

// Nothing in a browser without X25519.
async function makeBrowserKeyPair(): Promise<KeyPair | undefined> {
  const algorithm = { name: "X25519" };
  let pair: CryptoKeyPair;
  try {
    pair = (await crypto.subtle.generateKey(algorithm, false, ["deriveKey"])) as CryptoKeyPair;
  } catch {
    return undefined;
  }
  return {
    publicKey: new Uint8Array(await crypto.subtle.exportKey("raw", pair.publicKey)),
    async agree(theirs) {
      const their = await crypto.subtle.importKey("raw", theirs, algorithm, true, []);
      return crypto.subtle.deriveKey({ ...algorithm, public: their }, pair.privateKey, "HKDF", false, ["deriveKey"]);
    },
  };
}

async function makePortableKeyPair(): Promise<KeyPair> {
  const { x25519 } = await import("@noble/curves/ed25519");
  const secretKey = x25519.utils.randomSecretKey();
  return {
    publicKey: new Uint8Array(x25519.getPublicKey(secretKey)),
    async agree(theirs) {
      const shared = new Uint8Array(x25519.getSharedSecret(secretKey, theirs));
      return crypto.subtle.importKey("raw", shared, "HKDF", false, ["deriveKey"]);
    },
  };
}
