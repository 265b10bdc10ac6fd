// JSON text as a list of tokens, also where it is no JSON. What lies between two tokens is white space alone, so two
// texts that differ in white space alone have the same tokens, and a place in one has its place in the other.

export interface Token {
  start: number;
  end: number;
}

const tokenPattern = /"(?:[^"\\]|\\[\s\S])*"?|[{}[\]:,]|[^\s{}[\]:,"]+/g;

export function tokensOf(text: string): Token[] {
  const tokens: Token[] = [];
  for (const match of text.matchAll(tokenPattern))
    tokens.push({ start: match.index, end: match.index + match[0].length });
  return tokens;
}

/** The index of the token at the offset, or of the last one before it; -1 for none. */
export function tokenAt(tokens: Token[], offset: number): number {
  let low = 0;
  let high = tokens.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if ((tokens[middle]?.start ?? 0) <= offset) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

/** How deep lists and objects nest at most. */
export function depthOf(text: string): number {
  let depth = 0;
  let deepest = 0;
  for (const { start } of tokensOf(text)) {
    const first = text[start];
    if (first === "{" || first === "[") depth += 1;
    else if (first === "}" || first === "]") depth -= 1;
    deepest = Math.max(deepest, depth);
  }
  return deepest;
}

const isWord = (part: string | undefined) => part !== undefined && !/^[{}[\]:,]$/.test(part);

/** Without the white space that means nothing. Numbers and escapes stay as they are written. */
export function compact(text: string): string {
  let result = "";
  let last: string | undefined;
  for (const { start, end } of tokensOf(text)) {
    const part = text.slice(start, end);
    result += isWord(last) && isWord(part) ? ` ${part}` : part;
    last = part;
  }
  return result;
}

const deepestPretty = 32;
const longestPretty = 64 * 1024;

/** One entry a line. A text that is no JSON, or that is long or deep, stays as it is. */
export function pretty(text: string): string {
  if (text.length > longestPretty || depthOf(text) > deepestPretty) return text;
  try {
    JSON.parse(text);
  } catch {
    return text;
  }
  return indented(text);
}

function indented(text: string): string {
  let result = "";
  let depth = 0;
  const parts = tokensOf(text).map(({ start, end }) => text.slice(start, end));
  const newLine = () => `\n${"  ".repeat(depth)}`;
  parts.forEach((part, index) => {
    const previous = parts[index - 1];
    if (part === "}" || part === "]") {
      depth -= 1;
      result += previous === "{" || previous === "[" ? part : newLine() + part;
      return;
    }
    if (previous === "{" || previous === "[" || previous === ",") result += newLine();
    result += part === ":" ? ": " : part;
    if (part === "{" || part === "[") depth += 1;
  });
  return result;
}
