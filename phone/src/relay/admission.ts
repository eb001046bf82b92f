/** Whether the relay lets somebody connect; a browser does not tell a socket why it was refused. */

/** Where a socket connects to, with what admits it. Same host as the page. */
export type Door = URL;

export function phoneDoor(channel: string, device: string, token: string): Door {
  return door(channel, { role: "phone", device, auth: token });
}

export function pairingDoor(channel: string, device: string, inviteToken: string): Door {
  return door(channel, { role: "pair", device, invite: inviteToken });
}

/** `busy`: it has no room or had too many requests; `unreachable`: nothing answers, or not a relay. */
export type Verdict = "admitted" | "refused" | "busy" | "unreachable";

// In milliseconds; a relay answers in a few.
const patience = 10_000;

/** Asks at the door without going in, which the relay answers with 426 (RFC 9110 section 15.5.22) if it would admit. */
export async function askAt(where: Door): Promise<Verdict> {
  const address = new URL(where);
  address.protocol = where.protocol === "wss:" ? "https:" : "http:";
  const response = await fetch(address, { cache: "no-store", signal: AbortSignal.timeout(patience) }).catch(
    () => undefined,
  );
  switch (response?.status) {
    case 426:
      return "admitted";
    case 401:
      return "refused";
    case 429:
    case 503:
      return "busy";
    default:
      return "unreachable";
  }
}

function door(channel: string, query: Record<string, string>): Door {
  const url = new URL(`/ws/${channel}?${new URLSearchParams(query)}`, location.href);
  url.protocol = location.protocol === "https:" ? "wss:" : "ws:";
  return url;
}
