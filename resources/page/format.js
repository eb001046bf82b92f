/** Times, names and paths as they are written on the page. Times are milliseconds since 1970. */

/** "1:24", "1:02:03"; never below zero. @param {number} milliseconds */
export function countdown(milliseconds) {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes}:${two(seconds % 60)}`;
  return `${Math.floor(minutes / 60)}:${two(minutes % 60)}:${two(seconds % 60)}`;
}

/** "剛剛", "18 分鐘前". @param {number} then @param {number} now */
export function ago(then, now) {
  const minutes = Math.floor((now - then) / 60_000);
  if (minutes < 1) return "剛剛";
  if (minutes < 60) return `${minutes} 分鐘前`;
  if (minutes < 24 * 60) return `${Math.floor(minutes / 60)} 小時前`;
  return `${Math.floor(minutes / (24 * 60))} 天前`;
}

/** "18:42:07", with the day before it when that is not today's. @param {number} then @param {number} now */
export function clock(then, now) {
  const date = new Date(then);
  const time = [date.getHours(), date.getMinutes(), date.getSeconds()].map(two).join(":");
  return date.toDateString() === new Date(now).toDateString()
    ? time
    : `${date.getMonth() + 1}/${date.getDate()} ${time.slice(0, 5)}`;
}

/** The last component of a working directory; nothing when there is none. @param {string} [cwd] */
export function projectOf(cwd) {
  if (!cwd) return undefined;
  return cwd.split("/").filter(Boolean).at(-1) ?? "/";
}

/** A session's name: its folder's, or the beginning of its id. @param {{id: string, cwd?: string}} session */
export function sessionName(session) {
  return projectOf(session.cwd) ?? [...session.id].slice(0, 8).join("");
}

/** A path with "~" for a home directory. @param {string} path */
export function shortPath(path) {
  return path.replace(/^(?:\/home\/[^/]+|\/Users\/[^/]+|\/root)(?=\/|$)/, "~");
}

/** "07". @param {number} number */
export function two(number) {
  return String(number).padStart(2, "0");
}
