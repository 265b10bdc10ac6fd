// Where the findings are underlined: in the payload, and in addInfo as its own editor shows it.
import type { Explanation, Finding } from "../generated/protocol";
import type { AddInfo } from "./add_info";
import { type Token, tokenAt, tokensOf } from "./json_tokens";
import { offsetOf } from "./places";

export interface Mark {
  from: number;
  to: number;
  level: "error" | "warning";
  text: string;
}

/**
 * From the offset to the end of the token that it is in, without the quote of a string that it is inside; at least one
 * character, if there is one.
 */
function reach(text: string, tokens: Token[], offset: number): { from: number; to: number } {
  const from = Math.min(offset, Math.max(text.length - 1, 0));
  const token = tokens[tokenAt(tokens, from)];
  // A line break cannot be underlined; the token before it can.
  if (token && token.end <= from && text[from] === "\n") return { from: token.start, to: token.end };
  const isInString = token !== undefined && token.start < from && text[token.start] === '"';
  const end = token === undefined ? from : isInString ? token.end - 1 : token.end;
  return { from, to: Math.min(Math.max(end, from + 1), text.length) };
}

const messageOf = ({ text, remedy }: Finding) => (remedy === "" ? text : `${text}; ${remedy}`);

export function payloadMarks(payload: string, { findings, unusable }: Explanation, addInfo: AddInfo | null): Mark[] {
  const tokens = tokensOf(payload);
  const inner = addInfo ? tokensOf(addInfo.text) : [];
  const marks = findings.map((finding): Mark => {
    const base = { level: finding.level, text: messageOf(finding) };
    if (finding.inAddInfo && addInfo) {
      const { from, to } = reach(addInfo.text, inner, offsetOf(addInfo.text, finding.inAddInfo));
      return { ...base, from: addInfo.places[from] ?? addInfo.from, to: addInfo.places[to] ?? addInfo.to };
    }
    return { ...base, ...reach(payload, tokens, offsetOf(payload, finding.place)) };
  });
  if (unusable?.place) {
    marks.push({ level: "error", text: unusable.text, ...reach(payload, tokens, offsetOf(payload, unusable.place)) });
  }
  return marks;
}

/** `shown` is addInfo's text as its editor has it: the same tokens with other white space between them. */
export function addInfoMarks(shown: string, { findings }: Explanation, addInfo: AddInfo | null): Mark[] {
  if (!addInfo) return [];
  const inner = tokensOf(addInfo.text);
  const outer = tokensOf(shown);
  const isSame = shown === addInfo.text;
  return findings.flatMap((finding): Mark[] => {
    if (!finding.inAddInfo) return [];
    const offset = offsetOf(addInfo.text, finding.inAddInfo);
    const index = tokenAt(inner, offset);
    const start = inner[index]?.start;
    const place = outer[index]?.start;
    const moved = isSame || start === undefined || place === undefined ? offset : place + offset - start;
    return [{ level: finding.level, text: messageOf(finding), ...reach(shown, outer, moved) }];
  });
}
