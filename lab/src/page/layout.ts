// Which of the page's parts are seen: all of them on a wide screen, one on a narrow one.
import { signal } from "@preact/signals";
import { prefer, preference, remember, remembered } from "../state/storage";

export type Work = "payload" | "application" | "backend" | "scenario";
export type View = Work | "phone" | "timeline";

const works: Work[] = ["payload", "application", "backend", "scenario"];
const views: View[] = [...works, "phone", "timeline"];

export const isWork = (candidate: View): candidate is Work => candidate !== "phone" && candidate !== "timeline";

export const view = signal<View>(views.find((name) => name === remembered().view) ?? "phone");
export const work = signal<Work>(isWork(view.value) ? view.value : "payload");

export function show(next: View): void {
  view.value = next;
  remember({ view: next });
  if (isWork(next)) work.value = next;
}

const narrow = matchMedia("(max-width: 759px)");
export const isNarrow = signal(narrow.matches);
narrow.addEventListener("change", ({ matches }) => {
  isNarrow.value = matches;
});

export type Theme = "system" | "light" | "dark";
export const themes: Theme[] = ["system", "light", "dark"];
export const theme = signal<Theme>(themes.find((name) => name === preference("theme")) ?? "system");
theme.subscribe((name) => {
  document.documentElement.dataset.theme = name;
  if (name !== preference("theme")) prefer("theme", name);
});

export const isGuideClosed = signal(preference("guide") === "closed");

export function closeGuide(): void {
  isGuideClosed.value = true;
  prefer("guide", "closed");
}

export function openGuide(): void {
  isGuideClosed.value = false;
  prefer("guide", "open");
}
