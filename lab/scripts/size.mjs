// Fails if the page is larger than it may be, compressed.
import { readdir, readFile } from "node:fs/promises";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";

const mostBytes = 400 * 1024;
const dist = join(dirname(fileURLToPath(import.meta.url)), "../dist");

let total = 0;
for (const file of (await readdir(dist)).sort()) {
  // The build of pellion puts compressed copies beside them.
  if (file.endsWith(".gz")) continue;
  const { length } = gzipSync(await readFile(join(dist, file)), { level: 9 });
  console.log(`${file}: ${(length / 1024).toFixed(1)} KiB compressed`);
  total += length;
}
console.log(`all: ${(total / 1024).toFixed(1)} KiB of ${mostBytes / 1024} KiB compressed`);
if (total > mostBytes) {
  console.error("The page is too large. Leave out a package, or load less of it.");
  process.exit(1);
}
