// Which of the page's parts are seen: all of them on a wide screen, one on a narrow one.
import { signal } from "@preact/signals";
import { prefer, preference } from "../state/storage";

export type Work = "payload" | "application" | "backend" | "scenario";
export type View = Work | "phone" | "timeline";

export const work = signal<Work>("payload");
export const view = signal<View>("phone");

export const isWork = (candidate: View): candidate is Work => candidate !== "phone" && candidate !== "timeline";

export function show(next: View): void {
  view.value = next;
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
