import { readFileSync } from "node:fs";
import { join } from "node:path";

import { tests } from "./support/programs.mjs";

// States that the daemon's routes could give, for the stage; all times count from one moment.

/** When it all happens: 18:42:43 in Taipei. */
export const now = Date.parse("2026-11-22T18:42:43+08:00");

const at = (time) => Date.parse(`2026-11-22T${time}+08:00`);

const fixture = (agent, name) => JSON.parse(readFileSync(join(tests, "fixtures", agent, "in", `${name}.json`)));

/** The item that the daemon makes of an event, with so many of its seconds left. */
function item(event, { id, client, left }) {
  const wait = event.hook_event_name === "Stop" ? 60 : 120;
  const expiresAt = now + left * 1000;
  const common = {
    id,
    client,
    createdAt: expiresAt - wait * 1000,
    expiresAt,
    sessionId: event.session_id,
    cwd: event.cwd,
  };
  if (event.hook_event_name === "Stop")
    return { ...common, kind: "stop", lastMessage: event.last_assistant_message, chained: false };
  return {
    ...common,
    kind: "permission",
    tool: event.tool_name,
    input: event.tool_input,
    suggestions: event.permission_suggestions,
  };
}

const bash = fixture("claude", "permission_request_bash");
const multiline = fixture("claude", "permission_request_bash_multiline");
const bidi = fixture("claude", "permission_request_bash_bidi");
const edit = fixture("claude", "permission_request_edit");
const stop = fixture("codex", "stop");

const published = "Published 0.4.2 as a dry run. 打包內容 38 個檔案，沒有警告。要正式發佈，還是先改 CHANGELOG？";
const kiosk = "/home/user/work/client-projects/2026/kiosk-firmware";

/** Waiting items by what is particular about them. */
export const items = {
  push: item(bash, { id: "5f0c2a31-9d84-4f7e-8a16-3b7d20c94e51", client: "Claude.app", left: 84 }),
  script: item(
    {
      ...multiline,
      session_id: "b20e77d4-58c1-4f0e-9c33-6a1d9e0f7b24",
      tool_input: {
        command: multiline.tool_input.command,
        description: multiline.tool_input.description,
      },
    },
    { id: "c86e1d47-0b52-4a9c-b3f8-71e5a4d2096b", client: "terminal", left: 18 },
  ),
  unexplained: item(
    { ...bash, tool_input: { command: bash.tool_input.command } },
    { id: "b7d20f86-4e1a-4395-8d6c-50a3e9f4172b", client: "Claude.app", left: 72 },
  ),
  stopped: item(
    { ...stop, cwd: "/home/user/work/tidal-notes", last_assistant_message: published },
    { id: "2d9b74e0-6c13-4858-9f2a-e04b8c57d1a6", client: "Codex", left: 47 },
  ),
  hidden: item(
    { ...bidi, tool_input: { command: bidi.tool_input.command } },
    { id: "e41a90c5-3f68-4b27-a5d9-186c7f0e2b93", client: "terminal", left: 111 },
  ),
  fresh: item(
    {
      ...edit,
      cwd: "/home/user/work/kiosk-firmware",
      tool_input: { file_path: "/home/user/work/kiosk-firmware/src/display/panel_driver.cpp" },
    },
    { id: "97b3c6f2-d015-4e8d-8c4a-5a2f61e0b7d8", client: "terminal", left: 120 },
  ),
  compose: item(
    { ...bash, tool_input: { command: "docker compose up -d" } },
    { id: "0a7e5d19-84bc-4c36-9e70-f3d1b26a8c45", client: "Claude.app", left: 66 },
  ),
};

export const devices = [
  { id: "phone-1", name: "小葵的 iPhone", addedAt: at("09:12:00"), online: true },
  { id: "phone-2", name: "書房 iPad", addedAt: at("09:15:00"), online: true },
  { id: "phone-3", name: "工作機 iPhone 16 Pro", addedAt: at("09:31:00"), online: false },
];

const sessions = [
  {
    id: bash.session_id,
    client: "Claude.app",
    events: 31,
    startedAt: at("17:58:20"),
    cwd: bash.cwd,
    lastEvent: "PermissionRequest",
    lastAt: at("18:42:07"),
    permissionMode: "default",
  },
  {
    id: stop.session_id,
    client: "Codex",
    events: 12,
    startedAt: at("18:02:11"),
    cwd: "/home/user/work/tidal-notes",
    lastEvent: "Stop",
    lastAt: at("18:41:22"),
    permissionMode: "default",
    lastMessage: published,
  },
  {
    id: "d4725b8e-1f96-4c0a-b8e3-92c7f5a60d13",
    client: "terminal",
    events: 8,
    startedAt: at("18:01:45"),
    cwd: kiosk,
    lastEvent: "PostToolUse",
    lastAt: at("18:24:30"),
    permissionMode: "acceptEdits",
  },
  {
    id: "0f3c91ab-7a45-4d2c-9be8-40d86e1f2c57",
    client: "SDK",
    events: 5,
    startedAt: at("16:31:02"),
    lastEvent: "SessionEnd",
    lastAt: at("16:40:18"),
    ended: true,
  },
];

const recent = [
  { at: at("18:24:11"), event: "SessionEnd", session: "0f3c91ab", client: "SDK", summary: "" },
  {
    at: at("18:39:40"),
    event: "UserPromptSubmit",
    session: "7c1f0b52",
    client: "Claude.app",
    summary: "把 planner 的上限改成讀設定檔，測試也要補上",
  },
  {
    at: at("18:40:03"),
    event: "PostToolUse",
    session: "7c1f0b52",
    client: "Claude.app",
    tool: "Edit",
    summary: "/home/user/work/orchard/src/harvest/planner.cpp",
  },
  { at: at("18:41:22"), event: "Stop", session: "019a3c5e", client: "Codex", summary: published },
  {
    at: at("18:41:51"),
    event: "PermissionRequest",
    session: "b20e77d4",
    client: "terminal",
    tool: "Bash",
    summary: multiline.tool_input.command,
  },
  {
    at: at("18:42:07"),
    event: "PermissionRequest",
    session: "7c1f0b52",
    client: "Claude.app",
    tool: "Bash",
    summary: bash.tool_input.command,
  },
];

/** A busy evening, the user away, with these items waiting. */
export const snapshotWith = (...pending) => ({
  presence: { mode: "auto", away: true, idleSeconds: 412, idleMinutes: 5 },
  sessions,
  pending,
  recent,
  relay: { configured: true, connected: true, phones: 2, devices: 3, url: "https://relay.tamsell.example" },
});

/** Nothing was ever set up, and nothing has happened yet. */
export const emptySnapshot = {
  presence: { mode: "auto", away: false, idleSeconds: 3, idleMinutes: 5 },
  sessions: [],
  pending: [],
  recent: [],
  relay: { configured: false, connected: false, phones: 0, devices: 0 },
};
