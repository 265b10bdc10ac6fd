// The payload's editors: findings at their place, their remedies, and payloads that want to do harm.
import { expect, test } from "./fixtures";
import type { LabPage } from "./lab_page";

test.describe("a broken payload is mended by one click", () => {
  const cases = [
    { example: "addinfo_misspelt", underlined: '"addinfo"', mended: '"addInfo"' },
    { example: "badge_as_text", underlined: '"3"', mended: '"badge":3' },
    { example: "json_trailing_comma", underlined: ",", mended: '"alert":"Only today: half price"' },
    { example: "payload_not_json", underlined: "}", mended: '"addInfo"' },
    { example: "json_comment", underlined: "//", mended: '"addInfo"' },
    {
      example: "button_without_action",
      underlined: '\\"actoin\\"',
      inAddInfo: '"actoin"',
      mended: '\\"action\\":\\"later\\"',
    },
    {
      example: "link_scheme_misspelt",
      underlined: "htps://shop.example/sale",
      inAddInfo: "htps://shop.example/sale",
      mended: '\\"https://shop.example/sale\\"',
    },
  ];
  for (const { example, underlined, inAddInfo, mended } of cases) {
    test(example, async ({ labPage }) => {
      await labPage.field("Example").selectOption(example);
      await expect(labPage.underlined(labPage.payload)).toHaveText([underlined]);
      if (inAddInfo !== undefined) await expect(labPage.underlined(labPage.addInfo)).toHaveText([inAddInfo]);
      await labPage.button(/^Fix: /).click();
      await expect(labPage.page.getByRole("heading", { name: "No mistakes found" })).toBeVisible();
      await expect(labPage.payload).toContainText(mended);
      await expect(labPage.underlined(labPage.payload)).toHaveCount(0);
    });
  }
});

test.describe("a correction is undone by itself, where the focus is then", () => {
  const inner = '{"pellionPnID":41,"clickAction":"htps://shop.example"}';
  const both = JSON.stringify({ aps: { alert: "x", badge: "3" }, addInfo: inner });
  const cases = [
    { name: "in the payload", press: /^Fix: .*badge/, editor: "payload" },
    { name: "in addInfo", press: /^Fix: .*htps/, editor: "addInfo" },
    { name: "all", press: "Fix all", editor: "payload" },
  ] as const;
  for (const { name, press, editor } of cases) {
    test(name, async ({ labPage }) => {
      const { page } = labPage;
      await labPage.write(labPage.payload, both);
      await page.keyboard.press("ControlOrMeta+End");
      const edited = `${both} `;
      await expect(labPage.page.getByRole("status").filter({ hasText: /^2 mistakes$/ })).toHaveCount(1);
      await expect(labPage.payload).toHaveAttribute("aria-invalid", "true");
      await expect(labPage.payload).toHaveAccessibleDescription("2 mistakes");
      await expect(labPage.addInfo).toHaveAccessibleDescription("2 mistakes");
      const innerText = await labPage.addInfo.innerText();
      await page.keyboard.insertText(" ");
      await labPage.button(press).press("Enter");
      await expect(labPage[editor]).toBeFocused();
      await expect(labPage.payload).not.toContainText(edited);
      await page.keyboard.press("ControlOrMeta+z");
      await labPage.expectText(labPage.payload, edited);
      await labPage.expectText(labPage.addInfo, innerText);
    });
  }
});

test.describe("findings stand at their place beside unusual characters", () => {
  const after = (text: string) => ({
    text: `{"aps": {"alert": "${text}"}, "addinfo": "{}"}`,
    underlined: ['"addinfo"'],
  });
  const cases: Record<string, { text: string; underlined: string[]; inAddInfo?: string[] }> = {
    "characters beyond 16 bits": after("👍🏽 𝒳 🇩🇪"),
    "right-to-left text and marks": after("שלום \u200fabc\u202e"),
    "combining marks and joiners": after("e\u0301 n\u0303 👩\u200d👩\u200d👧"),
    "a NUL, escaped": after("a\\u0000b"),
    "controls and a byte order mark": after("\u007f\u0085\u2028\ufeff"),
    "in addInfo, after characters beyond 16 bits and escapes": {
      text: String.raw`{"aps": {"alert": "x"}, "addInfo": "{\"\u00e4😀\ud83d\ude00\": \"\\n😀\", \"pellionPnID\": 0}"}`,
      underlined: ["0"],
      inAddInfo: ["0"],
    },
  };
  for (const [name, { text, underlined, inAddInfo }] of Object.entries(cases)) {
    test(name, async ({ labPage }) => {
      await labPage.write(labPage.payload, text);
      await expect(labPage.underlined(labPage.payload)).toHaveText(underlined);
      if (inAddInfo) await expect(labPage.underlined(labPage.addInfo)).toHaveText(inAddInfo);
      await labPage.power("Open").click();
      await labPage.deliver.click();
      await expect(labPage.cards).toBeVisible();
    });
  }
  test.describe("a lone surrogate, escaped", () => {
    test.use({ tolerated: /status of 400/ });
    test("is no text, and is refused at delivery", async ({ labPage }) => {
      await labPage.write(labPage.payload, after("a😀\\ud83d").text);
      await expect(labPage.underlined(labPage.payload)).toHaveText(["\\ud83d"]);
      await labPage.deliver.click();
      await expect(labPage.alert).toContainText("the payload:1:22: not JSON: \\ud83d is half a character");
      await labPage.payload.press("End");
      await labPage.page.keyboard.type(" ");
      await expect(labPage.alert).toHaveCount(0);
    });
  });
});

test("addInfo's own editor writes back as text", async ({ labPage }) => {
  await labPage.write(labPage.addInfo, '{\n  "pellionPnID": 7,\n  "clickAction": "shop://\\"a\\"/ä😀"\n}');
  const addInfo = JSON.stringify('{"pellionPnID":7,"clickAction":"shop://\\"a\\"/ä😀"}');
  await expect(labPage.payload).toContainText(`"addInfo": ${addInfo}`);
  await labPage.power("Open").click();
  await labPage.deliver.click();
  await labPage.expectCounts(1, 0, 0);
  await labPage.unfold("By notification");
  await expect(labPage.page.getByRole("rowheader", { name: "7" })).toBeVisible();
});

test.describe("markup", () => {
  test.use({ tolerated: /status of 400/ });
  test("in every text stays text", async ({ labPage }) => {
    const { page } = labPage;
    const evil = (place: string) =>
      `<img src=x onerror="document.title='${place}'"><script>document.title='${place}'</script>`;
    const addInfo = {
      pellionPnID: 41,
      [evil("key")]: evil("value"),
      clickAction: `shop://${evil("link")}`,
      actionButton: [{ action: evil("action"), clickAction: "javascript:document.title='link'" }],
    };
    const alert = { title: evil("title"), subtitle: evil("subtitle"), body: evil("body") };
    const payload = { aps: { alert, category: evil("category") }, addInfo: JSON.stringify(addInfo) };
    const kit = evil("kit");
    const title = await page.title();
    await labPage.openWithToken();
    await labPage.write(labPage.payload, JSON.stringify(payload));
    await labPage.deliver.click();
    await expect(page.locator(".card-title")).toHaveText(alert.title);
    await labPage.button(/^Press the button/).click();
    await labPage.whenReady();
    await labPage.cards.click();
    await labPage.show("Application");
    await labPage.field("Name").fill(kit);
    await labPage.button("Install now").click();
    await expect(labPage.alert).toContainText("expected a letter, then letters");
    await labPage.button("Unfold all").click();
    await labPage.show("Scenario");
    await expect(page.locator(".steps")).toContainText("onerror");
    await expect(page.locator("img[src=x], script:not([src]), a[href^=javascript]")).toHaveCount(0);
    expect(await page.title()).toBe(title);
  });
});

test.describe("a payload that is too much is refused in words", () => {
  const deep = (levels: number) => `${'{"a":'.repeat(levels)}1${"}".repeat(levels)}`;
  const cases: Record<string, { text: string; says: RegExp; refused: RegExp }> = {
    "1 MiB": {
      text: `{"aps": {"alert": "${"x".repeat(1024 * 1024)}"}}`,
      says: /larger than 64 KiB/,
      refused: /takes 4096/,
    },
    "10,000 levels": { text: deep(10_000), says: /deep/, refused: /deep/ },
    "10,000 levels in addInfo": {
      text: `{"aps": {"alert": "x"}, "addInfo": ${JSON.stringify(deep(10_000))}}`,
      says: /deep|bytes/,
      refused: /takes 4096/,
    },
  };
  for (const [name, { text, says, refused }] of Object.entries(cases)) {
    test.describe(name, () => {
      test.use({ tolerated: /status of 4\d\d/ });
      test("in the editor and at delivery", async ({ labPage }) => {
        await labPage.power("Open").click();
        await labPage.write(labPage.payload, text);
        await expect(labPage.page.locator(".explanation")).toContainText(says);
        await labPage.deliver.click();
        await expect(labPage.alert).toContainText(refused);
        await revive(labPage);
      });
    });
  }
});

/** The page and its phone still work. */
async function revive(labPage: LabPage): Promise<void> {
  await labPage.field("Example").selectOption("sale");
  await expect(labPage.page.getByRole("heading", { name: "No mistakes found" })).toBeVisible();
  await labPage.deliver.click();
  await labPage.expectCounts(1, 0, 0);
}
