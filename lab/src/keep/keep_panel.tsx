import scenarios from "examples:scenarios";
import { useSignal } from "@preact/signals";
import { useEffect, useRef } from "preact/hooks";
import { keptScenario } from "../api/client";
import { Button } from "../controls/button";
import { Field, Select } from "../controls/field";
import type { Step } from "../generated/protocol";
import { payloadText } from "../payload/payload";
import { headOf, headText } from "../state/head";
import { announce, attempt, tellFailure } from "../state/notices";
import { openScenario } from "../state/phones";
import { obstacle, perform, phone, state, tick } from "../state/session";
import { fragmentOf } from "./link";

function save(name: string, text: string): void {
  const address = URL.createObjectURL(new Blob([text], { type: "application/json" }));
  const link = document.createElement("a");
  link.href = address;
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(address), 10_000);
}

const fileNameOf = (name: string) => name.trim().replace(/[^\p{L}\p{N}._-]+/gu, "_") || "session";

function Download() {
  const name = useSignal("session");
  /** The phone, and how many steps it had, as it was saved. */
  const saved = useSignal("");
  const session = `${phone.value} ${state.value?.steps.length}`;
  const isSaved = saved.value === session;
  const file = `${fileNameOf(name.value)}.json`;
  const download = async () => {
    const id = phone.value;
    if (id === null) return;
    await attempt(async () => {
      save(file, await keptScenario(id));
      saved.value = session;
      tick("keep");
      announce(`${file} is downloaded.`);
    });
  };
  const nothing = state.value?.canBeKept ? null : "There is nothing to keep yet: open the application first.";
  return (
    <section>
      <h3>Keep this session</h3>
      <p class="faint">As a scenario that expects what has happened here, and fails once it changes.</p>
      <div class="row">
        <Field
          label="Name"
          value={name.value}
          onValue={(value) => {
            name.value = value;
          }}
        />
        <Button class="button button-main" onPress={download} obstacle={obstacle.value ?? nothing} guide="keep">
          Download scenario
        </Button>
      </div>
      <p class={isSaved ? "run run-ready" : "run"}>
        {isSaved ? "Saved. Run it with" : "It then runs with"} <code class="code">pellion test {file}</code>
      </p>
      <p class="note">
        The browser puts the file into its download folder; the program is{" "}
        <code class="code">build/release/pellion</code> in the project.
      </p>
    </section>
  );
}

const marks: Record<Step["state"], string> = { done: "✓", failed: "✗", waiting: "○" };

/** A step without an argument is written as its name alone. */
const shortened = (step: string) => /^(?:\{"(\w+)":\{\}\}|"(\w+)")$/.exec(step)?.slice(1).find(Boolean) ?? step;

/** Scrolls the list alone; scrollIntoView would move the whole page. */
function showInside(list: HTMLElement, item: HTMLElement): void {
  const top = item.offsetTop - list.offsetTop;
  const bottom = top + item.offsetHeight;
  if (top < list.scrollTop) list.scrollTop = top;
  else if (bottom > list.scrollTop + list.clientHeight) list.scrollTop = bottom - list.clientHeight;
}

function Steps() {
  const steps = state.value?.steps ?? [];
  const waiting = steps.filter((step) => step.state === "waiting").length;
  const nothing = waiting === 0 ? "No step waits." : null;
  const list = useRef<HTMLOListElement>(null);
  useEffect(() => {
    const next = list.current?.querySelector<HTMLElement>("[aria-current]") ?? list.current?.lastElementChild;
    if (list.current && next instanceof HTMLElement) showInside(list.current, next);
  }, [steps.length, waiting]);
  if (steps.length === 0) return <p class="empty">No steps yet. What you do with the phone appears here as steps.</p>;
  return (
    <>
      {(waiting > 0 || state.value?.hasFailed) && (
        <div class="group">
          <Button
            class="button button-main"
            onPress={() => perform({ do: "next" })}
            obstacle={obstacle.value ?? nothing}
          >
            Next step
          </Button>
          <Button onPress={() => perform({ do: "rest" })} obstacle={obstacle.value ?? nothing}>
            Run the rest
          </Button>
          <span class="faint small">{waiting} waiting</span>
          {state.value?.hasFailed && <strong class="bad small">An expectation did not hold.</strong>}
        </div>
      )}
      <ol class="steps" ref={list}>
        {steps.map((step, index) => (
          <li
            key={index}
            class={`step step-${step.state}`}
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

async function open(text: string, file?: string): Promise<void> {
  try {
    await openScenario(text, headOf(text), file);
  } catch (error) {
    // The server names the place of what is wrong.
    if (error instanceof SyntaxError || error instanceof TypeError) await openScenario(text, {}, file);
    else throw error;
  }
}

async function textOf(file: File): Promise<string | null> {
  try {
    return new TextDecoder("utf-8", { fatal: true }).decode(await file.arrayBuffer());
  } catch (error) {
    if (error instanceof TypeError) return null;
    throw error;
  }
}

function Open() {
  const chosen = useSignal("a_day");
  const input = useRef<HTMLInputElement>(null);
  const openFile = async (file: File | undefined) => {
    if (!file) return;
    if (file.size > 1024 * 1024) tellFailure(`${file.name} is no scenario for the lab: it is larger than 1 MiB.`);
    else {
      const text = await textOf(file);
      if (text === null) tellFailure(`${file.name} is no scenario: it is not text in UTF-8.`);
      else await open(text, file.name);
    }
    if (input.current) input.current.value = "";
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
        <span>Or a file</span>
        <input
          ref={input}
          class="input"
          type="file"
          accept=".json,application/json"
          onChange={(event) => void openFile(event.currentTarget.files?.[0])}
        />
      </label>
    </section>
  );
}

function CopyLink() {
  const copied = useSignal<string | null>(null);
  const link = useSignal("");
  const copy = async () => {
    try {
      const { fragment, withheld } = fragmentOf(payloadText.value, headText.value);
      link.value = location.origin + location.pathname + fragment;
      const without = withheld.length === 0 ? "" : ` It does not carry ${withheld.join(" and ")}.`;
      await navigator.clipboard.writeText(link.value);
      copied.value = `Copied.${without}`;
    } catch (error) {
      if (link.value === "") tellFailure((error as Error).message);
      else copied.value = "The browser does not let the page copy. Copy the link from here:";
    }
    announce(copied.value ?? "");
  };
  return (
    <section>
      <h3>Share it</h3>
      <p class="faint">
        The link carries the payload and the application, in the part after #, which no server receives. Another lab
        opens it at its own address.
      </p>
      <Button onPress={copy}>Copy link</Button>
      {copied.value !== null && (
        <>
          <p class="note">{copied.value}</p>
          <input class="input code" readOnly aria-label="The link" value={link.value} />
        </>
      )}
    </section>
  );
}

export function KeepPanel() {
  return (
    <>
      <Download />
      <section>
        <h3>Steps</h3>
        <Steps />
      </section>
      <Open />
      <CopyLink />
    </>
  );
}
