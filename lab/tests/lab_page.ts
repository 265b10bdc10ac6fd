// The controls of the page by role and accessible name.
import { type BrowserContext, expect, type Locator, type Page } from "@playwright/test";

export type Section = "Payload" | "Application" | "Backend" | "Scenario";

/** The widths that the page is made for. */
export const sizes = [
  { name: "wide", width: 1440, height: 900 },
  { name: "middle", width: 1024, height: 768 },
  { name: "narrow", width: 390, height: 844 },
];

export class LabPage {
  constructor(readonly page: Page) {}

  /** A new tab with a phone. */
  static async open(context: BrowserContext, address: string): Promise<LabPage> {
    const labPage = new LabPage(await context.newPage());
    await labPage.page.goto(address);
    await labPage.whenReady();
    return labPage;
  }

  /** The phone takes actions, and has done those that were sent. */
  async whenReady(): Promise<void> {
    await expect(this.page.locator(".busy")).toHaveCount(0);
    await expect(this.letPass("Until idle")).toBeEnabled();
  }

  button(name: string | RegExp): Locator {
    return this.page.getByRole("button", typeof name === "string" ? { name, exact: true } : { name });
  }

  /** Open, Close, Kill or Relaunch. */
  power(name: string): Locator {
    return this.page
      .getByRole("group", { name: "Application", exact: true })
      .getByRole("button", { name, exact: true });
  }

  letPass(name: string): Locator {
    return this.page.getByRole("group", { name: "Let time pass" }).getByRole("button", { name, exact: true });
  }

  get deliver(): Locator {
    return this.button(/^Deliver Ctrl/);
  }

  get payload(): Locator {
    return this.page.getByRole("textbox", { name: "Payload", exact: true });
  }

  get addInfo(): Locator {
    return this.page.getByRole("textbox", { name: "addInfo as JSON" });
  }

  get timeline(): Locator {
    return this.page.getByRole("region", { name: /^Events/ });
  }

  /** The notifications on the phone's screen. */
  get cards(): Locator {
    return this.page
      .getByRole("list", { name: /^Notifications/ })
      .getByRole("button", { name: /^Tap the notification/ });
  }

  /** "10 of 25": so many lines of so many events. */
  get lineCount(): Locator {
    return this.page.locator("#timeline-title + span");
  }

  get alert(): Locator {
    return this.page.getByRole("alert");
  }

  event(text: string | RegExp): Locator {
    return this.timeline.getByRole("button", { name: text });
  }

  field(label: string): Locator {
    return this.page.getByLabel(label, { exact: true }).filter({ visible: true });
  }

  async show(section: Section): Promise<void> {
    await this.page.getByRole("tab", { name: section }).click();
  }

  async unfold(drawer: string): Promise<void> {
    await this.page.locator("summary", { hasText: drawer }).click();
  }

  /** Replaces the text of an editor, as pasting does. */
  async write(editor: Locator, text: string): Promise<void> {
    await editor.click();
    await this.page.keyboard.press("ControlOrMeta+A");
    await this.page.keyboard.insertText(text);
  }

  async wait(seconds: number): Promise<void> {
    await this.field("Seconds").fill(String(seconds));
    await this.button("Let pass").click();
    await this.whenReady();
  }

  async openWithToken(): Promise<void> {
    await this.power("Open").click();
    await this.button("Hand over").click();
    await this.expectEvents(/POST .*\/device/);
    await this.whenReady();
  }

  /** A sale is delivered and tapped. */
  async sell(): Promise<void> {
    await this.power("Open").click();
    await this.button("Hand over").click();
    await this.whenReady();
    await this.page.keyboard.press("ControlOrMeta+Enter");
    await this.cards.click();
    await expect(this.page.locator(".opened-url")).toHaveText("shop://sale");
    await this.whenReady();
  }

  /** The events that match, also those that the list does not draw now. */
  async expectEvents(text: string | RegExp, count?: number): Promise<void> {
    const events = this.event(text);
    await (count === undefined ? expect(events.first()).toBeVisible() : expect(events).toHaveCount(count));
  }

  async expectCounts(delivered: number, responded: number, converted: number): Promise<void> {
    const values = this.page.getByRole("region", { name: "Statistics" }).locator(".stage-value");
    await expect(values).toHaveText([delivered, responded, converted].map(String));
  }

  /** What an editor underlines, in order. */
  underlined(editor: Locator): Locator {
    return editor.locator(".cm-lintRange");
  }

  /** An editor's text; only its lines in view are in the document. */
  async expectText(editor: Locator, text: string): Promise<void> {
    await expect(async () => expect((await editor.locator(".cm-line").allInnerTexts()).join("\n")).toBe(text)).toPass();
  }
}
