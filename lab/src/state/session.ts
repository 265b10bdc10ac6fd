// The phone of this tab: what it is, what it reports, and what the user has it do.
import { batch, computed, effect, signal } from "@preact/signals";
import * as api from "../api/client";
import { type Connection, Stream } from "../api/stream";
import type { Action, Chain, Event as LabEvent, State } from "../generated/protocol";
import { type Entry, EventLog, logVersion } from "./event_log";
import { announce, attempt, closeFailures, closeHints, closeObstacles, tellFailure } from "./notices";
import { remember, remembered } from "./storage";

export const phone = signal<string | null>(null);
export const connection = signal<Connection | "none">("connecting");
export const state = signal<State | null>(null);
export const chain = signal<Chain | null>(null);
export const log = signal(newLog());
/** Another phone is on its way, which replaces this one. */
export const isReplacing = signal(false);
/** The actions that the phone has not done yet, in order. */
const underway = signal<readonly Action[]>([]);
let lastAction: Promise<unknown> = Promise.resolve();
/** The server refuses no other. */
let lastSent: Action | undefined;
/** Counts the states of a phone that is not busy: one follows each action. */
const idleStates = signal(0);
/** What the user has done with this phone, for the guide. */
export const ticks = signal<ReadonlySet<string>>(new Set(remembered().ticks ?? []));

let stream: Stream | null = null;

export function setTicks(names: Iterable<string>): void {
  ticks.value = new Set(names);
  remember({ ticks: [...ticks.value] });
}

export function tick(name: string): void {
  if (!ticks.value.has(name)) setTicks([...ticks.value, name]);
}

const important = new Set([
  "app launched",
  "app ended",
  "platform token",
  "platform delivered",
  "platform blocked",
  "platform undelivered",
  "platform opened URL",
  "platform refused URL",
  "module blocked",
  "module not accepted",
  "module raised",
  "backend answer",
  "expectation failed",
  "scenario passed",
  "scenario failed",
  "scenario warning",
]);

function whenAdded(added: Entry[]): void {
  logVersion.value += 1;
  // The server says only later that it has refused an action, but then nothing has happened either.
  if (lastSent !== undefined) closeHints();
  const last = added.findLast(({ event }) => important.has(`${event.actor} ${event.what}`));
  if (last) announce(`${last.event.actor}: ${last.title}`);
}

function newLog(): EventLog {
  return new EventLog(whenAdded);
}

function receiveState(next: State): void {
  state.value = next;
  if (!next.busy) idleStates.value += 1;
  if (next.running) tick("open");
  if (next.token !== null) tick("token");
  if (next.total.delivered > 0 || next.notifications.length > 0) tick("deliver");
  if (next.total.responded > 0) tick("tap");
}

const aboutOf = (action: Action | undefined) => (action && "payload" in action ? "payload" : undefined);

/** `whenGone` replaces the message that the phone has ended, until the page is connected. */
export function follow(id: string, whenGone?: () => void): void {
  stream?.end();
  let replacement = whenGone;
  const events = newLog();
  batch(() => {
    phone.value = id;
    connection.value = "connecting";
    state.value = null;
    chain.value = null;
    underway.value = [];
    log.value = events;
    logVersion.value += 1;
  });
  lastAction = Promise.resolve();
  lastSent = undefined;
  remember({ phone: id });
  stream = new Stream(id, {
    onEvent: (number: number, event: LabEvent) => events.add(number, event),
    onState: receiveState,
    onChain: (next) => {
      chain.value = next;
    },
    onRefused: (error) => {
      tellFailure(error, aboutOf(lastSent));
      announce(error);
    },
    onConnection: (next) => {
      const isReplaced = next === "gone" && replacement !== undefined;
      connection.value = isReplaced ? "connecting" : next;
      if (isReplaced) replacement?.();
      if (next === "connected") replacement = undefined;
    },
  });
}

/** Until the phone is idle again, or no message from it is to be expected. */
async function whenIdle(id: string, idleBefore: number): Promise<void> {
  let stop = () => {};
  await new Promise<void>((resolve) => {
    stop = effect(() => {
      const isOver = connection.value === "gone" || connection.value === "forbidden" || phone.value !== id;
      if (isOver || idleStates.value > idleBefore) resolve();
    });
  });
  stop();
}

async function performNow(id: string, action: Action): Promise<boolean> {
  if (phone.value !== id) return false;
  const idleBefore = idleStates.value;
  lastSent = action;
  const isTaken = await attempt(async () => {
    try {
      await api.perform(id, action);
    } catch (error) {
      if (!(error instanceof api.Failure) || error.status !== 404) throw error;
      connection.value = "gone";
    }
  }, aboutOf(action));
  if (isTaken) await whenIdle(id, idleBefore);
  return isTaken;
}

/** Has the phone do it, after the actions before. Ends once it is done, and returns whether the server has taken it. */
export function perform(action: Action): Promise<boolean> {
  const id = phone.value;
  if (id === null) return Promise.resolve(false);
  closeFailures();
  underway.value = [...underway.value, action];
  const done = lastAction
    .then(() => performNow(id, action))
    .finally(() => {
      underway.value = underway.value.filter((other) => other !== action);
    });
  lastAction = done.catch(() => undefined);
  return done;
}

type StepAction = Extract<Action, { step: unknown }>;
export const performStep = (step: StepAction["step"]) => perform({ do: "step", step });

/** Steps of an opened scenario that are still to come. */
export const hasWaitingSteps = computed(() => state.value?.steps.some((step) => step.state === "waiting") ?? false);

export const isBusy = computed(() => isReplacing.value || underway.value.length > 0 || state.value?.busy === true);

const longWork = 150; // milliseconds

/** Busy for so long that the page shows it: most actions are over at once, and every control would flicker. */
export const isBusyForLong = signal(false);

let longWorkTimer: ReturnType<typeof setTimeout> | undefined;
effect(() => {
  clearTimeout(longWorkTimer);
  if (!isBusy.value) isBusyForLong.value = false;
  else longWorkTimer = setTimeout(() => (isBusyForLong.value = true), longWork);
});

/** Why nothing can be done now; null if it can. What is done while the phone is busy for a moment comes next. */
export const obstacle = computed(() => {
  if (connection.value === "gone") return "The phone has ended. Start a new one.";
  if (connection.value === "forbidden" || connection.value === "none") return "This page has no phone. Try again.";
  if (isReplacing.value || phone.value === null || connection.value === "connecting" || state.value === null)
    return "The phone is starting.";
  if (connection.value === "lost") return "The lab's server does not answer.";
  if (isBusyForLong.value) return "The phone is still busy with the last action.";
  return null;
});

effect(() => {
  if (obstacle.value === null) closeObstacles();
});

/** The same for what only a running application does. */
export const runningObstacle = computed(
  () => obstacle.value ?? (state.value?.running ? null : "No application runs. Open it first."),
);
