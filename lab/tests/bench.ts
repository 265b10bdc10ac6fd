// Measures the page in Chromium, for bench/lab/run: medians over rounds, as lines "NAME VALUE" in the file LAB_FIGURES.
import { appendFile } from "node:fs/promises";
import { expect, test } from "./fixtures";
import { LabPage } from "./lab_page";

const rounds = Number(process.env.LAB_ROUNDS ?? 9);

const median = (values: number[]) => [...values].sort((one, other) => one - other)[values.length >> 1] ?? Number.NaN;

async function note(name: string, value: number): Promise<void> {
  const { LAB_FIGURES } = process.env;
  if (LAB_FIGURES) await appendFile(LAB_FIGURES, `${name} ${value.toFixed(2)}\n`);
}

/** When the frame is drawn in which the selector first finds something, or no longer does, in milliseconds since 1970. */
async function drawnAfter({ page }: LabPage, selector: string, act: () => Promise<unknown>): Promise<number> {
  await page.evaluate((wanted) => {
    const isFound = () => document.querySelector(wanted) !== null;
    const was = isFound();
    window.drawn = new Promise((resolve) => {
      const observer = new MutationObserver(() => {
        if (isFound() === was) return;
        observer.disconnect();
        // An intersection is computed as the frame is laid out, and the next task runs once it is drawn.
        const whenDrawn = () => setTimeout(() => resolve(performance.timeOrigin + performance.now()));
        new IntersectionObserver(whenDrawn).observe(document.querySelector(wanted) ?? document.body);
      });
      observer.observe(document.body, { subtree: true, childList: true, characterData: true });
    });
    const note = ({ timeStamp }: Event) => {
      window.pressed = performance.timeOrigin + timeStamp;
    };
    document.addEventListener("keydown", note, { once: true, capture: true });
  }, selector);
  await act();
  return page.evaluate(() => window.drawn);
}

declare global {
  interface Window {
    drawn: Promise<number>;
    pressed: number;
    frameTimes: number[];
  }
}

test.describe.configure({ mode: "serial" });

test("first paint", async ({ browser, lab }) => {
  const times: number[] = [];
  for (let round = 0; round < rounds; ++round) {
    const context = await browser.newContext();
    const { page } = await LabPage.open(context, lab.address);
    times.push(
      await page.evaluate(() => performance.getEntriesByName("first-contentful-paint")[0]?.startTime ?? Number.NaN),
    );
    await context.close();
  }
  await note("first_paint_ms", median(times));
});

test("key press to findings, 4 KiB", async ({ labPage }) => {
  const text = JSON.stringify({ aps: { alert: "x".repeat(3900) }, addInfo: JSON.stringify({ pellionPnID: 41 }) });
  await labPage.write(labPage.payload, text.replace('"addInfo"', '\n"addInfo"'));
  await expect(labPage.page.getByRole("heading", { name: "No mistakes found" })).toBeVisible();
  await labPage.page.keyboard.press("Home");
  await labPage.page.keyboard.press("ArrowRight");
  const times: number[] = [];
  for (let round = 0; round < rounds; ++round) {
    for (const key of ["x", "Backspace"]) {
      const drawn = await drawnAfter(labPage, ".finding", () => labPage.page.keyboard.press(key));
      times.push(drawn - (await labPage.page.evaluate(() => window.pressed)));
    }
  }
  await note("key_to_findings_ms", median(times));
});

test("event to its line", async ({ lab, labPage }) => {
  const { page } = labPage;
  const events = page.waitForRequest(/\/events$/);
  await page.reload();
  const actions = (await events).url().replace(/events$/, "actions");
  await labPage.power("Open").click();
  const times: number[] = [];
  for (let round = 0; round < rounds; ++round) {
    await labPage.whenReady();
    // "10 of 25": so many lines of so many events.
    const next = Number.parseInt(await labPage.lineCount.innerText(), 10);
    let sent = 0;
    const act = async () => {
      const data = { do: "step", step: { goal: "shop_purchase" } };
      sent = performance.timeOrigin + performance.now();
      // Not by the page, so that the time is that of the event and not of a click.
      await page.request.post(actions, { data, headers: { Origin: lab.origin } });
    };
    times.push((await drawnAfter(labPage, `.event[data-index="${next}"]`, act)) - sent);
  }
  await note("event_to_line_ms", median(times));
});

test("scrolling through 10,000 lines", async ({ labPage }) => {
  test.setTimeout(180_000);
  const { page } = labPage;
  const sale = { payload: { aps: { alert: "Sale" } }, addInfo: { pellionPnID: 41 } };
  const steps = ["launch", ...Array.from({ length: 1500 }, () => ({ deliver: "sale" }))];
  await labPage.show("Scenario");
  await page.locator("input[type=file]").setInputFiles({
    name: "long.json",
    mimeType: "application/json",
    buffer: Buffer.from(JSON.stringify({ name: "Long", notifications: { sale }, steps })),
  });
  await labPage.button("Run the rest").click();
  await expect(page.getByText("The scenario passed.")).toBeVisible({ timeout: 120_000 });
  await labPage.whenReady();
  for (const chip of await page.getByRole("group", { name: "Actors shown" }).getByRole("button").all()) {
    if ((await chip.getAttribute("aria-pressed")) === "false") await chip.click();
  }
  expect(Number.parseInt(await labPage.lineCount.innerText(), 10)).toBeGreaterThanOrEqual(10_000);
  const shares: number[][] = [];
  for (let round = 0; round < Math.min(rounds, 5); ++round) {
    const frames = await scroll(labPage, round % 2 === 0 ? 30_000 : -30_000);
    const within = (most: number) => (100 * frames.filter((frame) => frame <= most).length) / frames.length;
    shares.push([within(17), within(34), Math.max(...frames)]);
  }
  const [within17 = [], within34 = [], longest = []] = [0, 1, 2].map((column) => shares.map((row) => row[column] ?? 0));
  await note("scroll_frames_within_17_ms_percent", median(within17));
  await note("scroll_frames_within_34_ms_percent", median(within34));
  await note("scroll_longest_frame_ms", median(longest));
});

/** The intervals of the frames while the timeline scrolls as by a wheel, for so many pixels. */
async function scroll({ page, timeline }: LabPage, distance: number): Promise<number[]> {
  const box = await timeline.boundingBox();
  if (!box) throw new Error("The timeline is not drawn.");
  await page.evaluate(() => {
    window.frameTimes = [];
    const look = (time: number) => {
      window.frameTimes.push(time);
      requestAnimationFrame(look);
    };
    requestAnimationFrame(look);
  });
  const start = await timeline.evaluate(({ scrollTop }) => scrollTop);
  const session = await page.context().newCDPSession(page);
  await session.send("Input.synthesizeScrollGesture", {
    x: box.x + box.width / 2,
    y: box.y + box.height / 2,
    yDistance: distance,
    speed: 6000,
    gestureSourceType: "mouse",
    preventFling: true,
  });
  await session.detach();
  const end = await timeline.evaluate(({ scrollTop }) => scrollTop);
  expect(start - end).toBeCloseTo(distance, -3);
  const times = await page.evaluate(() => window.frameTimes.splice(0));
  return times.slice(1).map((time, index) => time - (times[index] ?? time));
}
