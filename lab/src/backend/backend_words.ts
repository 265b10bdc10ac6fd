// What the step "backend" has set, in words.
import type { Backend } from "../generated/scenario";

type BackendObject = Exclude<Backend, number>;

const connections = { refused: "refuses connections", closed: "closes connections before it reads anything" };
const parts = {
  nothing: "nothing",
  "half the headers": "half of the header fields",
  headers: "the header fields alone",
  "half the body": "half of the body",
};
const endings = { closes: "closes the connection", resets: "resets the connection", waits: "stays silent" };

function answerOf({ raw, status, body, bytes, headers }: BackendObject): string {
  if (raw !== undefined) return "answers with a raw response";
  const own = [
    ...(body === undefined && bytes === undefined ? [] : ["a body of its own"]),
    ...(headers === undefined ? [] : ["header fields of its own"]),
  ];
  return [`answers with ${status ?? 200}`, ...own].join(" and ");
}

function mannersOf({ delay, sends, then, endless, pace }: BackendObject): string[] {
  const words: string[] = [];
  if (delay) words.push(`after ${delay} ms`);
  if (pace) words.push(`one byte each ${pace} s`);
  if (endless) words.push(`endless ${endless === "body" ? "body" : "header fields"}`);
  const part = sends === undefined ? undefined : parts[sends as keyof typeof parts];
  if (part !== undefined) words.push(`sends ${part}, then ${endings[then ?? "closes"]}`);
  else if (then !== undefined && then !== "closes") words.push(`then ${endings[then]}`);
  return words;
}

export function inWords(configured: object = {}): string {
  const backend = configured as BackendObject;
  if (Object.keys(backend).length === 0) return "it answers as usual, with 200";
  const { connection, times } = backend;
  if (connection !== undefined && connection !== "accepted") return `it ${connections[connection]}`;
  const words = [`it ${answerOf(backend)}`, ...mannersOf(backend)];
  if (times !== undefined) words.push(`for ${times} more ${times === 1 ? "request" : "requests"}`);
  return words.join(", ");
}
