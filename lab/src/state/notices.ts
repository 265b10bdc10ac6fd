// What the page tells the user: failures stay until the next action, those about the payload until it is edited; hints
// until an action succeeds; obstacles until they are gone. Announcements are for screen readers.
import { signal } from "@preact/signals";
import { Failure } from "../api/client";

export interface Notice {
  id: number;
  kind: "failure" | "hint" | "obstacle";
  text: string;
  about?: "payload" | undefined;
}

const most = 4;
let lastID = 0;

export const notices = signal<Notice[]>([]);
export const announcement = signal("");

export function announce(text: string): void {
  announcement.value = text;
}

function add(kind: Notice["kind"], text: string, about?: Notice["about"]): void {
  const others = notices.value.filter((notice) => notice.text !== text);
  lastID += 1;
  notices.value = [...others, { id: lastID, kind, text, about }].slice(-most);
}

export const tellFailure = (text: string, about?: Notice["about"]) => add("failure", text, about);
export const tellHint = (text: string) => add("hint", text);
/** Why what the user wanted is not done now. */
export const tellObstacle = (text: string) => add("obstacle", text);

export function closeNotice(id: number): void {
  notices.value = notices.value.filter((notice) => notice.id !== id);
}

function closeAll(isClosed: (notice: Notice) => boolean): void {
  const kept = notices.peek().filter((notice) => !isClosed(notice));
  if (kept.length < notices.peek().length) notices.value = kept;
}

export const closeFailures = () => closeAll(({ kind }) => kind === "failure");
export const closeHints = () => closeAll(({ kind }) => kind === "hint");
export const closeObstacles = () => closeAll(({ kind }) => kind === "obstacle");
export const closeAboutPayload = () => closeAll(({ about }) => about === "payload");

/** Runs what may fail; a failure becomes a notice. Returns whether it succeeded. */
export async function attempt(work: () => Promise<void>, about?: Notice["about"]): Promise<boolean> {
  try {
    await work();
    return true;
  } catch (error) {
    if (!(error instanceof Failure)) throw error;
    tellFailure(error.message, about);
    return false;
  }
}
