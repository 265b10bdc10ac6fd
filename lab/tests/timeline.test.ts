// The timeline: what is unfolded comes into view.
import { expect, test } from "./fixtures";

test.describe("in a low window", () => {
  test.use({ viewport: { width: 1440, height: 560 } });

  test("an unfolded row comes into view, keeps the focus, and stays as events arrive", async ({ labPage }) => {
    const { page, timeline } = labPage;
    await labPage.sell();
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
