import type { Signal } from "@preact/signals";
import type { ComponentChildren } from "preact";
import { useId } from "preact/hooks";

interface FieldProps {
  label: string;
  value: string;
  onValue: (value: string) => void;
  hint?: ComponentChildren;
  problem?: string | null;
  placeholder?: string;
  isCode?: boolean;
  isNumber?: boolean;
  rows?: number;
  disabled?: boolean;
}

export function Field({ label, value, onValue, hint, problem, rows, ...rest }: FieldProps) {
  const id = useId();
  const note = `${id}-note`;
  const common = {
    id,
    value,
    class: rest.isCode ? "input code" : "input",
    placeholder: rest.placeholder ?? "",
    disabled: rest.disabled ?? false,
    "aria-invalid": problem ? true : undefined,
    "aria-describedby": hint || problem ? note : undefined,
    spellcheck: false,
    autocomplete: "off" as const,
  };
  return (
    <div class="field">
      <label for={id}>{label}</label>
      {rows ? (
        <textarea {...common} rows={rows} onInput={(event) => onValue(event.currentTarget.value)} />
      ) : (
        <input
          {...common}
          type="text"
          inputMode={rest.isNumber ? "decimal" : "text"}
          onInput={(event) => onValue(event.currentTarget.value)}
        />
      )}
      {(hint || problem) && (
        <p id={note} class={problem ? "note note-bad" : "note"}>
          {problem ?? hint}
        </p>
      )}
    </div>
  );
}

interface Choice {
  value: string;
  text: string;
}

interface SelectProps {
  label: string;
  value: string;
  onValue: (value: string) => void;
  choices: readonly (Choice | { group: string; choices: readonly Choice[] })[];
  isLabelHidden?: boolean;
  disabled?: boolean;
}

const option = ({ value, text }: Choice) => (
  <option key={value} value={value}>
    {text}
  </option>
);

export function Select({ label, value, onValue, choices, isLabelHidden, disabled }: SelectProps) {
  const id = useId();
  return (
    <div class="field">
      <label for={id} class={isLabelHidden ? "hidden-text" : ""}>
        {label}
      </label>
      <select
        id={id}
        class="input"
        value={value}
        disabled={disabled ?? false}
        onChange={(event) => onValue(event.currentTarget.value)}
      >
        {choices.map((choice) =>
          "group" in choice ? (
            <optgroup key={choice.group} label={choice.group}>
              {choice.choices.map(option)}
            </optgroup>
          ) : (
            option(choice)
          ),
        )}
      </select>
    </div>
  );
}

/** For a Field or a Select that shows a text and changes it. */
export const bound = (text: Signal<string>) => ({
  value: text.value,
  onValue: (value: string) => {
    text.value = value;
  },
});

/** The same for an entry of a form; a Select's choices are all that the entry may be. */
export const boundEntry = <Form, Name extends keyof Form>(form: Signal<Form>, name: Name) => ({
  value: String(form.value[name]),
  onValue: (value: string) => {
    form.value = { ...form.value, [name]: value };
  },
});

interface CheckProps {
  label: string;
  checked: boolean;
  onChecked: (checked: boolean) => void;
}

export function Check({ label, checked, onChecked }: CheckProps) {
  return (
    <label class="check">
      <input type="checkbox" checked={checked} onChange={(event) => onChecked(event.currentTarget.checked)} />
      <span>{label}</span>
    </label>
  );
}

/** Choices whose texts are their values. */
export const plainChoices = (values: readonly string[]): Choice[] => values.map((value) => ({ value, text: value }));
