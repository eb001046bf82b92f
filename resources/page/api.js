/** The daemon's routes, with the access token that the page was opened with. */

// As long as a person waits for a button. The test push takes 2.5 seconds of it.
const patience = 10_000;

const token = new URLSearchParams(location.search).get("token") ?? "";

/** The address of a route. @param {string} path */
export function address(path) {
  return `${path}?token=${encodeURIComponent(token)}`;
}

/**
 * Sends a request and gives the response's JSON and whether its status is one of success.
 *
 * @param {"GET" | "POST"} method @param {string} path @param {object} [body]
 * @returns {Promise<{ok: boolean, status: number, value: any}>}
 * @throws when no response comes
 */
export async function request(method, path, body) {
  const response = await fetch(address(path), {
    method,
    body: body && JSON.stringify(body),
    cache: "no-store",
    signal: AbortSignal.timeout(patience),
  });
  const text = await response.text();
  let value;
  try {
    value = JSON.parse(text);
  } catch {
    value = undefined; // The refusal of a wrong token is plain text.
  }
  return { ok: response.ok, status: response.status, value };
}

/**
 * Answers a waiting item.
 *
 * @param {{id: string}} item @param {import("./card.js").Answer} answer
 * @returns {Promise<import("./card.js").Outcome>}
 */
export async function sendAnswer({ id }, answer) {
  const response = await request("POST", "/answer", { id, ...answer }).catch(() => undefined);
  if (!response) return { is: "unknown", text: "沒有收到回音，不確定有沒有送到。請再試一次。" };
  if (response.ok) return { is: "done" };
  if (response.status === 404) return { is: "over", text: response.value?.error ?? "已經回答過或已逾時" };
  return { is: "refused", text: "Tamsell 沒有接受這個回答，請重新載入這一頁。" };
}
