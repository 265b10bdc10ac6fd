// Which phone the tab has. The one before stays for a while, so that a new phone loses no session.
import { signal } from "@preact/signals";
import * as api from "../api/client";
import type { NewPhone } from "../generated/protocol";
import { headText, parseHead, scenarioOf, write } from "./head";
import type { JsonObject } from "./jsonc";
import { attempt, closeFailures, tellFailure, tellHint } from "./notices";
import { connection, follow, isReplacing, phone, setTicks, state, ticks } from "./session";
import { type FormerPhone, remember, remembered } from "./storage";

export const former = signal<FormerPhone | null>(remembered().former ?? null);

function setFormer(next: FormerPhone | null): void {
  former.value = next;
  remember({ former: next });
}

const serverOfTab = () => remembered().server ?? null;

/** The tab's phone, if there is something in its session to come back to. */
function leaving(): FormerPhone | null {
  if (phone.value === null || connection.value === "gone" || !state.value?.canBeKept) return null;
  return { phone: phone.value, head: headText.value, server: serverOfTab(), ticks: [...ticks.value] };
}

async function replacePhone(opening: NewPhone, head: string, file?: string): Promise<boolean> {
  if (isReplacing.value) return false;
  isReplacing.value = true;
  closeFailures();
  const left = leaving();
  const unused = left === null ? phone.value : (former.value?.phone ?? null);
  const isDone = await attempt(async () => {
    follow(await api.createPhone(opening));
    if (left !== null) setFormer(left);
    setTicks([]);
    headText.value = head;
    remember({ server: opening.server ?? null });
    if (unused !== null) await api.endPhone(unused);
  }, file);
  isReplacing.value = false;
  return isDone;
}

interface Opening {
  /** They wait. */
  steps?: unknown[];
  /** Null for the built-in backend; left out, the server that the tab has. */
  server?: string | null;
  /** Changes the head for this phone alone. */
  adapted?: (head: JsonObject) => JsonObject;
}

/** Gives the tab a new phone, whose application has that head. */
export async function startPhone(head: string, opening: Opening = {}): Promise<boolean> {
  let parsed: JsonObject;
  try {
    parsed = parseHead(head);
  } catch (error) {
    tellFailure(`The description of the application is not usable: ${(error as Error).message}`);
    return false;
  }
  const server = opening.server === undefined ? serverOfTab() : opening.server;
  const scenario = scenarioOf(opening.adapted?.(parsed) ?? parsed, opening.steps ?? []);
  return replacePhone(server === null ? { scenario } : { scenario, server }, head);
}

/** A new phone with the steps of a scenario document, which wait. Failures name the file. */
export const openScenario = (scenario: string, head: JsonObject, file?: string) =>
  replacePhone({ scenario }, write(head), file);

/** Back to the phone before; this one becomes the phone before. */
export function goBack(): void {
  const back = former.value;
  if (back === null || isReplacing.value) return;
  closeFailures();
  const left = leaving();
  if (left === null && phone.value !== null) void api.endPhone(phone.value);
  setFormer(left);
  headText.value = back.head;
  remember({ server: back.server });
  setTicks(back.ticks);
  follow(back.phone);
}

/** The phone that this tab had before a reload, or a new one. */
export async function resume(): Promise<void> {
  const before = remembered().phone ?? null;
  if (before === null) {
    await startFirst();
    return;
  }
  follow(before, () => {
    tellHint("The phone of this tab has ended. This is a new one with the same application.");
    void startFirst();
  });
}

async function startFirst(): Promise<void> {
  const isDone = await startPhone(headText.value);
  if (!isDone && phone.value === null) connection.value = "forbidden";
}
