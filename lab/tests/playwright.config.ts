import { defineConfig } from "@playwright/test";

const isRoot = process.getuid?.() === 0;

export default defineConfig({
  testDir: ".",
  // `npm test`, `npm run pictures`, bench/lab/run
  projects: [
    { name: "tests", testMatch: "*.test.ts" },
    { name: "pictures", testMatch: "pictures.ts" },
    { name: "bench", testMatch: "bench.ts" },
  ],
  outputDir: "../test-results",
  workers: 2,
  fullyParallel: true,
  forbidOnly: true,
  retries: 0,
  timeout: 60_000,
  expect: { timeout: 10_000 },
  reporter: "line",
  use: {
    browserName: "chromium",
    trace: "off",
    viewport: { width: 1440, height: 900 },
    // Playwright downloads no browser: the system's Chromium is tested.
    launchOptions: { executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", chromiumSandbox: !isRoot },
  },
});
