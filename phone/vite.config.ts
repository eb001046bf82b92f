import { readFileSync } from "node:fs";

import { defineConfig, type Plugin } from "vite";

/**
 * The service worker, with the names of the files that the page opens with. What is loaded only when it is asked for,
 * the reader of QR codes above all, is kept once it was.
 */
function worker(): Plugin {
  return {
    name: "worker",
    enforce: "post",
    generateBundle(_, bundle) {
      const [entry] = Object.values(bundle).filter((file) => file.type === "chunk" && file.isEntry);
      if (entry?.type !== "chunk") return this.error("no entry");
      const files = [entry.fileName, ...entry.imports, ...(entry.viteMetadata?.importedCss ?? [])];
      const shell = ["/", "/manifest.webmanifest", "/icon.svg", ...files.map((name) => `/${name}`)];
      this.emitFile({ type: "asset", fileName: "worker.js", source: workerOf(shell) });
    },
  };
}

function workerOf(shell: string[]): string {
  const source = readFileSync(new URL("src/worker/worker.js", import.meta.url), "utf8");
  return source.replace("/* shell */ []", JSON.stringify(shell));
}

export default defineConfig({
  plugins: [worker()],
  build: {
    target: ["chrome109", "firefox115", "safari16.4"],
    // Every file is one of the relay's, which lets the page load nothing else.
    assetsInlineLimit: 0,
    modulePreload: { polyfill: false },
    emptyOutDir: true,
  },
  server: { host: "127.0.0.1" },
});
