// The first five steps, for someone who sees the page for the first time. They tick themselves.
import { Button } from "../controls/button";
import { keepFocus } from "../controls/focus";
import { hasWaitingSteps, ticks } from "../state/session";
import { closeGuide, isGuideClosed, show, type View } from "./layout";

interface Step {
  id: string;
  text: string;
  where: View;
}

/** In the place of the first, where an opened scenario waits. */
const nextStep: Step = { id: "next", text: "Next step of the scenario", where: "scenario" };

const steps: Step[] = [
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

function StepItem({ step, index, isCurrent }: { step: Step; index: number; isCurrent: boolean }) {
  const isDone = ticks.value.has(step.id);
  const isWaiting = step.id === "open" && !isDone && hasWaitingSteps.value;
  const { id, text, where } = isWaiting ? nextStep : step;
  return (
    <li class={isDone ? "guide-done" : isCurrent ? "guide-now" : ""}>
      <button
        type="button"
        class="guide-step"
        aria-current={isCurrent ? "step" : undefined}
        onClick={() => pointAt(id, where)}
      >
        <span class="guide-mark" aria-hidden="true">
          {isDone ? "✓" : index + 1}
        </span>
        {text}
        {isDone && <span class="hidden-text"> (done)</span>}
      </button>
    </li>
  );
}

export function Guide() {
  if (isGuideClosed.value) return null;
  const current = steps.find(({ id }) => !ticks.value.has(id));
  return (
    <nav class="guide" aria-label="First steps">
      <ol class="guide-steps">
        {steps.map((step, index) => (
          <StepItem key={step.id} step={step} index={index} isCurrent={step === current} />
        ))}
        {current === undefined && <li class="guide-end">That was all: the session runs as a test from now on.</li>}
      </ol>
      <Button class="button button-quiet" onPress={close} label="Close the first steps">
        ✕
      </Button>
    </nav>
  );
}
