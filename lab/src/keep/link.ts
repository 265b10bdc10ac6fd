// A link that carries the payload and the head of a scenario. They are in the fragment, which browsers send to no server.
import { defaultHead, parseHead, write } from "../state/head";
import { isObject, type JsonObject } from "../state/jsonc";

export interface Shared {
  payload: string;
  head: JsonObject;
  /** The secrets that the link does not carry. */
  withheld: string[];
}

export class LinkError extends Error {}

const secrets = ["BEARER_TOKEN", "JWT_SECRET"];
const prefix = "#lab=";

function toBase64(text: string): string {
  const bytes = new TextEncoder().encode(text);
  let binary = "";
  for (const byte of bytes) binary += String.fromCharCode(byte);
  return btoa(binary).replaceAll("+", "-").replaceAll("/", "_").replace(/=+$/, "");
}

function fromBase64(text: string): string {
  const binary = atob(text.replaceAll("-", "+").replaceAll("_", "/"));
  const bytes = Uint8Array.from(binary, (character) => character.charCodeAt(0));
  return new TextDecoder("utf-8", { fatal: true }).decode(bytes);
}

/** Throws as parseHead. */
export function fragmentOf(payload: string, headText: string): { fragment: string; withheld: string[] } {
  const head = parseHead(headText);
  const configuration = isObject(head.configuration) ? { ...head.configuration } : null;
  const withheld = secrets.filter((name) => typeof configuration?.[name] === "string");
  for (const name of withheld) delete configuration?.[name];
  const shared: Shared = { payload, head: configuration ? { ...head, configuration } : head, withheld };
  return { fragment: prefix + toBase64(JSON.stringify(shared)), withheld };
}

function parsed(encoded: string): unknown {
  try {
    return JSON.parse(fromBase64(encoded));
  } catch {
    throw new LinkError("The link is damaged: what follows # is not complete. Copy the whole link once more.");
  }
}

/** Null if the fragment is none of these. Throws LinkError. */
export function readFragment(fragment: string): Shared | null {
  if (fragment === "" || fragment === "#") return null;
  if (!fragment.startsWith(prefix)) {
    throw new LinkError("The lab does not know what follows # in this address. Copy the link once more.");
  }
  const value = parsed(fragment.slice(prefix.length));
  if (!isObject(value) || typeof value.payload !== "string" || !isObject(value.head)) {
    throw new LinkError("The link carries no payload and no application. Copy it once more.");
  }
  const withheld = Array.isArray(value.withheld)
    ? secrets.filter((name) => (value.withheld as unknown[]).includes(name))
    : [];
  return { payload: value.payload, head: value.head, withheld };
}

/** The head, with the page's example values in place of the secrets that the link does not carry. */
export function completedHead({ head, withheld }: Shared): string {
  const examples = parseHead(defaultHead).configuration;
  if (withheld.length === 0 || !isObject(head.configuration) || !isObject(examples)) return write(head);
  const replaced = Object.fromEntries(withheld.map((name) => [name, examples[name]]));
  return write({ ...head, configuration: { ...head.configuration, ...replaced } });
}
