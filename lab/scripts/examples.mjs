// The modules "examples:payloads" and "examples:scenarios": the project's example files as texts by name.
import { readdir, readFile } from "node:fs/promises";
import { basename, join } from "node:path";

const mostBytes = 8 * 1024;

/** The texts of the JSON files in the folder. A file that is long or not UTF-8 is of no use in the page's editor. */
async function textsIn(folder) {
  const texts = [];
  for (const file of (await readdir(folder)).sort()) {
    if (!file.endsWith(".json")) continue;
    const bytes = await readFile(join(folder, file));
    if (bytes.length > mostBytes) continue;
    try {
      const text = new TextDecoder("utf-8", { fatal: true }).decode(bytes);
      texts.push({ name: basename(file, ".json"), text });
    } catch {
      // Not UTF-8.
    }
  }
  return texts;
}

/** The page has no folder that a scenario could read a payload or a configuration from. */
const namesNoFile = ({ text }) => !/"(payload|configuration)"\s*:\s*"/.test(text);

export function examples(folder) {
  const modules = {
    payloads: async () => ({
      good: await textsIn(join(folder, "payloads")),
      broken: await textsIn(join(folder, "payloads/broken")),
    }),
    scenarios: async () => (await textsIn(join(folder, "scenarios"))).filter(namesNoFile),
  };
  return {
    name: "examples",
    setup(build) {
      build.onResolve({ filter: /^examples:/ }, ({ path }) => ({ path: path.slice(9), namespace: "examples" }));
      build.onLoad({ filter: /.*/, namespace: "examples" }, async ({ path }) => ({
        contents: JSON.stringify(await modules[path]()),
        loader: "json",
        watchDirs: [join(folder, "payloads"), join(folder, "payloads/broken"), join(folder, "scenarios")],
      }));
    },
  };
}
