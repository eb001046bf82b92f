import { once } from "node:events";
import { readFile } from "node:fs/promises";
import { createServer } from "node:http";

import { defer } from "./defer.mjs";
import { pageFile } from "./programs.mjs";

const token = "stage";

/**
 * Serves the real page with states that a test makes up, over the daemon's own interface: for what takes phones, other
 * times or bad luck to come about. It answers as the daemon would, and remembers what it was asked.
 */
export class Stage {
  /** Every POST so far: {path, body}. */
  asked = [];
  /** What a path answers in place of the usual: {status, body} or a function of the request's body giving that. */
  replies = {};
  #html;
  #server = createServer((request, response) => this.#serve(request, response));
  #streams = new Set();

  /** Ends with the test.
   *  @param state snapshot and devices, as the daemon's routes give them */
  static async start(t, state) {
    const stage = new Stage(await readFile(pageFile), state);
    stage.#server.listen(0, "127.0.0.1");
    await once(stage.#server, "listening");
    defer(t, () => stage.#stop());
    return stage;
  }

  constructor(html, { snapshot, devices = [] }) {
    this.#html = html;
    this.snapshot = snapshot;
    this.devices = devices;
  }

  get origin() {
    return `http://127.0.0.1:${this.#server.address().port}`;
  }

  get url() {
    return `${this.origin}/?token=${token}`;
  }

  /** Publishes another snapshot. */
  show(snapshot) {
    this.snapshot = snapshot;
    for (const stream of this.#streams) this.#publishTo(stream);
  }

  /** Publishes that an item no longer waits. */
  settle(id) {
    this.show({ ...this.snapshot, pending: this.snapshot.pending.filter((item) => item.id !== id) });
  }

  /** Every event stream breaks off. */
  breakStreams() {
    for (const stream of this.#streams) stream.destroy();
  }

  async #stop() {
    this.#server.close();
    this.#server.closeAllConnections();
    await once(this.#server, "close");
  }

  #publishTo(stream) {
    stream.write(`data: ${JSON.stringify(this.snapshot)}\n\n`);
  }

  async #serve(request, response) {
    const url = new URL(request.url, this.origin);
    if ((url.searchParams.get("token") ?? request.headers["x-token"]) !== token) {
      response.writeHead(401, { "content-type": "text/plain; charset=utf-8" }).end("Unauthorized");
    } else if (url.pathname === "/") {
      response.writeHead(200, { "content-type": "text/html; charset=utf-8" }).end(this.#html);
    } else if (url.pathname === "/events") {
      response.writeHead(200, { "content-type": "text/event-stream", "cache-control": "no-store" });
      this.#streams.add(response);
      response.on("close", () => this.#streams.delete(response));
      this.#publishTo(response);
    } else {
      const text = Buffer.concat(await request.toArray()).toString();
      const { status, body } = this.#answer(request.method, url.pathname, text ? JSON.parse(text) : {});
      const headers = { "content-type": "application/json; charset=utf-8", connection: "close" };
      response.writeHead(status, headers).end(JSON.stringify(body));
    }
  }

  #answer(method, path, asked) {
    if (method === "POST") this.asked.push({ path, body: asked });
    const reply = this.replies[path];
    if (reply) return typeof reply === "function" ? reply(asked) : reply;
    const ok = (body = { ok: true }) => ({ status: 200, body });
    const refused = (status, error) => ({ status, body: { error } });
    switch (`${method} ${path}`) {
      case "GET /state":
        return ok(this.snapshot);
      case "GET /devices":
        return ok(this.devices);
      case "POST /devices/remove":
        if (!this.devices.some(({ id }) => id === asked.id)) return refused(404, "no such device");
        this.devices = this.devices.filter(({ id }) => id !== asked.id);
        return ok();
      case "POST /pair":
        return refused(409, "relay not set up");
      case "POST /test-push":
        return ok({ error: "relay did not answer" });
      case "POST /answer":
        if (!this.snapshot.pending.some(({ id }) => id === asked.id)) return refused(404, "已經回答過或已逾時");
        this.settle(asked.id);
        return ok();
      case "POST /mode":
        this.show({ ...this.snapshot, presence: { ...this.snapshot.presence, mode: asked.mode } });
        return ok(this.snapshot.presence);
      default:
        return refused(404, "not found");
    }
  }
}
