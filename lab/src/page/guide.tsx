// The first five steps, for someone who sees the page for the first time. They tick themselves.
import { Button } from "../controls/button";
import { keepFocus } from "../controls/focus";
import { ticks } from "../state/session";
import { closeGuide, isGuideClosed, show, type View } from "./layout";

const steps: { id: string; text: string; where: View }[] = [
  { id: "open", text: "Open the application", where: "phone" },
  { id: "token", text: "Hand over a token", where: "phone" },
  { id: "deliver", text: "Deliver the payload", where: "payload" },
  { id: "tap", text: "Tap the notification", where: "phone" },
  { id: "keep", text: "Keep it as a scenario", where: "scenario" },
];

/** Shows the control that does the step, and gives it the focus. */
function pointAt(id: string, where: View): void {
  show(where);
  requestAnimationFrame(() => {
    const control = document.querySelector<HTMLElement>(`[data-guide="${id}"]`);
    if (control === null) {
      // There is nothing to tap before a delivery.
      if (id === "tap") pointAt("deliver", "payload");
      return;
    }
    control.focus();
    control.classList.add("pointed-at");
    control.addEventListener("blur", () => control.classList.remove("pointed-at"), { once: true });
  });
}

function close(): void {
  closeGuide();
  keepFocus("#first-steps");
}

export function Guide() {
  if (isGuideClosed.value) return null;
  const done = ticks.value;
  const current = steps.find(({ id }) => !done.has(id))?.id;
  return (
    <nav class="guide" aria-label="First steps">
      <ol class="guide-steps">
        {steps.map(({ id, text, where }, index) => (
          <li key={id} class={done.has(id) ? "guide-done" : id === current ? "guide-now" : ""}>
            <button
              type="button"
              class="guide-step"
              aria-current={id === current ? "step" : undefined}
              onClick={() => pointAt(id, where)}
            >
              <span class="guide-mark" aria-hidden="true">
                {done.has(id) ? "✓" : index + 1}
              </span>
              {text}
              {done.has(id) && <span class="hidden-text"> (done)</span>}
            </button>
          </li>
        ))}
        {current === undefined && <li class="guide-end">That was all: the session runs as a test from now on.</li>}
      </ol>
      <Button class="button button-quiet" onPress={close} label="Close the first steps">
        ✕
      </Button>
    </nav>
  );
}
