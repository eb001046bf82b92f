/** The computer's state as far as this page shows it. Every member may be missing: the computer may be a newer one. */
export interface ComputerState {
  pending?: { id: string; [member: string]: unknown }[];
  sessions?: Session[];
  recent?: Event[];
  presence?: Presence;
}

export interface Session {
  id: string;
  client?: string;
  cwd?: string;
  lastAt: number;
  ended?: boolean;
}

export interface Event {
  at: number;
  event?: string;
  session?: string;
  client?: string;
  tool?: string;
  summary?: string;
}

export interface Presence {
  mode: Mode;
  away: boolean;
  idleMinutes: number;
}

export type Mode = "off" | "auto" | "on";
