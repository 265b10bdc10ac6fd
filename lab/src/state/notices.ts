// What the page tells the user: failures stay until they are closed, obstacles until they are gone; announcements are for
// screen readers.
import { signal } from "@preact/signals";
import { Failure } from "../api/client";

export interface Notice {
  id: number;
  kind: "failure" | "hint" | "obstacle";
  text: string;
}

const most = 4;
let lastID = 0;

export const notices = signal<Notice[]>([]);
export const announcement = signal("");

export function announce(text: string): void {
  announcement.value = text;
}

function add(kind: Notice["kind"], text: string): void {
  const others = notices.value.filter((notice) => notice.text !== text);
  lastID += 1;
  notices.value = [...others, { id: lastID, kind, text }].slice(-most);
}

export const tellFailure = (text: string) => add("failure", text);
export const tellHint = (text: string) => add("hint", text);
/** Why what the user wanted is not done now. */
export const tellObstacle = (text: string) => add("obstacle", text);

export function closeNotice(id: number): void {
  notices.value = notices.value.filter((notice) => notice.id !== id);
}

function closeKind(closed: Notice["kind"]): void {
  if (notices.value.some(({ kind }) => kind === closed)) {
    notices.value = notices.value.filter(({ kind }) => kind !== closed);
  }
}

export const closeFailures = () => closeKind("failure");
export const closeObstacles = () => closeKind("obstacle");

/** Runs what may fail; a failure becomes a notice, which names `file` as the scenario. Returns whether it succeeded. */
export async function attempt(work: () => Promise<void>, file?: string): Promise<boolean> {
  try {
    await work();
    return true;
  } catch (error) {
    if (!(error instanceof Failure)) throw error;
    tellFailure(file === undefined ? error.message : error.message.replace(/^scenario(?=:)/, () => file));
    return false;
  }
}
