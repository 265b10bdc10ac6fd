// Accessibility by axe, and that nothing is wider than the screen: each section, light and dark, at three widths. And
// what is told where the system chooses the colours.
import { AxeBuilder } from "@axe-core/playwright";
import type { Page } from "@playwright/test";
import { expect, test } from "./fixtures";
import { sizes } from "./lab_page";

const rules = ["wcag2a", "wcag2aa", "wcag21aa", "best-practice"];

async function violations(page: Page, part: string): Promise<string[]> {
  const { violations: found } = await new AxeBuilder({ page }).include(part).withTags(rules).analyze();
  return found.map(({ id, nodes }) => `${id}: ${nodes.map(({ html }) => html.slice(0, 160)).join(" | ")}`);
}

const excess = (page: Page) =>
  page.evaluate(() => {
    const { scrollWidth, scrollHeight, clientWidth, clientHeight } = document.documentElement;
    return { width: scrollWidth - clientWidth, height: scrollHeight - clientHeight };
  });

/** Controls that a finger misses: smaller than 24 by 24. What has a label is pressed there, too. */
const tooSmall = (page: Page) =>
  page.locator("button, summary, select, input").evaluateAll((controls) =>
    controls.flatMap((control) => {
      const target = control.closest("label") ?? control;
      const { width, height } = target.getBoundingClientRect();
      const isFine = !control.checkVisibility() || (width >= 24 && height >= 24);
      return isFine ? [] : [`${control.outerHTML.slice(0, 80)}: ${width} x ${height}`];
    }),
  );

for (const { name, width, height } of sizes) {
  for (const colorScheme of ["light", "dark"] as const) {
    test.describe(`${name}, ${colorScheme}`, () => {
      test.use({ viewport: { width, height }, colorScheme });

      test("every section is accessible, and fits the screen", async ({ labPage }) => {
        const { page } = labPage;
        await labPage.sell();
        const places = page.getByRole("navigation", { name: "Sections" }).getByRole("button");
        const isNarrow = (await places.count()) > 0;
        const tabs = isNarrow ? places : page.getByRole("tab");
        const faults: Record<string, unknown> = {};
        let part = "html";
        for (const tab of await tabs.all()) {
          await tab.click();
          const section = await tab.innerText();
          if (section === "Payload") {
            await labPage.field("Example").selectOption("button_without_action");
            await expect(labPage.underlined(labPage.payload)).toHaveCount(1);
          }
          if (section === "Timeline") {
            await labPage.button(/^Filter/).click();
            await labPage.event(/POST .*\/device/).click();
          }
          const found = [...(await violations(page, part)), ...(await tooSmall(page))];
          part = isNarrow ? "main > :not([hidden])" : ".column-work";
          const { width: tooWide, height: tooHigh } = await excess(page);
          if (tooWide > 0) found.push(`${tooWide} px wider than the screen`);
          if (tooHigh > 0) found.push(`${tooHigh} px higher than the screen`);
          if (found.length > 0) faults[section] = found;
        }
        expect(faults).toEqual({});
      });
    });
  }
}

test("with forced colours, what is chosen still differs from what is not", async ({ labPage }) => {
  const { page } = labPage;
  await page.emulateMedia({ forcedColors: "active" });
  await labPage.sell();
  const look = (selector: string) =>
    page
      .locator(selector)
      .first()
      .evaluate((element) => {
        const { color, backgroundColor, borderStyle, borderColor, outline } = getComputedStyle(element);
        return { color, backgroundColor, borderStyle, borderColor, outline };
      });
  const same: string[] = [];
  const compare = async (pairs: [chosen: string, other: string][]) => {
    for (const [chosen, other] of pairs) {
      const looks = [await look(chosen), await look(other)].map((each) => JSON.stringify(each));
      if (looks[0] === looks[1]) same.push(chosen);
    }
  };
  await compare([
    ["[role=tab][aria-selected=true]", "[role=tab][aria-selected=false]"],
    [".chip[aria-pressed=true]", ".chip[aria-pressed=false]"],
    [".button-toggle[aria-pressed=true]", ".bar .button-small:not([aria-pressed])"],
    [".button[aria-disabled]", ".button:not([aria-disabled])"],
    [".guide-now .guide-mark", ".guide-done .guide-mark"],
    [".stage-responded .stage-bar", ".stage-track"],
    [".home-line", ".home"],
  ]);
  await labPage.show("Scenario");
  await labPage.button("Open example").click();
  await labPage.whenReady();
  await compare([[".step[aria-current]", ".step-waiting:not([aria-current])"]]);
  await page.setViewportSize({ width: 390, height: 844 });
  await compare([[".place[aria-current]", ".place:not([aria-current])"]]);
  expect(same).toEqual([]);
});
