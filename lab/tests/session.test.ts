// Sessions: kept, opened, reloaded, shared; and what the page says when its server is slow or gone.
import { execFile } from "node:child_process";
import { readFile } from "node:fs/promises";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";
import { expect, test } from "./fixtures";
import { LabPage } from "./lab_page";
import { LabServer, pellion } from "./lab_server";

const run = promisify(execFile);
const examples = fileURLToPath(new URL("../../examples", import.meta.url));

async function sellOnce(labPage: LabPage): Promise<void> {
  await labPage.openWithToken();
  await labPage.deliver.click();
  await labPage.cards.click();
  await labPage.expectCounts(1, 1, 0);
}

test("a kept session passes in pellion test, and without secrets in the timeline", async ({ labPage }, info) => {
  await sellOnce(labPage);
  await labPage.button("Unfold all").click();
  await expect(labPage.timeline).toContainText("Bearer ");
  for (const top of [0, 400, 800, 1200]) {
    await labPage.timeline.evaluate((list, to) => list.scrollTo(0, to), top);
    await expect(labPage.timeline).not.toContainText(/example-bearer-token|example-secret/);
  }
  await labPage.show("Scenario");
  await labPage.field("Name").fill("session.json");
  await expect(labPage.page.getByText("pellion test session.json", { exact: true })).toBeVisible();
  const waiting = labPage.page.waitForEvent("download");
  await labPage.button("Download scenario").click();
  const file = info.outputPath("session.json");
  await (await waiting).saveAs(file);
  const { stdout } = await run(pellion, ["test", file]);
  expect(stdout).toContain("1 passed, 0 failed");
  const { steps } = JSON.parse((await readFile(file, "utf8")).replace(/^\/\/.*$/gm, ""));
  expect(steps).toContainEqual({ respond: { to: "sale", with: "tap" } });
  expect(JSON.stringify(steps)).toContain('"status":5');
});

test("an opened scenario is stepped through, forwards", async ({ labPage }) => {
  const { page } = labPage;
  await labPage.show("Scenario");
  await labPage.field("Example").selectOption("a_day");
  await labPage.button("Open example").click();
  const tour = page.getByRole("navigation", { name: "First steps" }).locator("[aria-current=step]");
  await expect(tour).toHaveText(/Next step of the scenario$/);
  const steps = page.locator(".steps");
  const next = steps.locator("[aria-current=step]");
  await expect(next).toContainText("In the morning");
  for (const text of ["launch", "token", "expect"]) {
    await labPage.button("Next step").click();
    await expect(next).toContainText(text);
  }
  await labPage.button("Run the rest").click();
  await labPage.expectCounts(4, 3, 1);
  await expect(steps.getByText("waiting:")).toHaveCount(0);
  await expect(page.getByText("The scenario passed.")).toBeVisible();
  await labPage.expectEvents(/expectation ✓ 2 statistics entries, no pending entries/);
  const name = page.locator(".header-name");
  await expect(name).toHaveText("A day with notifications");
  await labPage.button("New phone").click();
  await expect(name).toHaveText("A session in the lab");
});

test.describe("a scenario that names files", () => {
  test.use({ tolerated: /status of 400/ });

  test("is opened together with them", async ({ labPage }) => {
    const { page } = labPage;
    await labPage.show("Scenario");
    const chooser = labPage.field("Or a file, together with those that it names");
    await chooser.setInputFiles(`${examples}/scenarios/short.json`);
    await expect(labPage.alert).toContainText("short.json:6:43: names the file ../payloads/sale.json");
    await chooser.setInputFiles([`${examples}/payloads/sale.json`, `${examples}/scenarios/short.json`]);
    await labPage.button("Run the rest").click();
    await expect(page.getByText("The scenario passed.")).toBeVisible();
    await expect(labPage.alert).toHaveCount(0);
  });
});

test("a reload keeps the session, and another tab is another phone", async ({ context, lab, labPage }) => {
  await sellOnce(labPage);
  await labPage.write(labPage.addInfo, '{"pellionPnID": 99}');
  const events = await labPage.lineCount.innerText();
  const other = await LabPage.open(context, lab.origin);
  await other.expectCounts(0, 0, 0);
  await expect(other.power("Close")).toBeDisabled();
  await labPage.page.reload();
  await labPage.whenReady();
  await labPage.expectCounts(1, 1, 0);
  await expect(labPage.lineCount).toHaveText(events);
  await expect(labPage.addInfo).toContainText("99");
  await labPage.deliver.click();
  await labPage.expectCounts(2, 1, 0);
  await other.expectCounts(0, 0, 0);
});

test.describe("a link", () => {
  test.use({ permissions: ["clipboard-read", "clipboard-write"] });

  test("carries payload and application, without secrets", async ({ browser, context, labPage }) => {
    await labPage.write(labPage.addInfo, '{"pellionPnID": 77}');
    await labPage.show("Scenario");
    await labPage.button("Copy link").click();
    await expect(
      labPage.page.getByText("Copied. It does not carry BEARER_TOKEN and JWT_SECRET.").first(),
    ).toBeVisible();
    const link = await labPage.page.evaluate(() => navigator.clipboard.readText());
    const fresh = await browser.newContext({ storageState: await context.storageState() });
    const opened = await LabPage.open(fresh, link);
    await expect(opened.addInfo).toContainText("77");
    await expect(opened.page.getByRole("status").filter({ hasText: "Example values" })).toBeVisible();
    expect(opened.page.url()).not.toContain("#");
    await fresh.close();
  });

  const damaged = [
    { fragment: "#lab=%%%", says: "The link is damaged" },
    { fragment: "#lab=e30", says: "carries no payload" },
    { fragment: "#other", says: "does not know what follows #" },
  ];
  test("that is damaged is refused, and the page goes on", async ({ context, lab, labPage }) => {
    expect(labPage.page.url()).toBe(`${lab.origin}/`);
    for (const { fragment, says } of damaged) {
      const { page } = await LabPage.open(context, `${lab.origin}/${fragment}`);
      await expect(page.getByRole("alert")).toContainText(says);
    }
  });
});

test("a conflict of two kits is seen in the drawing, and read in its text", async ({ labPage }) => {
  const { page } = labPage;
  const install = async (name: string, does: string) => {
    await labPage.field("Name").fill(name);
    await labPage.field("What it does").selectOption(does);
    await labPage.button("Install now").click();
  };
  await labPage.power("Open").click();
  await labPage.show("Application");
  await install("Ads", "replaces");
  const chain = page.getByRole("list", { name: /^Called in this order: The user's response/ }).getByRole("listitem");
  await expect(chain).toContainText(["Ads", "Module", "NotificationDelegate"]);
  await expect(page.getByText("Every participant is called.")).toBeVisible();
  await install("Crashes", "reassigns");
  await expect(page.getByText("Conflict: 2 callbacks do not reach everybody.")).toBeVisible();
  await expect(page.getByRole("tab", { name: "Application 2 conflicts" })).toBeVisible();
  const missing = page.getByRole("list", { name: "Conflict: not called" });
  await expect(missing).toHaveCount(2);
  await expect(missing.first().getByRole("listitem")).toContainText([/Ads.*is not called/]);
  await expect(chain).toContainText(["Module", "NotificationDelegate"]);
});

test.describe("the server", () => {
  test.use({ tolerated: /ERR_|status of 40\d/ });

  test("killed and started again, the page says what to do", async ({ context, labPage, lab }) => {
    await labPage.openWithToken();
    await labPage.button("New phone").click();
    await labPage.whenReady();
    await expect(labPage.button("Phone before")).toBeVisible();
    await labPage.power("Open").click();
    await labPage.whenReady();
    await lab.kill();
    await expect(labPage.alert).toContainText("The lab's server does not answer");
    await expect(labPage.deliver).toBeDisabled();
    const next = await LabServer.start(lab.port);
    try {
      await expect(labPage.alert).toContainText("open the address that pellion lab prints");
      await (await context.newPage()).goto(next.address);
      await labPage.button("Try again").click();
      await labPage.whenReady();
      await expect(labPage.alert).toHaveCount(0);
      await expect(labPage.button("Phone before")).toHaveCount(0);
      const hint = labPage.page.getByRole("status").filter({ hasText: "the session of this tab is lost" });
      await expect(hint).toBeVisible();
      await labPage.power("Open").click();
      await expect(hint).toHaveCount(0);
    } finally {
      await context.pages()[0]?.goto("about:blank");
      await next.stop();
    }
  });

  test("slow, an action is sent once", async ({ labPage }) => {
    const { page } = labPage;
    await labPage.power("Open").click();
    await labPage.whenReady();
    let release = () => {};
    const isReleased = new Promise<void>((resolve) => {
      release = resolve;
    });
    let sent = 0;
    await page.route("**/actions", async (route) => {
      sent += 1;
      await isReleased;
      await route.continue();
    });
    await labPage.deliver.dblclick();
    await expect(page.getByText("working", { exact: true })).toBeVisible();
    await expect(labPage.deliver).toBeDisabled();
    await labPage.deliver.click({ force: true });
    release();
    await labPage.expectCounts(1, 0, 0);
    await labPage.whenReady();
    expect(sent).toBe(1);
  });
});

test("while the backend is slow the phone is busy, and nothing is sent twice", async ({ labPage }) => {
  const { page } = labPage;
  await labPage.power("Open").click();
  await labPage.show("Backend");
  await labPage.button("2 s slow").click();
  await labPage.button("Answer like this").click();
  await expect(page.locator(".now")).toHaveText("Now: it answers with 200, after 2000 ms.");
  await labPage.whenReady();
  const handOver = labPage.button("Hand over");
  await handOver.click();
  await expect(page.getByText("working", { exact: true })).toBeVisible();
  await expect(handOver).toBeDisabled();
  await handOver.click({ force: true });
  const isRefused = page.getByRole("status").filter({ hasText: "Not delivered. The phone is still busy" });
  await page.keyboard.press("ControlOrMeta+Enter");
  await expect(isRefused).toBeVisible();
  await expect(handOver).toBeFocused();
  await labPage.expectEvents(/responds with 200/);
  await labPage.whenReady();
  await expect(isRefused).toHaveCount(0);
  await labPage.expectEvents(/POST .*\/device/, 1);
  await expect(labPage.cards).toHaveCount(0);
});

test("pressed in quick succession, controls do not flicker, and everything is done once and in order", async ({
  labPage,
}) => {
  const { page } = labPage;
  await labPage.power("Open").click();
  await labPage.whenReady();
  const looks = await page.evaluate(async () => {
    const buttons = [...document.querySelectorAll<HTMLElement>(".phone-controls button")];
    const disabled = () =>
      buttons.filter(({ ariaDisabled }) => ariaDisabled === "true").map((button) => button.innerText);
    const before = disabled();
    const presses = ["Hand over", "Hand over", "+3 s", "+3 s", "Report", "Report"];
    for (const text of presses) buttons.find((button) => button.textContent === text)?.click();
    await new Promise((resolve) => setTimeout(resolve));
    return { before, during: disabled() };
  });
  expect(looks.during).toEqual(looks.before);
  await labPage.whenReady();
  await labPage.show("Scenario");
  const steps = [/launch/, /activate/, /token/, /advance/, /advance/, /goal/];
  await expect(page.locator(".steps li")).toHaveText(steps);
});
