// Keeps the page, so that it opens without a network.
// Filled in when the page is built.
const shell = /* shell */ [];
const name = `shell ${shell.join(" ")}`;
addEventListener("install", (event) => {
  const files = shell.map((path) => new Request(path, { cache: "reload" }));
  event.waitUntil(
    caches
      .open(name)
      .then((cache) => cache.addAll(files))
      .then(() => skipWaiting()),
  );
});
addEventListener("activate", (event) => {
  const drop = async () => {
    for (const other of await caches.keys()) if (other !== name) await caches.delete(other);
    await clients.claim();
  };
  event.waitUntil(drop());
});
addEventListener("fetch", (event) => {
  const { pathname, origin } = new URL(event.request.url);
  if (event.request.method !== "GET" || origin !== location.origin) return;
  if (pathname === "/" || pathname === "/index.html") event.respondWith(newest(event.request));
  else if (shell.includes(pathname) || pathname.startsWith("/assets/")) event.respondWith(kept(event.request));
});
// The relay's page when it answers soon, so that a new version is there at once; else the one that was kept.
async function newest(request) {
  const cache = await caches.open(name);
  const patience = new Promise((resolve) => setTimeout(resolve, 3000));
  const found = await Promise.race([fetch(request).catch(() => undefined), patience]);
  return found?.ok ? found : ((await cache.match("/")) ?? Response.error());
}
async function kept(request) {
  const cache = await caches.open(name);
  const found = await cache.match(request, { ignoreSearch: true });
  if (found) return found;
  const fetched = await fetch(request);
  if (fetched.ok) await cache.put(request, fetched.clone());
  return fetched;
}
