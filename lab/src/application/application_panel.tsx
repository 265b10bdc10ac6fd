import scenarios from "examples:scenarios";
import { useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { Drawer } from "../controls/drawer";
import { Select } from "../controls/field";
import { JsonEditor } from "../payload/json_editor";
import { defaultHead, headOf, headText, parseHead, write } from "../state/head";
import { startPhone } from "../state/phones";
import { ChainDrawing } from "./chain_drawing";
import { DelegatesSection, KitsSection } from "./kits_section";

const presetNames = [
  "other_kits",
  "exchanged_methods",
  "delegates_that_share",
  "forwarding_delegates",
  "missing_class",
  "compressed",
];

const presets = [
  { value: "shop", text: "Shop (default)", head: defaultHead },
  ...scenarios
    .filter(({ name }) => presetNames.includes(name))
    .map(({ name, text }) => ({ value: name, text: name.replaceAll("_", " "), head: write(headOf(text)) })),
];

function problemOf(text: string): string | null {
  try {
    parseHead(text);
    return null;
  } catch (error) {
    return (error as Error).message;
  }
}

function Description() {
  const text = useSignal(headText.value);
  const source = useSignal(headText.value);
  // A phone that another part of the page has started brings its own head.
  if (source.value !== headText.value) {
    source.value = headText.value;
    text.value = headText.value;
  }
  const problem = problemOf(text.value);
  const preset = presets.find(({ head }) => head === text.value)?.value ?? "";
  const start = () => startPhone(text.value);
  return (
    <>
      <Select
        label="Preset"
        value={preset}
        choices={[{ value: "", text: "Your own" }, ...presets]}
        onValue={(value) => {
          text.value = presets.find((candidate) => candidate.value === value)?.head ?? text.value;
        }}
      />
      <JsonEditor
        label="The application: the head of a scenario"
        isLarge
        text={text.value}
        isInvalid={problem !== null}
        describedBy={problem === null ? undefined : "head-problem"}
        onText={(next) => {
          text.value = next;
        }}
        onSubmit={() => void start()}
      />
      {problem !== null && (
        <p class="note note-bad" id="head-problem">
          {problem}
        </p>
      )}
      <div class="group">
        <Button onPress={start} obstacle={problem} title="Another phone; this one stays as the phone before">
          Start again with this
        </Button>
      </div>
    </>
  );
}

export function ApplicationPanel() {
  return (
    <>
      <h3>Who is called</h3>
      <ChainDrawing />
      <Drawer title="Other kits" isOpen>
        <KitsSection />
      </Drawer>
      <Drawer title="Delegates and interceptors">
        <DelegatesSection />
      </Drawer>
      <Drawer title="Description: configuration, URL schemes, delegates" isOpen>
        <Description />
      </Drawer>
    </>
  );
}
