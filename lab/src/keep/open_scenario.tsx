import scenarios from "examples:scenarios";
import { useSignal } from "@preact/signals";
import { Failure, include } from "../api/client";
import { Button } from "../controls/button";
import { Select } from "../controls/field";
import { headOf } from "../state/head";
import { attempt } from "../state/notices";
import { openScenario } from "../state/phones";

const mostBytes = 1024 * 1024;

async function open(text: string, file?: string): Promise<void> {
  try {
    await openScenario(text, headOf(text), file);
  } catch (error) {
    // The server names the place of what is wrong.
    if (error instanceof SyntaxError || error instanceof TypeError) await openScenario(text, {}, file);
    else throw error;
  }
}

/** Throws Failure for a file that cannot be used. */
async function textOf(file: File): Promise<string> {
  if (file.size > mostBytes) throw new Failure(0, `${file.name} is larger than 1 MiB; choose a smaller file.`);
  try {
    return new TextDecoder("utf-8", { fatal: true }).decode(await file.arrayBuffer());
  } catch (error) {
    if (error instanceof TypeError) throw new Failure(0, `${file.name} is not text in UTF-8; choose another file.`);
    throw error;
  }
}

/** Which of several files is the scenario, the server knows. */
async function openFiles(files: File[]): Promise<void> {
  await attempt(async () => {
    const texts = await Promise.all(files.map(textOf));
    const [only] = files;
    if (files.length === 1 && only) return open(texts[0] ?? "", only.name);
    const chosen = await include(Object.fromEntries(files.map(({ name }, index) => [name, texts[index] ?? ""])));
    return open(chosen.scenario, chosen.file);
  });
}

export function OpenScenario() {
  const chosen = useSignal("a_day");
  const onFiles = async (input: HTMLInputElement) => {
    const files = [...(input.files ?? [])];
    if (files.length > 0) await openFiles(files);
    input.value = "";
  };
  const example = scenarios.find(({ name }) => name === chosen.value);
  return (
    <section>
      <h3>Open a scenario</h3>
      <p class="faint">A new phone gets its application. The steps wait.</p>
      <div class="row">
        <Select
          label="Example"
          value={chosen.value}
          choices={scenarios.map(({ name }) => ({ value: name, text: name.replaceAll("_", " ") }))}
          onValue={(value) => {
            chosen.value = value;
          }}
        />
        <Button onPress={() => open(example?.text ?? "")}>Open example</Button>
      </div>
      <label class="field">
        <span>Or a file, together with those that it names</span>
        <input
          class="input"
          type="file"
          multiple
          accept=".json,application/json"
          onChange={(event) => void onFiles(event.currentTarget)}
        />
      </label>
    </section>
  );
}
