// What every test of the page has: a lab of its own, and a watch over what a page must never do.
import { type BrowserContext, test as base, type ConsoleMessage, expect } from "@playwright/test";
import { LabPage } from "./lab_page";
import { LabServer } from "./lab_server";

interface Fixtures {
  lab: LabServer;
  /** The page of a phone that has started. */
  labPage: LabPage;
  /** Messages of the console that the test provokes. */
  tolerated: RegExp;
}

/** Collects errors of scripts, messages of the console, violations of the content security policy and foreign requests. */
async function watch(context: BrowserContext, origin: string): Promise<string[]> {
  const faults: string[] = [];
  await context.addInitScript(() => {
    document.addEventListener("securitypolicyviolation", ({ violatedDirective, blockedURI }) => {
      console.error(`Content security policy: ${violatedDirective} ${blockedURI}`);
    });
  });
  context.on("console", (message: ConsoleMessage) => {
    if (["error", "warning"].includes(message.type())) faults.push(message.text());
  });
  context.on("weberror", (error) => faults.push(error.error().message));
  context.on("request", (request) => {
    const { protocol, origin: target } = new URL(request.url());
    if (protocol.startsWith("http") && target !== origin) faults.push(`Request to ${request.url()}`);
  });
  return faults;
}

export const test = base.extend<Fixtures>({
  tolerated: [/(?!)/, { option: true }],
  // biome-ignore lint/correctness/noEmptyPattern: Playwright reads the names of the fixtures from the pattern
  lab: async ({}, use) => {
    const server = await LabServer.start();
    await use(server);
    await server.stop();
  },
  context: async ({ context, lab, tolerated }, use) => {
    const faults = await watch(context, lab.origin);
    await use(context);
    const unexpected = faults.filter((fault) => !tolerated.test(fault));
    expect(unexpected, "what the browser reports").toEqual([]);
  },
  labPage: async ({ context, lab }, use) => {
    await use(await LabPage.open(context, lab.address));
  },
});

export { expect };
