// Which phone the tab has. The one before stays for a while, so that a new phone loses no session.
import { effect, signal } from "@preact/signals";
import * as api from "../api/client";
import type { NewPhone } from "../generated/protocol";
import { headText, parseHead, scenarioOf, unnamed, write } from "./head";
import type { JsonObject } from "./jsonc";
import { closeFailures, closeHints, tellFailure, tellHint } from "./notices";
import { connection, follow, isReplacing, phone, setTicks, state, ticks } from "./session";
import { type FormerPhone, remember, remembered } from "./storage";

export const former = signal<FormerPhone | null>(remembered().former ?? null);

function setFormer(next: FormerPhone | null): void {
  former.value = next;
  remember({ former: next });
}

/** Why the page has no phone, where it is not for the usual reason. */
export const whyNoPhone = signal<string | null>(null);

effect(() => {
  if (connection.value === "connected") whyNoPhone.value = null;
});

const isLost = () => phone.value === null || connection.value === "gone" || connection.value === "forbidden";

/** Without a phone, its reason is the page's only message. */
function tellNoPhone({ status, message }: api.Failure): void {
  const isForbidden = status === 403;
  if (!isLost()) {
    tellFailure(message);
    return;
  }
  whyNoPhone.value = isForbidden && connection.value !== "forbidden" ? null : message;
  if (isForbidden) connection.value = "forbidden";
  else if (phone.value === null) connection.value = "none";
}

const serverOfTab = () => remembered().server ?? null;

/** The tab's phone, if there is something in its session to come back to. */
function leaving(): FormerPhone | null {
  if (phone.value === null || isLost() || !state.value?.canBeKept) return null;
  return { phone: phone.value, head: headText.value, server: serverOfTab(), ticks: [...ticks.value] };
}

async function forgetEndedFormer(): Promise<void> {
  const before = former.value;
  const exists = before === null || (await api.isAlive(before.phone).catch(() => true));
  if (!exists && former.value === before) setFormer(null);
}

async function replacePhone(opening: NewPhone, head: string, file?: string): Promise<boolean> {
  if (isReplacing.value) return false;
  isReplacing.value = true;
  closeFailures();
  const wasLost = isLost();
  const left = leaving();
  const unused = left === null ? phone.value : (former.value?.phone ?? null);
  try {
    follow(await api.createPhone(opening));
    closeHints();
    if (left !== null) setFormer(left);
    setTicks([]);
    headText.value = head;
    remember({ server: opening.server ?? null });
    if (unused !== null) await api.endPhone(unused);
    // A lab that was started again has not that one either.
    if (wasLost) await forgetEndedFormer();
    return true;
  } catch (error) {
    if (!(error instanceof api.Failure)) throw error;
    const message = file === undefined ? error.message : error.message.replace(/^scenario(?=:)/, () => file);
    tellNoPhone(new api.Failure(error.status, message));
    return false;
  } finally {
    isReplacing.value = false;
  }
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
    const why = (error as Error).message;
    tellNoPhone(new api.Failure(0, `The description of the application is not usable: ${why}`));
    return false;
  }
  const server = opening.server === undefined ? serverOfTab() : opening.server;
  const scenario = scenarioOf(opening.adapted?.(parsed) ?? parsed, opening.steps ?? []);
  return replacePhone(server === null ? { scenario } : { scenario, server }, head);
}

/** A new phone with the same application, and a session of its own. */
export const startAgain = (opening: Opening = {}) => startPhone(unnamed(headText.value), opening);

/** A new phone with the steps of a scenario document, which wait. Failures name the file. */
export const openScenario = (scenario: string, head: JsonObject, file?: string) =>
  replacePhone({ scenario }, write(head), file);

/** Back to the phone before; this one becomes the phone before. */
export function goBack(): void {
  const back = former.value;
  if (back === null || isReplacing.value) return;
  closeFailures();
  closeHints();
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
    await startAgain();
    return;
  }
  follow(before, () => {
    phone.value = null;
    void startAfter("The phone of this tab has ended. This is a new one with the same application.");
  });
}

async function startAfter(loss: string): Promise<void> {
  if (await startAgain()) tellHint(loss);
}

const lostWithLab =
  "The lab was started again; the session of this tab is lost. This is a new phone with the same application.";

/** The phone of this tab, if the lab has it, or a new one. */
export async function tryAgain(): Promise<void> {
  const before = phone.value;
  const isAnotherLab = before !== null && connection.value === "forbidden";
  try {
    if (before !== null && (await api.isAlive(before))) {
      follow(before);
      return;
    }
  } catch (error) {
    if (!(error instanceof api.Failure)) throw error;
    tellNoPhone(error);
    return;
  }
  if (isAnotherLab) await startAfter(lostWithLab);
  else await startAgain();
}
