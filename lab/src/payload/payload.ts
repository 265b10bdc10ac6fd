// The payload in the editor, and what the server says about it as one types.

import payloads from "examples:payloads";
import { batch, computed, effect, signal } from "@preact/signals";
import * as api from "../api/client";
import type { Explanation } from "../generated/protocol";
import { schemes } from "../state/head";
import { announce, attempt, closeAboutPayload, tellObstacle } from "../state/notices";
import { obstacle, perform } from "../state/session";
import { remember, remembered } from "../state/storage";
import { findAddInfo, withAddInfo } from "./add_info";
import { compact } from "./json_tokens";

const pause = 30;
/** A long text is not explained after every key. */
const longPause = 400;
/** Nothing is announced between two keys. */
const rest = 800;
const longText = 64 * 1024;

const sale = payloads.good.find(({ name }) => name === "sale")?.text ?? "{}";

export const payloadText = signal(remembered().payload ?? sale);

/** Whether the last change was typed in one of the editors. */
export const isTyped = signal(false);

/** Sets the payload, with line ends as the editor has them. Undo takes it back alone. */
export function setPayload(text: string): void {
  isTyped.value = false;
  payloadText.value = text.replace(/\r\n?/g, "\n");
}

/** Takes what the payload's editor has. */
export function typePayload(text: string): void {
  isTyped.value = true;
  payloadText.value = text;
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

interface Correction {
  before: string;
  after: string;
}
const mostCorrections = 20;
let corrections: Correction[] = [];

/** The payload that undo or redo of a correction in addInfo's editor leads to: a correction may lay it out anew. */
function acrossCorrection(text: string): string | undefined {
  const now = payloadText.value;
  const isText = (payload: string) => compact(findAddInfo(payload)?.text ?? "") === compact(text);
  for (const { before, after } of corrections) {
    if (isText(before) === isText(after)) continue;
    if (now === after && isText(before)) return before;
    if (now === before && isText(after)) return after;
  }
  return undefined;
}

/** Writes what the editor of addInfo has back into the payload. */
export function writeAddInfo(text: string): void {
  typePayload(acrossCorrection(text) ?? withAddInfo(payloadText.value, compact(text)));
}

const counted = (count: number, word: string) => (count === 1 ? `1 ${word}` : `${count} ${word}s`);

/** What was found, in a few words. */
export function headline({ findings, unusable }: Explanation): string {
  if (unusable) return "Not usable";
  const mistakes = findings.filter(({ level }) => level === "error").length;
  const warnings = findings.length - mistakes;
  const parts: string[] = [];
  if (mistakes > 0) parts.push(counted(mistakes, "mistake"));
  if (warnings > 0) parts.push(counted(warnings, "warning"));
  return parts.join(", ") || "No mistakes found";
}

/** Announces what was found once typing rests, if it differs from what was announced last. */
function announceFindings(): void {
  let timer: ReturnType<typeof setTimeout> | undefined;
  let last: string | null = null;
  effect(() => {
    const { text, explanation } = explained.value ?? {};
    clearTimeout(timer);
    if (!explanation || text !== payloadText.value) return;
    const found = explanation.unusable
      ? `The payload is not usable: ${explanation.unusable.text}`
      : headline(explanation);
    // What the page begins with is not news.
    last ??= found;
    timer = setTimeout(() => {
      if (found === last) return;
      last = found;
      announce(found);
    }, rest);
  });
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
  announceFindings();
  effect(() => {
    payloadText.value;
    closeAboutPayload();
  });
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

/** How often a correction has led to each editor. */
export const focusCounts = signal({ payload: 0, addInfo: 0 });

function focusEditor(editor: "payload" | "addInfo"): void {
  focusCounts.value = { ...focusCounts.value, [editor]: focusCounts.value[editor] + 1 };
}

/** Applies one correction, or all that are certain, and moves on to the editor that it is about. */
export async function applyFix(finding?: number): Promise<void> {
  const text = payloadText.value;
  const findings = explained.value?.explanation.findings ?? [];
  const isInAddInfo = finding !== undefined && findings[finding]?.inAddInfo;
  await attempt(async () => {
    const fixed = await api.fix(text, schemes.value, finding);
    // What was typed meanwhile has precedence.
    if (payloadText.value !== text) return;
    batch(() => {
      setPayload(fixed);
      corrections = [{ before: text, after: payloadText.value }, ...corrections].slice(0, mostCorrections);
      focusEditor(isInAddInfo && addInfo.value ? "addInfo" : "payload");
    });
  }, "payload");
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
