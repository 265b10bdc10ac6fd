import { type Signal, useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { boundEntry, Field, plainChoices, Select } from "../controls/field";
import { keepFocus } from "../controls/focus";
import { startAgain } from "../state/phones";
import { obstacle, performStep, state } from "../state/session";
import { type BackendForm, backendOf, formProblem, presets, usualForm } from "./backend_step";
import { inWords } from "./backend_words";

type Step = Parameters<typeof performStep>[0];

type Form = Signal<BackendForm>;

function AnswerFields({ form }: { form: Form }) {
  const disabled = form.value.connection !== "accepted";
  const entry = (name: keyof BackendForm) => ({ ...boundEntry(form, name), disabled });
  return (
    <>
      <div class="row">
        <Field label="Status" isNumber {...entry("status")} />
        <Field label="Delay, ms" isNumber placeholder="0" {...entry("delay")} />
        <Field label="For so many requests" isNumber placeholder="all" {...entry("times")} />
      </div>
      <Field label="Body" isCode rows={2} placeholder={'{"status":"ok"}'} {...entry("body")} />
    </>
  );
}

const sendings = plainChoices(["everything", "half the body", "headers", "half the headers", "nothing"]);
const endings = plainChoices(["closes", "resets", "waits"]);
const endlessParts = plainChoices(["no", "headers", "body"]);

function MannersFields({ form }: { form: Form }) {
  const isOff = form.value.connection !== "accepted";
  const isEndless = form.value.endless !== "no";
  // An endless answer sends everything, and closes at the end that never comes.
  const endingEntry = (name: "sends" | "afterwards") => {
    const entry = { ...boundEntry(form, name), disabled: isOff || isEndless };
    return isEndless ? { ...entry, value: usualForm[name] } : entry;
  };
  return (
    <div class="row">
      <Select label="Sends" choices={sendings} {...endingEntry("sends")} />
      <Select label="Then" choices={endings} {...endingEntry("afterwards")} />
      <Select label="Endless" choices={endlessParts} {...boundEntry(form, "endless")} disabled={isOff} />
      <Field label="Seconds a byte" isNumber placeholder="0" {...boundEntry(form, "pace")} disabled={isOff} />
    </div>
  );
}

function Now() {
  return (
    <p class="now">
      <span class="faint">Now:</span> {state.value?.server ? "your own server answers" : inWords(state.value?.backend)}.
    </p>
  );
}

function OwnServer() {
  const address = useSignal("");
  const server = state.value?.server ?? null;
  const isAddress = /^https?:\/\/[^\s/]\S*$/.test(address.value) && URL.canParse(address.value);
  const missing = isAddress ? null : "Write the server's address without spaces, such as https://staging.example.";
  return (
    <section class="own-server">
      <h3>Your own server</h3>
      <p class="faint">
        {server === null
          ? "The phone's requests go to the backend that is built into the lab."
          : `The phone's requests go to ${server}.`}
      </p>
      <div class="row">
        <Field
          label="Address"
          isCode
          placeholder="http://127.0.0.1:8080"
          value={address.value}
          problem={/\s/.test(address.value) ? missing : null}
          onValue={(value) => {
            address.value = value.trim();
          }}
        />
        <Button
          onPress={() => startAgain({ server: address.value })}
          obstacle={missing}
          title="Another phone; this one stays as the phone before"
        >
          New phone with it
        </Button>
      </div>
      {server !== null && (
        <Button
          onPress={async () => {
            await startAgain({ server: null });
            keepFocus(".own-server input");
          }}
        >
          New phone with the built-in backend
        </Button>
      )}
    </section>
  );
}

function Presets({ form }: { form: Form }) {
  return (
    <fieldset class="group" aria-label="Fill in">
      <span class="faint small" aria-hidden="true">
        Fill in:
      </span>
      {presets.map((preset) => (
        <Button
          key={preset.name}
          class="button button-small"
          onPress={() => {
            form.value = { ...usualForm, ...preset.form };
          }}
          title="Fills in the form"
        >
          {preset.name}
        </Button>
      ))}
    </fieldset>
  );
}

export function BackendPanel() {
  const form = useSignal(usualForm);
  const server = state.value?.server ?? null;
  const blocked = obstacle.value ?? (server === null ? null : "This phone has your own server instead of the backend.");
  const isUsual = Object.keys(state.value?.backend ?? {}).length === 0;
  return (
    <>
      <h3>How the backend answers from now on</h3>
      <Now />
      <Presets form={form} />
      <Select
        label="Connection"
        choices={plainChoices(["accepted", "refused", "closed"])}
        {...boundEntry(form, "connection")}
      />
      <AnswerFields form={form} />
      <MannersFields form={form} />
      <div class="group">
        <Button
          class="button button-main"
          onPress={() => performStep({ backend: backendOf(form.value) } as Step)}
          obstacle={blocked ?? formProblem(form.value)}
        >
          Answer like this
        </Button>
        <Button
          onPress={() => performStep("backend")}
          obstacle={blocked ?? (isUsual ? "It answers as usual already." : null)}
        >
          Usual answers
        </Button>
      </div>
      <OwnServer />
    </>
  );
}
