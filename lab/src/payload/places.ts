// Places as the server counts them (lines and code points, from 1) and as the browser does (offsets in UTF-16 units).
import type { Place } from "../generated/protocol";

export function offsetOf(text: string, { line, column }: Place): number {
  let offset = 0;
  for (let passed = 1; passed < line; passed += 1) {
    const end = text.indexOf("\n", offset);
    if (end < 0) return text.length;
    offset = end + 1;
  }
  for (let passed = 1; passed < column && offset < text.length && text[offset] !== "\n"; passed += 1) {
    offset += (text.codePointAt(offset) ?? 0) > 0xffff ? 2 : 1;
  }
  return offset;
}
