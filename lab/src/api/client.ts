// The lab's server, over HTTP. Every function throws Failure, whose text is for the user to read.
import type { Action, ChosenFiles, ChosenScenario, Explanation, Fixed, NewPhone, Phone } from "../generated/protocol";

export class Failure extends Error {
  /** The HTTP status, or 0 without an answer. */
  readonly status: number;

  constructor(status: number, text: string) {
    super(text);
    this.status = status;
  }
}

export const noAnswer = "The lab's server does not answer. Check that pellion lab still runs.";
const noCookie = "The lab does not know this browser. Open the address that pellion lab prints.";

async function failureOf(answer: Response): Promise<Failure> {
  if (answer.status === 403) return new Failure(403, noCookie);
  try {
    const { error } = (await answer.json()) as { error?: unknown };
    if (typeof error === "string" && error !== "") return new Failure(answer.status, error);
  } catch {
    // The body is no JSON: some other program answers.
  }
  return new Failure(answer.status, `The lab's server answers with status ${answer.status}.`);
}

async function request(method: string, path: string, body?: unknown, signal?: AbortSignal): Promise<Response> {
  const init: RequestInit = { method, cache: "no-store" };
  if (signal) init.signal = signal;
  if (body !== undefined) {
    init.headers = { "Content-Type": "application/json" };
    init.body = JSON.stringify(body);
  }
  let answer: Response;
  try {
    answer = await fetch(path, init);
  } catch (error) {
    if (error instanceof DOMException && error.name === "AbortError") throw error;
    throw new Failure(0, noAnswer);
  }
  if (!answer.ok) throw await failureOf(answer);
  return answer;
}

const post = async <Result>(path: string, body: unknown, signal?: AbortSignal) =>
  (await (await request("POST", path, body, signal)).json()) as Result;

const pathOf = (phone: string) => `/api/phones/${encodeURIComponent(phone)}`;

/** The messages after that one; 0 for all that the server keeps. */
export const eventsPath = (phone: string, after: number) =>
  `${pathOf(phone)}/events${after > 0 ? `?after=${after}` : ""}`;

export const createPhone = async (opening: NewPhone) => (await post<Phone>("/api/phones", opening)).phone;

/** The scenario among files that were chosen together, texts by name, with the others in it. */
export const include = (files: ChosenFiles["files"]) => post<ChosenScenario>("/api/include", { files });

export async function perform(phone: string, action: Action): Promise<void> {
  await request("POST", `${pathOf(phone)}/actions`, action);
}

/** The session so far as a scenario document. */
export const keptScenario = async (phone: string) => (await request("GET", `${pathOf(phone)}/scenario`)).text();

/** A phone that has ended already is no failure. */
export async function endPhone(phone: string): Promise<void> {
  await request("DELETE", pathOf(phone)).catch(() => undefined);
}

/** Whether the server still has the phone. Throws Failure if it does not answer, or not to this browser. */
export async function isAlive(phone: string): Promise<boolean> {
  try {
    await request("GET", `${pathOf(phone)}/scenario`);
    return true;
  } catch (error) {
    if (error instanceof Failure && error.status === 404) return false;
    if (error instanceof Failure && error.status === 409) return true;
    throw error;
  }
}

export const explain = (payload: string, schemes: string[], signal: AbortSignal) =>
  post<Explanation>("/api/explain", { payload, schemes }, signal);

export async function fix(payload: string, schemes: string[], finding?: number): Promise<string> {
  const wanted = finding === undefined ? { payload, schemes } : { payload, schemes, finding };
  return (await post<Fixed>("/api/fix", wanted)).payload;
}
