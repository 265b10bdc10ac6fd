import { useEffect, useRef } from "preact/hooks";
import { Button } from "../controls/button";
import type { Step } from "../generated/protocol";
import { obstacle, perform, state } from "../state/session";

const marks: Record<Step["state"], string> = { done: "✓", failed: "✗", waiting: "○" };

const outcomes = {
  passed: { text: "✓ The scenario passed.", colour: "good" },
  failed: { text: "✗ The scenario failed. The timeline shows where.", colour: "bad" },
};

/** A step without an argument is written as its name alone. */
const shortened = (step: string) => /^(?:\{"(\w+)":\{\}\}|"(\w+)")$/.exec(step)?.slice(1).find(Boolean) ?? step;

/** Scrolls the list alone; scrollIntoView would move the whole page. */
function showInside(list: HTMLElement, item: HTMLElement): void {
  const top = item.offsetTop - list.offsetTop;
  const bottom = top + item.offsetHeight;
  if (top < list.scrollTop) list.scrollTop = top;
  else if (bottom > list.scrollTop + list.clientHeight) list.scrollTop = bottom - list.clientHeight;
}

export function Steps() {
  const steps = state.value?.steps ?? [];
  const waiting = steps.filter((step) => step.state === "waiting").length;
  const nothing = waiting === 0 ? "No step waits." : null;
  const outcome = state.value?.outcome;
  const list = useRef<HTMLOListElement>(null);
  const hasFailed = steps.some((step) => step.state === "failed");
  const showFailed = () => {
    const failed = list.current?.querySelector<HTMLElement>(".step-failed");
    if (!list.current || !failed) return;
    showInside(list.current, failed);
    failed.focus();
  };
  useEffect(() => {
    const next = list.current?.querySelector<HTMLElement>("[aria-current]") ?? list.current?.lastElementChild;
    if (list.current && next instanceof HTMLElement) showInside(list.current, next);
  }, [steps.length, waiting]);
  if (steps.length === 0) return <p class="empty">No steps yet. What you do with the phone appears here as steps.</p>;
  return (
    <>
      {(waiting > 0 || outcome) && (
        <div class="group">
          <Button
            class="button button-main"
            onPress={() => perform({ do: "next" })}
            obstacle={obstacle.value ?? nothing}
            guide="next"
          >
            Next step
          </Button>
          <Button onPress={() => perform({ do: "rest" })} obstacle={obstacle.value ?? nothing}>
            Run the rest
          </Button>
          <span class="faint small">{waiting} waiting</span>
          {outcome && <strong class={`small ${outcomes[outcome].colour}`}>{outcomes[outcome].text}</strong>}
          {hasFailed && (
            <Button class="button button-small" onPress={showFailed} label="Show the first step that failed">
              Show it
            </Button>
          )}
        </div>
      )}
      <ol class="steps" ref={list}>
        {steps.map((step, index) => (
          <li
            key={index}
            class={`step step-${step.state}`}
            tabIndex={step.state === "failed" ? -1 : undefined}
            aria-current={step.state === "waiting" && steps[index - 1]?.state !== "waiting" ? "step" : undefined}
          >
            <span class="step-mark" aria-hidden="true">
              {marks[step.state]}
            </span>
            <span class="hidden-text">{step.state}: </span>
            <code class="code">{shortened(step.text)}</code>
          </li>
        ))}
      </ol>
    </>
  );
}
