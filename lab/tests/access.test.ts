// Who reaches the lab, and who does not.
import { createServer, request as send } from "node:http";
import type { AddressInfo } from "node:net";
import { expect, test } from "./fixtures";
import type { LabServer } from "./lab_server";

interface Try {
  method?: string;
  path?: string;
  headers?: Record<string, string>;
  hasCookie?: boolean;
}

async function cookieOf(lab: LabServer): Promise<string> {
  const answer = await fetch(lab.address, { redirect: "manual" });
  return answer.headers.get("set-cookie")?.split(";")[0] ?? "";
}

async function statusOf(lab: LabServer, { method = "GET", path = "/", headers = {}, hasCookie = true }: Try) {
  const cookie: Record<string, string> = hasCookie ? { Cookie: await cookieOf(lab) } : {};
  return new Promise<number>((resolve, reject) => {
    const request = send(lab.origin + path, { method, headers: { ...cookie, ...headers } }, (response) => {
      response.resume();
      resolve(response.statusCode ?? 0);
    });
    request.on("error", reject);
    request.end(method === "POST" ? "{}" : undefined);
  });
}

const json = { "Content-Type": "application/json" };

test("requests are refused by cookie, Host, Origin and type", async ({ lab }) => {
  const own = { ...json, Origin: lab.origin };
  const post = { method: "POST", path: "/api/phones" };
  const cases: [name: string, attempt: Try, status: number][] = [
    ["the page", {}, 200],
    ["without the cookie", { hasCookie: false }, 403],
    ["with a wrong token", { path: "/?token=0123", hasCookie: false }, 403],
    ["a rebound name", { headers: { Host: `rebound.example:${lab.port}` } }, 421],
    ["another port's name", { headers: { Host: "127.0.0.1:1" } }, 421],
    ["a new phone", { ...post, headers: own }, 201],
    ["a new phone, without the cookie", { ...post, headers: own, hasCookie: false }, 403],
    ["a new phone from another origin", { ...post, headers: { ...own, Origin: "http://rebound.example" } }, 403],
    ["a new phone from a local file", { ...post, headers: { ...own, Origin: "null" } }, 403],
    ["a new phone without Origin", { ...post, headers: json }, 403],
    ["a new phone as a form", { ...post, headers: { ...own, "Content-Type": "text/plain" } }, 415],
  ];
  const results = [];
  for (const [name, attempt] of cases) results.push([name, await statusOf(lab, attempt)]);
  expect(results).toEqual(cases.map(([name, , status]) => [name, status]));
});

test.describe("in a browser", () => {
  test.use({
    tolerated: /status of 403|CORS policy|ERR_FAILED|ERR_BLOCKED|Request to|[Ff]ram/,
  });

  test("a browser without the cookie sees what to do", async ({ page, lab }) => {
    await page.goto(lab.origin);
    await expect(page.getByRole("heading", { name: "This page needs its token" })).toBeVisible();
  });

  test("another page of this machine does nothing to the phones", async ({ context, lab, labPage }) => {
    const foreign = createServer((_, response) => {
      response.setHeader("Content-Type", "text/html").end("<title>Foreign</title>");
    });
    await new Promise<void>((resolve) => foreign.listen(0, "127.0.0.1", resolve));
    const page = await context.newPage();
    await page.goto(`http://127.0.0.1:${(foreign.address() as AddressInfo).port}`);
    const statuses: number[] = [];
    page.on("response", (response) => statuses.push(response.status()));
    const outcomes = await page.evaluate(async (origin) => {
      const attempt = (init: RequestInit) =>
        fetch(`${origin}/api/phones`, { method: "POST", body: "{}", credentials: "include", ...init }).then(
          (answer) => answer.type,
          () => "failed",
        );
      const frame = document.createElement("iframe");
      frame.src = origin;
      const isFramed = new Promise((resolve) => {
        frame.onload = () => resolve(frame.contentDocument === null);
      });
      document.body.append(frame);
      await isFramed;
      return [
        await attempt({ mode: "no-cors", headers: { "Content-Type": "text/plain" } }),
        await attempt({ headers: { "Content-Type": "application/json" } }),
        await attempt({}),
      ];
    }, lab.origin);
    expect(outcomes).toEqual(["failed", "failed", "failed"]);
    expect(statuses.filter((status) => status !== 403 && status !== 200)).toEqual([]);
    expect(page.frames().filter((frame) => frame.url().startsWith(lab.origin))).toEqual([]);
    await labPage.power("Open").click();
    await labPage.expectEvents(/launches/);
    foreign.close();
  });
});

test.describe("a full lab", () => {
  test.use({ tolerated: /status of 4\d\d|status of 503/ });

  test("the 33rd phone is refused with a clear message", async ({ context, lab }) => {
    const headers = { ...json, Origin: lab.origin, Cookie: await cookieOf(lab) };
    for (let phones = 0; phones < 32; ++phones) {
      const answer = await fetch(`${lab.origin}/api/phones`, { method: "POST", headers, body: "{}" });
      expect(answer.status).toBe(201);
    }
    const page = await context.newPage();
    await page.goto(lab.address);
    await expect(page.getByRole("alert")).toHaveText(/^there are 32 phones; [^.]*Try again$/);
    await expect(page.getByText("starting")).toHaveCount(0);
  });
});
