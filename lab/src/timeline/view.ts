// Which events the timeline shows, and which of them are unfolded.
import { computed, effect, signal } from "@preact/signals";
import { type Entry, logVersion } from "../state/event_log";
import { log, state } from "../state/session";

/** What pellion run omits as well. */
const quiet = ["module log", "network", "synchronized"];

export const hiddenCategories = signal<ReadonlySet<string>>(new Set(quiet));
export const searched = signal("");
export const unfolded = signal<ReadonlySet<number>>(new Set());
/** The list stays at its end as events arrive. */
export const follows = signal(true);
/** The filtered events; grows in place, so that readers use `shownVersion`. */
export let shown: Entry[] = [];
export const shownVersion = signal(0);

const linesText = ({ event }: Entry) => event.lines.map((line) => line.map(([text]) => text).join("")).join("\n");
const matches = (entry: Entry, hidden: ReadonlySet<string>, text: string) =>
  !hidden.has(entry.category) &&
  (text === "" || `${entry.event.actor} ${entry.title}\n${linesText(entry)}`.toLowerCase().includes(text));

/** Why an expectation failed, or what was raised, stands in its further lines. */
const hasFailed = ({ event }: Entry) =>
  event.what === "raised" || (event.actor === "expectation" && event.what === "failed");

let lastFailure = 0;

function unfoldFailures(added: Entry[]): void {
  const failures = added.filter((entry) => entry.id > lastFailure && hasFailed(entry)).map(({ id }) => id);
  if (failures.length === 0) return;
  lastFailure = Math.max(...failures);
  unfolded.value = new Set([...unfolded.value, ...failures]);
}

let taken = 0;
let takenFrom: unknown = null;
let takenBy = "";

/** Adds the events since the last time; starts anew after a change of the filter or of the phone. */
function refresh(): void {
  const { entries } = log.value;
  const hidden = hiddenCategories.value;
  const text = searched.value.trim().toLowerCase();
  const filter = JSON.stringify([[...hidden], text]);
  if (takenFrom !== entries || takenBy !== filter) {
    if (takenFrom !== entries) {
      unfolded.value = new Set();
      lastFailure = 0;
    }
    shown = [];
    taken = 0;
    takenFrom = entries;
    takenBy = filter;
  }
  const before = shown.length;
  for (; taken < entries.length; taken += 1) {
    const entry = entries[taken];
    if (entry && matches(entry, hidden, text)) shown.push(entry);
  }
  unfoldFailures(shown.slice(before));
  shownVersion.value += 1;
}

export function startView(): void {
  effect(() => {
    logVersion.value;
    hiddenCategories.value;
    searched.value;
    queueMicrotask(refresh);
  });
  // With one's own server there is no backend to see: the network's events stand in its place.
  const server = computed(() => state.value?.server ?? null);
  effect(() => {
    const hidden = new Set(hiddenCategories.peek());
    if (server.value === null) hidden.add("network");
    else hidden.delete("network");
    hiddenCategories.value = hidden;
  });
}

export function toggleCategory(category: string): void {
  const next = new Set(hiddenCategories.value);
  if (!next.delete(category)) next.add(category);
  hiddenCategories.value = next;
}

export function toggleRow(id: number): void {
  const next = new Set(unfolded.value);
  if (!next.delete(id)) next.add(id);
  unfolded.value = next;
}

/** The first line of a request stands for much that is not in its further lines. */
const hasDetails = ({ event: { lines, what } }: Entry) => lines.length > 1 || what === "request" || what === "sends";

export function unfoldAll(): void {
  unfolded.value = new Set(shown.filter(hasDetails).map(({ id }) => id));
}

export function foldAll(): void {
  unfolded.value = new Set();
}
