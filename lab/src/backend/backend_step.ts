// The form of the backend, and the step "backend" that it becomes.
import type { Backend } from "../generated/scenario";

export interface BackendForm {
  connection: string;
  status: string;
  body: string;
  delay: string;
  times: string;
  sends: string;
  afterwards: string;
  endless: string;
  pace: string;
}

export const usualForm: BackendForm = {
  connection: "accepted",
  status: "200",
  body: "",
  delay: "",
  times: "",
  sends: "everything",
  afterwards: "closes",
  endless: "no",
  pace: "",
};

type BackendObject = Exclude<Backend, number>;

interface NumberRule {
  name: "status" | "delay" | "times" | "pace";
  words: string;
  least: number;
  most: number;
  isWhole: boolean;
}

const numbers: NumberRule[] = [
  { name: "status", words: "The status", least: 200, most: 599, isWhole: true },
  { name: "delay", words: "The delay in milliseconds", least: 0, most: 60_000, isWhole: true },
  { name: "times", words: "The number of times", least: 1, most: 1000, isWhole: true },
  { name: "pace", words: "The pace in seconds", least: 0, most: 316_224_000, isWhole: false },
];

function problemOf({ words, least, most, isWhole }: NumberRule, text: string): string | null {
  if (text.trim() === "") return null;
  const value = Number(text);
  const isFitting = isWhole ? Number.isInteger(value) : Number.isFinite(value);
  if (isFitting && value >= least && value <= most) return null;
  return `${words} is ${isWhole ? "a whole number" : "a number"} from ${least} to ${most}.`;
}

/** What is wrong with the form; null if it can become a step. */
export function formProblem(form: BackendForm): string | null {
  if (form.connection !== "accepted") return null;
  return numbers.map((rule) => problemOf(rule, form[rule.name])).find((problem) => problem !== null) ?? null;
}

/** Entries that would say the usual are left out; those that contradict another entry are never written. */
export function backendOf(form: BackendForm): BackendObject {
  if (form.connection !== "accepted") return { connection: form.connection as "refused" | "closed" };
  const backend: BackendObject = {};
  for (const { name } of numbers) {
    if (form[name].trim() !== "") backend[name] = Number(form[name]);
  }
  if (backend.status === 200) delete backend.status;
  if (form.body !== "") backend.body = form.body as unknown as NonNullable<BackendObject["body"]>;
  if (form.endless !== "no") {
    backend.endless = form.endless as "headers" | "body";
  } else if (form.sends !== "everything" || form.afterwards !== "closes") {
    if (form.sends !== "everything") backend.sends = form.sends as NonNullable<BackendObject["sends"]>;
    // biome-ignore lint/suspicious/noThenProperty: the entry of the step has this name
    if (form.afterwards !== "closes") backend.then = form.afterwards as NonNullable<BackendObject["then"]>;
  }
  return backend;
}

export const presets: { name: string; form: Partial<BackendForm> }[] = [
  { name: "503, once", form: { status: "503", body: '{"status":"error"}', times: "1" } },
  { name: "2 s slow", form: { delay: "2000" } },
  { name: "breaks off", form: { sends: "half the body", afterwards: "resets", times: "1" } },
  { name: "stays silent", form: { sends: "nothing", afterwards: "waits" } },
  { name: "refuses", form: { connection: "refused" } },
];
