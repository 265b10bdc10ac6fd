// Bundles the page into dist/. With --watch it builds again after each change of a source.
import { copyFile, mkdir } from "node:fs/promises";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { context } from "esbuild";
import { examples } from "./examples.mjs";

const lab = join(dirname(fileURLToPath(import.meta.url)), "..");
const dist = join(lab, "dist");

const copies = {
  name: "copies",
  setup(build) {
    build.onEnd(async () => {
      for (const file of ["index.html", "icon.svg"]) await copyFile(join(lab, "src", file), join(dist, file));
    });
  },
};

await mkdir(dist, { recursive: true });
const bundle = await context({
  absWorkingDir: lab,
  entryPoints: { lab: "src/main.tsx" },
  outdir: dist,
  bundle: true,
  minify: true,
  format: "esm",
  target: ["es2022", "chrome123", "firefox120", "safari17.5"],
  legalComments: "none",
  logLevel: "warning",
  plugins: [examples(join(lab, "../examples")), copies],
});

if (process.argv.includes("--watch")) {
  await bundle.watch();
} else {
  const { warnings } = await bundle.rebuild();
  await bundle.dispose();
  if (warnings.length > 0) process.exit(1);
}
