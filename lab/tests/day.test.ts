// The day of ./run, played by hand, and a session by the keyboard alone.
import type { Locator } from "@playwright/test";
import { expect, test } from "./fixtures";
import type { LabPage } from "./lab_page";

const sale = {
  aps: { alert: "Only today: half price" },
  addInfo: JSON.stringify({
    pellionPnID: 41,
    clickAction: "shop://sale",
    conversion: { group: "Shop", event: "Purchase" },
  }),
};
const parcel = {
  aps: { alert: "Your parcel is on its way", category: "parcel", "content-available": 1 },
  addInfo: JSON.stringify({
    pellionPnID: 42,
    clickAction: "shop://parcels/7",
    actionButton: [{ action: "track", clickAction: "https://parcels.example/7" }, { action: "later" }],
  }),
};
const recorded = (id: number) => ({ aps: { alert: "News" }, addInfo: JSON.stringify({ pellionPnID: id }) });

async function write(labPage: LabPage, payload: object): Promise<void> {
  await labPage.write(labPage.payload, JSON.stringify(payload));
}

test("the day of ./run, by mouse", async ({ labPage }) => {
  const { page } = labPage;
  await test.step("morning: a token, a sale, its goal", async () => {
    await labPage.openWithToken();
    await labPage.wait(3600);
    await write(labPage, sale);
    await labPage.deliver.click();
    await labPage.expectCounts(1, 0, 0);
    await labPage.wait(20);
    await labPage.cards.filter({ hasText: "half price" }).click();
    await labPage.expectCounts(1, 1, 0);
    await expect(page.locator(".opened-url")).toHaveText("shop://sale");
    await labPage.wait(300);
    await labPage.unfold("Goal and session");
    for (let times = 0; times < 2; ++times) {
      await labPage.button("Report").click();
      await labPage.whenReady();
    }
    await labPage.expectCounts(1, 1, 1);
  });
  await test.step("noon: a parcel in the background, its button", async () => {
    await labPage.power("Close").click();
    await labPage.wait(14_400);
    await write(labPage, parcel);
    await labPage.deliver.click();
    await labPage.unfold("Badge");
    await labPage.field("Count").fill("1");
    await labPage.button("Set").click();
    await expect(labPage.button("Open Shop, badge 1")).toBeVisible();
    await labPage.expectCounts(2, 1, 1);
    await labPage.wait(60);
    await labPage.button(/^Press the button track/).click();
    await labPage.expectCounts(2, 2, 1);
    await expect(page.locator(".opened-url")).toHaveText("https://parcels.example/7");
    await labPage.field("Count").fill("0");
    await labPage.field("Through").selectOption("notificationCenter");
    await labPage.button("Set").click();
    await expect(page.getByText("shared: 0")).toBeVisible();
  });
  await test.step("evening: another delegate, the sale again, a dismissal that raises", async () => {
    await labPage.show("Application");
    await labPage.unfold("Delegates and interceptors");
    await labPage.field("The notification center's delegate").selectOption("MemberNotificationDelegate");
    await labPage.button("Set: The notification center's delegate").click();
    await expect(page.locator(".facts")).toContainText("MemberNotificationDelegate");
    await labPage.wait(21_600);
    await labPage.cards.filter({ hasText: "half price" }).click();
    await labPage.expectCounts(2, 3, 1);
    await labPage.button("End session").click();
    await labPage.button("Report").click();
    await labPage.button("Dismiss notification 2").click();
    await expect(labPage.event("module raises NSInvalidArgumentException")).toBeVisible();
    await expect(labPage.timeline).toContainText("attempt to insert nil object from objects[3]");
    await labPage.expectCounts(2, 3, 1);
  });
  await test.step("night: the extension's entries, three seconds after activation", async () => {
    await labPage.power("Close").click();
    await labPage.wait(7200);
    await labPage.show("Payload");
    for (const id of [43, 44]) {
      await write(labPage, recorded(id));
      await labPage.button("Record by extension").click();
      await labPage.whenReady();
    }
    await labPage.power("Open").click();
    await labPage.wait(2);
    await labPage.expectCounts(2, 3, 1);
    await labPage.wait(1);
    await labPage.expectCounts(4, 3, 1);
  });
});

/** Moves the focus with Tab, or back with Shift-Tab. Each stop is visible, and further on in the document. */
async function tabTo({ page }: LabPage, target: Locator): Promise<void> {
  const isBehind = await target.evaluate(
    (element) =>
      !!(element.compareDocumentPosition(document.activeElement ?? document) & Node.DOCUMENT_POSITION_FOLLOWING),
  );
  for (let stops = 0; stops < 60; ++stops) {
    if (await target.evaluate((element) => element === document.activeElement)) return;
    const before = await page.evaluateHandle(() => document.activeElement ?? document.body);
    await page.keyboard.press(isBehind ? "Shift+Tab" : "Tab");
    const stop = await before.evaluate((last) => {
      const now = document.activeElement ?? document.body;
      const { width, top, bottom, left, right } = now.getBoundingClientRect();
      const order = last.compareDocumentPosition(now);
      const styles = [now, now.closest(".editor") ?? now].map((element) => getComputedStyle(element));
      return {
        name: now.getAttribute("aria-label") ?? now.textContent?.slice(0, 40),
        isAfter: !!(order & Node.DOCUMENT_POSITION_FOLLOWING),
        isInView: width > 0 && bottom > 0 && top < innerHeight && right > 0 && left < innerWidth,
        isMarked: styles.some(({ outlineStyle, outlineWidth }) => outlineStyle !== "none" && outlineWidth !== "0px"),
      };
    });
    expect(stop).toEqual({ name: stop.name, isAfter: !isBehind, isInView: true, isMarked: true });
  }
  await expect(target).toBeFocused();
}

test("a session by the keyboard alone", async ({ labPage }) => {
  const { page } = labPage;
  const press = async (target: Locator, key: string) => {
    await tabTo(labPage, target);
    await page.keyboard.press(key);
    await labPage.whenReady();
  };
  await press(labPage.power("Open"), "Enter");
  await press(labPage.button("Hand over"), "Space");
  await labPage.expectEvents(/POST .*\/device/);
  await tabTo(labPage, page.getByRole("tab", { name: "Payload" }));
  await tabTo(labPage, labPage.payload);
  await page.keyboard.press("ControlOrMeta+Home");
  await page.keyboard.type(" ");
  await page.keyboard.press("ControlOrMeta+Enter");
  await labPage.expectCounts(1, 0, 0);
  await press(labPage.cards, "Enter");
  await labPage.expectCounts(1, 1, 0);
  await press(page.getByRole("tab", { name: "Payload" }), "ArrowLeft");
  await expect(page.getByRole("tab", { name: "Scenario" })).toBeFocused();
  const download = page.waitForEvent("download");
  await tabTo(labPage, labPage.button("Download scenario"));
  await page.keyboard.press("Enter");
  expect((await download).suggestedFilename()).toBe("session.json");
  await tabTo(labPage, labPage.event("scenario begins"));
  for (const [key, event] of [
    ["End", /responds with 200/],
    ["Home", /begins/],
    ["ArrowDown", /launches/],
  ] as const) {
    await page.keyboard.press(key);
    await expect(page.locator(":focus")).toContainText(event);
  }
});

test.describe("the focus", () => {
  test.use({ tolerated: /status of 400/ });

  test("goes on where the control that has it disappears", async ({ labPage }) => {
    const { page } = labPage;
    const cases: [name: string, prepare: () => Promise<void>, pressed: Locator, next: Locator][] = [
      ["the tour", async () => {}, labPage.button("Close the first steps"), labPage.button("First steps")],
      [
        "the only kit",
        async () => {
          await labPage.show("Application");
          await labPage.button("Add to the start-up order").click();
        },
        labPage.button(/^Remove Ads/),
        labPage.button("Add to the start-up order"),
      ],
      [
        "an alert",
        async () => {
          await labPage.power("Open").click();
          await labPage.field("Name").fill("<");
          await labPage.button("Install now").click();
          await expect(labPage.alert).toBeVisible();
        },
        labPage.button("Close this message"),
        labPage.button("Install now"),
      ],
      [
        "the phone before",
        async () => {
          await labPage.button("New phone").click();
          await labPage.whenReady();
        },
        labPage.button("Phone before"),
        labPage.button("New phone"),
      ],
    ];
    for (const [name, prepare, pressed, next] of cases) {
      await prepare();
      await pressed.focus();
      await page.keyboard.press("Enter");
      await expect(pressed, name).toHaveCount(0);
      await expect(next, name).toBeFocused();
    }
  });
});
