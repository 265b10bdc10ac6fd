// JSON with comments and a comma after the last entry, as scenarios permit.

/** The text without its comments, places unchanged. */
function withoutComments(text: string): string {
  return text.replace(/"(?:[^"\\\n]|\\.)*"|\/\/[^\n]*|\/\*[\s\S]*?\*\//g, (part) =>
    part.startsWith('"') ? part : part.replace(/[^\n]/g, " "),
  );
}

function withoutLastCommas(text: string): string {
  return text.replace(/"(?:[^"\\\n]|\\.)*"|,(?=\s*[}\]])/g, (part) => (part === "," ? " " : part));
}

/** Throws SyntaxError. */
export function parseJsonc(text: string): unknown {
  return JSON.parse(withoutLastCommas(withoutComments(text)));
}

export type JsonObject = { [name: string]: unknown };

export const isObject = (value: unknown): value is JsonObject =>
  typeof value === "object" && value !== null && !Array.isArray(value);
