// The payload in the editor, and what the server says about it as one types.

import payloads from "examples:payloads";
import { computed, effect, signal } from "@preact/signals";
import * as api from "../api/client";
import type { Explanation } from "../generated/protocol";
import { schemes } from "../state/head";
import { attempt, tellObstacle } from "../state/notices";
import { obstacle, perform } from "../state/session";
import { remember, remembered } from "../state/storage";
import { findAddInfo, withAddInfo } from "./add_info";
import { compact } from "./json_tokens";

const pause = 30;
/** A long text is not explained after every key. */
const longPause = 400;
const longText = 64 * 1024;

const sale = payloads.good.find(({ name }) => name === "sale")?.text ?? "{}";

export const payloadText = signal(remembered().payload ?? sale);

/** Sets the payload, with line ends as the editor has them. */
export function setPayload(text: string): void {
  payloadText.value = text.replace(/\r\n?/g, "\n");
}

export const addInfo = computed(() => findAddInfo(payloadText.value));

/** The explanation belongs to that text, which may be older than the editor's. */
export interface Explained {
  text: string;
  explanation: Explanation;
}

export const explained = signal<Explained | null>(null);
export const explainFailure = signal<string | null>(null);

export const exampleNamed = (name: string) =>
  [...payloads.good, ...payloads.broken].find((example) => example.name === name);

/** The name of the example that the payload is, unchanged. */
export const exampleName = computed(() => {
  const isShown = (example: Example) => example.text === payloadText.value;
  return (payloads.good.find(isShown) ?? payloads.broken.find(isShown))?.name ?? null;
});

/** Writes what the editor of addInfo has back into the payload. */
export function writeAddInfo(text: string): void {
  payloadText.value = withAddInfo(payloadText.value, compact(text));
}

let current: AbortController | null = null;

async function explain(text: string, declared: string[]): Promise<void> {
  current?.abort();
  const controller = new AbortController();
  current = controller;
  try {
    const explanation = await api.explain(text, declared, controller.signal);
    if (current !== controller) return;
    explained.value = { text, explanation };
    explainFailure.value = null;
  } catch (error) {
    if (current !== controller) return;
    if (!(error instanceof api.Failure)) throw error;
    explained.value = null;
    explainFailure.value = error.message;
  }
}

export function explainAsOneTypes(): void {
  let timer: ReturnType<typeof setTimeout> | undefined;
  effect(() => {
    const text = payloadText.value;
    const declared = schemes.value;
    clearTimeout(timer);
    timer = setTimeout(
      () => {
        remember({ payload: text });
        void explain(text, declared);
      },
      text.length > longText ? longPause : pause,
    );
  });
}

/** Applies one correction, or all that are certain. */
export async function applyFix(finding?: number): Promise<void> {
  const text = payloadText.value;
  await attempt(async () => {
    const fixed = await api.fix(text, schemes.value, finding);
    // What was typed meanwhile has precedence.
    if (payloadText.value === text) setPayload(fixed);
  });
}

export function deliver(how: "deliver" | "extension"): Promise<boolean> {
  const payload = payloadText.value;
  const name = exampleName.value;
  return perform(name === null ? { do: how, payload } : { do: how, payload, name });
}

let isDeliveringByKey = false;

/** What Ctrl-Enter does. No control shows why it cannot be done; a message does. */
export async function deliverByKey(): Promise<void> {
  if (obstacle.value !== null) {
    tellObstacle(`Not delivered. ${obstacle.value}`);
    return;
  }
  // As with a button that is pressed twice.
  if (isDeliveringByKey) return;
  isDeliveringByKey = true;
  try {
    await deliver("deliver");
  } finally {
    isDeliveringByKey = false;
  }
}
