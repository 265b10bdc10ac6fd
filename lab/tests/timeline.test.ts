// The timeline: what is unfolded comes into view, and its filters take no room on a narrow screen.
import { expect, test } from "./fixtures";
import { sizes } from "./lab_page";

test.describe("in a low window", () => {
  test.use({ viewport: { width: 1440, height: 560 } });

  test("an unfolded row comes into view, keeps the focus, and stays as events arrive", async ({ labPage }) => {
    const { page, timeline } = labPage;
    await labPage.sell();
    await page.setViewportSize({ width: 1440, height: 520 });
    await expect(timeline.locator(".event").last()).toBeInViewport({ ratio: 0.99 });
    await page.setViewportSize({ width: 1440, height: 560 });
    const cases = [
      { row: timeline.locator(".event").last(), shown: ".event-details" },
      // Higher than the view: it begins at the top.
      { row: timeline.locator(".event", { hasText: "POST" }).last(), shown: ".event-head" },
    ];
    for (const { row, shown } of cases) {
      await labPage.button("Fold all").click();
      await timeline.evaluate((list) => list.scrollTo(0, list.scrollHeight));
      const head = row.getByRole("button");
      const id = await row.getAttribute("data-id");
      await head.focus();
      await page.keyboard.press("Enter");
      const unfolded = timeline.locator(`.event-open[data-id="${id}"]`);
      await expect(unfolded.locator(shown)).toBeInViewport({ ratio: 0.99 });
      await expect(unfolded.locator(".event-head")).toBeFocused();
      await labPage.letPass("+3 s: let 3 seconds pass").click();
      await labPage.whenReady();
      await expect(unfolded.locator(shown)).toBeInViewport({ ratio: 0.99 });
    }
  });
});

for (const { name, width, height } of sizes) {
  test.describe(name, () => {
    test.use({ viewport: { width, height } });

    test("the filters are reached by the keyboard", async ({ labPage }) => {
      const { page } = labPage;
      await labPage.sell();
      const search = page.getByRole("searchbox", { name: "Text in the events" });
      const filter = labPage.button(/^Filter/);
      if (name === "narrow") {
        await page.getByRole("navigation", { name: "Sections" }).getByRole("button", { name: "Timeline" }).click();
        await expect(search).toBeHidden();
        await filter.focus();
        await page.keyboard.press("Enter");
        await expect(filter).toHaveAttribute("aria-expanded", "true");
        await search.fill("device");
        await filter.press("Enter");
        await expect(search).toBeHidden();
        await expect(filter).toHaveText(/^Filter “device”/);
      } else {
        await expect(filter).toBeHidden();
        await search.fill("device");
      }
      await expect(labPage.lineCount).toHaveText(/^\d of \d+$/);
    });
  });
}
