/** The link that a computer shows, as text and as a QR code. */
import { decode } from "../crypto/base64url";
import type { Invite } from "../crypto/pairingKeys";

/**
 * `incomplete`: no link of a computer's, or only a part of one; `newer`: one of another version; `elsewhere`: one that
 * another relay has to open, at `origin`.
 */
export type ReadLink =
  | { is: "invite"; invite: Invite }
  | { is: "incomplete" }
  | { is: "newer" }
  | { is: "elsewhere"; origin: string };

/** Reads what stands behind "#" in a link, as it is in location.hash. */
export function readFragment(fragment: string): ReadLink {
  const parameters = new URLSearchParams(fragment.replace(/^#/, ""));
  const version = parameters.get("v");
  if (version !== null && version !== "2") return { is: "newer" };
  const channel = parameters.get("c") ?? "";
  const secret = decode(parameters.get("i") ?? "");
  const computerKey = decode(parameters.get("m") ?? "");
  if (version === null || !/^[\w-]{1,128}$/.test(channel) || secret?.length !== 32 || computerKey?.length !== 32)
    return { is: "incomplete" };
  return { is: "invite", invite: { channel, secret, computerKey } };
}

/** Reads a whole link that was pasted or scanned; blanks and line breaks in it do not count. */
export function readLink(text: string): ReadLink {
  const link = text.replace(/\s+/g, "");
  let url: URL;
  try {
    url = new URL(link);
  } catch {
    return { is: "incomplete" };
  }
  const read = readFragment(url.hash);
  if (read.is === "invite" && url.origin !== location.origin) return { is: "elsewhere", origin: url.origin };
  return read;
}
