import payloads from "examples:payloads";
import { useComputed, useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { Select } from "../controls/field";
import { obstacle } from "../state/session";
import { findAddInfo } from "./add_info";
import { Findings, headlineID, Verdict } from "./findings";
import { JsonEditor } from "./json_editor";
import { compact, pretty } from "./json_tokens";
import { addInfoMarks, type Mark, payloadMarks } from "./marks";
import {
  addInfo,
  deliver,
  deliverByKey,
  exampleName,
  exampleNamed,
  explained,
  focusCounts,
  isTyped,
  payloadText,
  setPayload,
  typePayload,
  writeAddInfo,
} from "./payload";

const inWords = (name: string) => name.replaceAll("_", " ");
const choicesOf = (examples: Example[]) => examples.map(({ name }) => ({ value: name, text: inWords(name) }));

const choices = [
  { value: "", text: "Your own" },
  { group: "Good payloads", choices: choicesOf(payloads.good) },
  { group: "Broken payloads", choices: choicesOf(payloads.broken) },
];

const noMarks: Mark[] = [];

/** What an editor with these marks says to those who do not see them. */
const described = (marks: Mark[], isUnusable = false) => ({
  isInvalid: isUnusable || marks.some(({ level }) => level === "error"),
  describedBy: isUnusable || marks.length > 0 ? headlineID : undefined,
});

function Examples() {
  const choose = (name: string) => {
    const example = exampleNamed(name);
    if (example) setPayload(example.text);
  };
  return <Select label="Example" value={exampleName.value ?? ""} onValue={choose} choices={choices} />;
}

function AddInfoEditor({ onSubmit }: { onSubmit: () => void }) {
  const shown = useSignal(pretty(addInfo.value?.text ?? ""));
  const inner = addInfo.value;
  // A text that this editor has not written itself is shown anew.
  if (inner && compact(inner.text) !== compact(shown.peek())) shown.value = pretty(inner.text);
  const marks = useComputed(() => {
    const current = explained.value;
    if (!current) return noMarks;
    return addInfoMarks(shown.value, current.explanation, findAddInfo(current.text));
  });
  if (!inner) {
    return (
      <p class="empty">
        The payload has no text “addInfo” that could be edited here. The module reads from it what to count and open.
      </p>
    );
  }
  const write = (text: string) => {
    shown.value = text;
    writeAddInfo(text);
  };
  return (
    <JsonEditor
      label="addInfo as JSON"
      text={shown.value}
      isTyped={isTyped.value}
      focusCount={focusCounts.value.addInfo}
      marks={marks.value}
      {...described(marks.value)}
      onText={write}
      onSubmit={onSubmit}
    />
  );
}

export function PayloadPanel() {
  const marks = useComputed(() => {
    const current = explained.value;
    return current ? payloadMarks(current.text, current.explanation, findAddInfo(current.text)) : noMarks;
  });
  return (
    <>
      <div class="bar">
        <Examples />
        <div class="bar-end">
          <Button
            onPress={() => deliver("extension")}
            obstacle={obstacle.value}
            title="The notification extension records the delivery in the shared store"
          >
            Record by extension
          </Button>
          <Button
            class="button button-main"
            onPress={() => deliver("deliver")}
            obstacle={obstacle.value}
            guide="deliver"
          >
            Deliver <kbd class="key">Ctrl ⏎</kbd>
          </Button>
        </div>
      </div>
      <div class="bar">
        <h3 class="label">Payload</h3>
        <Verdict />
      </div>
      <JsonEditor
        label="Payload"
        text={payloadText.value}
        marks={marks.value}
        {...described(marks.value, !!explained.value?.explanation.unusable)}
        isTyped={isTyped.value}
        focusCount={focusCounts.value.payload}
        onText={typePayload}
        onSubmit={() => void deliverByKey()}
      />
      <h3 class="label">addInfo, as JSON of its own</h3>
      <AddInfoEditor onSubmit={() => void deliverByKey()} />
      <Findings />
    </>
  );
}
