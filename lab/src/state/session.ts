// The phone of this tab: what it is, what it reports, and what the user has it do.
import { batch, computed, signal } from "@preact/signals";
import * as api from "../api/client";
import { type Connection, Stream } from "../api/stream";
import type { Action, Chain, Event as LabEvent, State } from "../generated/protocol";
import { type Entry, EventLog, logVersion } from "./event_log";
import { announce, attempt, closeFailures, tellFailure } from "./notices";
import { remember, remembered } from "./storage";

export const phone = signal<string | null>(null);
export const connection = signal<Connection>("connecting");
export const state = signal<State | null>(null);
export const chain = signal<Chain | null>(null);
export const log = signal(newLog());
/** An action or a new phone is on its way to the server. */
export const isSending = signal(false);
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
  const last = added.findLast(({ event }) => important.has(`${event.actor} ${event.what}`));
  if (last) announce(`${last.event.actor}: ${last.title}`);
}

function newLog(): EventLog {
  return new EventLog(whenAdded);
}

function receiveState(next: State): void {
  state.value = next;
  if (next.running) tick("open");
  if (next.token !== null) tick("token");
  if (next.total.delivered > 0 || next.notifications.length > 0) tick("deliver");
  if (next.total.responded > 0) tick("tap");
}

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
    log.value = events;
    logVersion.value += 1;
  });
  remember({ phone: id });
  stream = new Stream(id, {
    onEvent: (number: number, event: LabEvent) => events.add(number, event),
    onState: receiveState,
    onChain: (next) => {
      chain.value = next;
    },
    onRefused: (error) => {
      tellFailure(error);
      announce(error);
    },
    onConnection: (next) => {
      connection.value = next;
      if (next === "gone") replacement?.();
      if (next === "connected") replacement = undefined;
    },
  });
}

/** Returns whether the server has taken the action. */
export async function perform(action: Action): Promise<boolean> {
  const id = phone.value;
  if (id === null || isSending.value) return false;
  isSending.value = true;
  closeFailures();
  const isDone = await attempt(async () => {
    try {
      await api.perform(id, action);
    } catch (error) {
      if (!(error instanceof api.Failure) || error.status !== 404) throw error;
      connection.value = "gone";
    }
  });
  isSending.value = false;
  return isDone;
}

type StepAction = Extract<Action, { step: unknown }>;
export const performStep = (step: StepAction["step"]) => perform({ do: "step", step });

/** Why nothing can be done now; null if it can. */
export const obstacle = computed(() => {
  if (connection.value === "gone") return "The phone has ended. Start a new one.";
  if (connection.value === "forbidden") return "This page has no phone. Try again.";
  if (phone.value === null || connection.value === "connecting" || state.value === null)
    return "The phone is starting.";
  if (connection.value === "lost") return "The lab's server does not answer.";
  if (isBusy.value) return "The phone is still busy with the last action.";
  return null;
});

export const isBusy = computed(() => isSending.value || state.value?.busy === true);

/** The same for what only a running application does. */
export const runningObstacle = computed(
  () => obstacle.value ?? (state.value?.running ? null : "No application runs. Open it first."),
);
