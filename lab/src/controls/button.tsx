import { useSignal } from "@preact/signals";
import type { ButtonHTMLAttributes, ComponentChildren } from "preact";
import { useId } from "preact/hooks";
import { announce } from "../state/notices";

interface Props {
  children: ComponentChildren;
  onPress: () => unknown;
  /** Why the button cannot be used now; null or absent if it can. */
  obstacle?: string | null | undefined;
  /** The name, where the content alone does not say it. */
  label?: string;
  class?: string;
  pressed?: boolean;
  expanded?: boolean;
  title?: string;
  /** The first step that this button does: its entry at the top of the page points here. */
  guide?: string;
  id?: string;
  /** Each press counts, also one that comes before the last is done; else that is the second half of a double click. */
  isRepeatable?: boolean;
}

/** A button that cannot be used keeps the focus and says why: it is aria-disabled, not disabled. */
export function Button({ children, onPress, obstacle, label, pressed, expanded, title, guide, id, ...rest }: Props) {
  const reason = useId();
  const isRunning = useSignal(false);
  const press = async () => {
    if (obstacle) {
      announce(obstacle);
      return;
    }
    if (isRunning.value && !rest.isRepeatable) return;
    isRunning.value = true;
    try {
      await onPress();
    } finally {
      isRunning.value = false;
    }
  };
  const attributes: ButtonHTMLAttributes<HTMLButtonElement> = {};
  if (label !== undefined) attributes["aria-label"] = label;
  if (pressed !== undefined) attributes["aria-pressed"] = pressed;
  if (expanded !== undefined) attributes["aria-expanded"] = expanded;
  if (id !== undefined) attributes.id = id;
  const hint = obstacle ?? title;
  if (hint) attributes.title = hint;
  if (obstacle) {
    attributes["aria-disabled"] = true;
    attributes["aria-describedby"] = reason;
  }
  return (
    <>
      <button
        type="button"
        class={rest.class ?? "button"}
        data-guide={guide}
        onClick={() => void press()}
        {...attributes}
      >
        {children}
      </button>
      {obstacle && (
        <span class="hidden-text" id={reason}>
          {obstacle}
        </span>
      )}
    </>
  );
}
