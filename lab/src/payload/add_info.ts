// The JSON text that a payload's addInfo is: found in the payload's text, and written back there.
import { jsonLanguage } from "@codemirror/lang-json";
import type { SyntaxNode } from "@lezer/common";
import { depthOf } from "./json_tokens";

/** A payload beyond these is rejected anyway, and would take long to parse. */
const longestParsed = 256 * 1024;
const deepestParsed = 500;

export interface AddInfo {
  /** The place of the string, with its quotes, in the payload's text. */
  from: number;
  to: number;
  /** What the string says. */
  text: string;
  /** For each UTF-16 unit of `text`, and for its end, the place in the payload's text. */
  places: number[];
}

const simpleEscapes: Record<string, string> = {
  '"': '"',
  "\\": "\\",
  "/": "/",
  b: "\b",
  f: "\f",
  n: "\n",
  r: "\r",
  t: "\t",
};

/** Null for a text that is no JSON string. `literal` has its quotes; `from` is its place. */
function decoded(literal: string, from: number): Pick<AddInfo, "text" | "places"> | null {
  if (literal.length < 2 || !literal.endsWith('"')) return null;
  const places: number[] = [];
  let text = "";
  let at = 1;
  while (at < literal.length - 1) {
    places.push(from + at);
    if (literal[at] !== "\\") {
      text += literal[at];
      at += 1;
    } else if (literal[at + 1] === "u") {
      const digits = literal.slice(at + 2, at + 6);
      if (!/^[0-9a-fA-F]{4}$/.test(digits)) return null;
      text += String.fromCharCode(Number.parseInt(digits, 16));
      at += 6;
    } else {
      const character = simpleEscapes[literal[at + 1] ?? ""];
      if (character === undefined) return null;
      text += character;
      at += 2;
    }
  }
  places.push(from + literal.length - 1);
  return { text, places };
}

/** The value of the outermost object's property, or null. */
function propertyValue(name: string, payload: string): SyntaxNode | null {
  const object = jsonLanguage.parser.parse(payload).topNode.getChild("Object");
  for (const property of object?.getChildren("Property") ?? []) {
    const key = property.getChild("PropertyName");
    if (key && payload.slice(key.from, key.to) === JSON.stringify(name)) return property.lastChild;
  }
  return null;
}

/** Null if the payload has no addInfo that is text. */
export function findAddInfo(payload: string): AddInfo | null {
  if (payload.length > longestParsed || depthOf(payload) > deepestParsed) return null;
  const value = propertyValue("addInfo", payload);
  if (value?.name !== "String") return null;
  const content = decoded(payload.slice(value.from, value.to), value.from);
  return content && { from: value.from, to: value.to, ...content };
}

/** The payload with another text as addInfo; everything else stays as it is written. */
export function withAddInfo(payload: string, text: string): string {
  const place = findAddInfo(payload);
  if (!place) return payload;
  return payload.slice(0, place.from) + JSON.stringify(text) + payload.slice(place.to);
}
