// The events of the phone, in order. The first after a pause is added at once, the others with those of their frame, so
// that a burst is drawn once.
import { signal } from "@preact/signals";
import type { Event as LabEvent } from "../generated/protocol";

export interface Entry {
  id: number;
  event: LabEvent;
  /** What the filter chooses by: the actor, except for events that pellion run omits. */
  category: string;
  /** The first line as text, or what takes its place. */
  title: string;
}

const omitted: Record<string, string> = { "module log": "module log", "shared store synchronized": "synchronized" };

const categoryOf = ({ actor, what }: LabEvent) => omitted[`${actor} ${what}`] ?? actor;

/** For events that have no line of their own in pellion run, what names them best. */
function ownTitle({ actor, what, details }: LabEvent): string {
  if (actor === "scenario" && what === "says") return String(details.text);
  const name = details.text ?? details.name ?? details.path ?? details.url ?? details.suite;
  return typeof name === "string" ? `${what}: ${name.trim().split("\n", 1)[0]}` : what;
}

const requests = new Set(["backend request", "network sends"]);

/** The path without what all requests of a phone begin with. */
const lastOfPath = (path: unknown) => String(path).split("/").slice(-2).join("/");

function titleOf(event: LabEvent): string {
  const { actor, what, details, lines } = event;
  if (requests.has(`${actor} ${what}`)) return `${details.method} …/${lastOfPath(details.path)}`;
  const first = lines[0]?.map(([text]) => text).join("") ?? "";
  return first === "" || first === what ? ownTitle(event) : first;
}

const longPause = 50; // milliseconds

export class EventLog {
  /** Grows; replaced when another phone starts. */
  entries: Entry[] = [];
  readonly counts = new Map<string, number>();
  private readonly answers = new Map<number, Entry>();
  private waiting: Entry[] = [];
  private isScheduled = false;
  private lastTaken = 0;

  constructor(private readonly whenAdded: (added: Entry[]) => void) {}

  add(id: number, event: LabEvent): void {
    this.waiting.push({ id, event, category: categoryOf(event), title: titleOf(event) });
    if (this.isScheduled) return;
    this.isScheduled = true;
    const take = () => this.take();
    // A hidden page gets no frames; its events wait for a timer instead.
    if (performance.now() - this.lastTaken > longPause) queueMicrotask(take);
    else if (document.hidden) setTimeout(take, longPause);
    else requestAnimationFrame(take);
  }

  answerTo(request: number): Entry | undefined {
    return this.answers.get(request);
  }

  private take(): void {
    this.isScheduled = false;
    this.lastTaken = performance.now();
    const added = this.waiting;
    this.waiting = [];
    for (const entry of added) {
      this.entries.push(entry);
      this.counts.set(entry.category, (this.counts.get(entry.category) ?? 0) + 1);
      const { actor, what, details } = entry.event;
      if (actor === "backend" && what === "answer") this.answers.set(Number(details.number), entry);
    }
    this.whenAdded(added);
  }
}

/** Counts up with each change of the log. */
export const logVersion = signal(0);
