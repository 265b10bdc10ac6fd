// Takes the pictures of docs/lab.md: `npm run pictures`.
import { mkdir } from "node:fs/promises";
import { fileURLToPath } from "node:url";
import { expect, test } from "./fixtures";
import { sizes } from "./lab_page";

const folder = fileURLToPath(new URL("../../docs/images/lab", import.meta.url));
const file = (name: string) => ({ path: `${folder}/${name}.png`, animations: "disabled", caret: "hide" }) as const;

test.beforeAll(() => mkdir(folder, { recursive: true }));

for (const { name, width, height } of sizes) {
  for (const colorScheme of ["light", "dark"] as const) {
    test.describe(() => {
      test.use({ viewport: { width, height }, colorScheme });

      test(`${name}, ${colorScheme}`, async ({ labPage }) => {
        const { page } = labPage;
        await labPage.sell();
        if (name !== "narrow") {
          await labPage.field("Example").selectOption("button_without_action");
          await expect(labPage.underlined(labPage.addInfo)).toHaveCount(1);
          await labPage.event(/POST/).last().click();
          await page.locator(".event-open").evaluate((row) => row.scrollIntoView());
          await expect(page.getByText("Header fields")).toBeInViewport();
        }
        await page.evaluate(() => (document.activeElement as HTMLElement | null)?.blur());
        await page.mouse.move(0, 0);
        await page.screenshot(file(`${name}_${colorScheme}`));
      });
    });
  }
}

test.describe(() => {
  test.use({ viewport: { width: 1440, height: 1400 } });
  test("a conflict", async ({ labPage }) => {
    const { page } = labPage;
    await labPage.power("Open").click();
    await labPage.show("Application");
    for (const [name, does] of [
      ["Ads", "replaces"],
      ["Crashes", "reassigns"],
    ] as const) {
      await labPage.field("Name").fill(name);
      await labPage.field("What it does").selectOption(does);
      await labPage.button("Install now").click();
      await expect(page.locator(".facts")).toContainText(name);
    }
    const drawing = await page.locator(".drawing").boundingBox();
    const end = await page.getByRole("heading", { name: /^Whose code/ }).boundingBox();
    if (!drawing || !end) throw new Error("The drawing is not there.");
    await page.screenshot({ ...file("conflict"), clip: { ...drawing, height: end.y - drawing.y } });
  });
});

test("findings", async ({ labPage }) => {
  const { page } = labPage;
  await labPage.field("Example").selectOption("link_scheme_misspelt");
  await expect(labPage.underlined(labPage.addInfo)).toHaveCount(1);
  await page.setViewportSize({ width: 1440, height: 760 });
  await page.locator("#panel-payload").screenshot(file("findings"));
});
