/** Bytes as unpadded URL-safe Base64 (RFC 4648 section 5). */

export type Bytes = Uint8Array<ArrayBuffer>;

export function encode(bytes: Bytes): string {
  let binary = "";
  for (const byte of bytes) binary += String.fromCharCode(byte);
  return btoa(binary).replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
}

/** Nothing when the text is no such Base64; padding is taken, too. */
export function decode(text: string): Bytes | undefined {
  if (!/^[\w-]*={0,2}$/.test(text)) return undefined;
  try {
    return Uint8Array.from(atob(text.replaceAll("-", "+").replaceAll("_", "/")), (one) => one.charCodeAt(0));
  } catch {
    return undefined;
  }
}

export function randomBytes(count: number): Bytes {
  return crypto.getRandomValues(new Uint8Array(count));
}
