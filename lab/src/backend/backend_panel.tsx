import { useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { Field, plainChoices, Select } from "../controls/field";
import { headText } from "../state/head";
import { startPhone } from "../state/phones";
import { obstacle, performStep, state } from "../state/session";
import { type BackendForm, backendOf, formProblem, presets, usualForm } from "./backend_step";

type Step = Parameters<typeof performStep>[0];

interface FormProps {
  form: BackendForm;
  change: (part: Partial<BackendForm>) => void;
}

function AnswerFields({ form, change }: FormProps) {
  const isOff = form.connection !== "accepted";
  return (
    <>
      <div class="row">
        <Field label="Status" isNumber disabled={isOff} value={form.status} onValue={(status) => change({ status })} />
        <Field
          label="Delay, ms"
          isNumber
          placeholder="0"
          disabled={isOff}
          value={form.delay}
          onValue={(delay) => change({ delay })}
        />
        <Field
          label="For so many requests"
          isNumber
          placeholder="all"
          disabled={isOff}
          value={form.times}
          onValue={(times) => change({ times })}
        />
      </div>
      <Field
        label="Body"
        isCode
        rows={2}
        placeholder={'{"status":"ok"}'}
        disabled={isOff}
        value={form.body}
        onValue={(body) => change({ body })}
      />
    </>
  );
}

function MannersFields({ form, change }: FormProps) {
  const isOff = form.connection !== "accepted";
  const isEndless = form.endless !== "no";
  return (
    <div class="row">
      <Select
        label="Sends"
        value={isEndless ? "everything" : form.sends}
        disabled={isOff || isEndless}
        onValue={(sends) => change({ sends })}
        choices={plainChoices(["everything", "half the body", "headers", "half the headers", "nothing"])}
      />
      <Select
        label="Then"
        value={isEndless ? "closes" : form.afterwards}
        disabled={isOff || isEndless}
        onValue={(afterwards) => change({ afterwards })}
        choices={plainChoices(["closes", "resets", "waits"])}
      />
      <Select
        label="Endless"
        value={form.endless}
        disabled={isOff}
        onValue={(endless) => change({ endless })}
        choices={plainChoices(["no", "headers", "body"])}
      />
      <Field
        label="Seconds a byte"
        isNumber
        placeholder="0"
        disabled={isOff}
        value={form.pace}
        onValue={(pace) => change({ pace })}
      />
    </div>
  );
}

function Now() {
  const backend = state.value?.backend ?? {};
  const isUsual = Object.keys(backend).length === 0;
  return (
    <p class="now">
      <span class="faint">Now:</span>{" "}
      {isUsual ? "it answers as usual, with 200." : <code class="code">{JSON.stringify(backend)}</code>}
    </p>
  );
}

function OwnServer() {
  const address = useSignal("");
  const server = state.value?.server ?? null;
  const isAddress = /^https?:\/\/[^\s/]+/.test(address.value);
  const missing = isAddress ? null : "Write the server's address, such as https://staging.example.";
  return (
    <section>
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
          onValue={(value) => {
            address.value = value.trim();
          }}
        />
        <Button
          onPress={() => startPhone(headText.value, { server: address.value })}
          obstacle={missing}
          title="Another phone; this one stays as the phone before"
        >
          New phone with it
        </Button>
      </div>
      {server !== null && (
        <Button onPress={() => startPhone(headText.value, { server: null })}>
          New phone with the built-in backend
        </Button>
      )}
    </section>
  );
}

function Presets({ choose }: { choose: (form: BackendForm) => void }) {
  return (
    <fieldset class="group" aria-label="Fill in">
      <span class="faint small" aria-hidden="true">
        Fill in:
      </span>
      {presets.map((preset) => (
        <Button
          key={preset.name}
          class="button button-small"
          onPress={() => choose({ ...usualForm, ...preset.form })}
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
  const change = (part: Partial<BackendForm>) => {
    form.value = { ...form.value, ...part };
  };
  const server = state.value?.server ?? null;
  const blocked = obstacle.value ?? (server === null ? null : "This phone has your own server instead of the backend.");
  const isUsual = Object.keys(state.value?.backend ?? {}).length === 0;
  return (
    <>
      <h3>How the backend answers from now on</h3>
      <Now />
      <Presets choose={change} />
      <Select
        label="Connection"
        value={form.value.connection}
        onValue={(connection) => change({ connection })}
        choices={plainChoices(["accepted", "refused", "closed"])}
      />
      <AnswerFields form={form.value} change={change} />
      <MannersFields form={form.value} change={change} />
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
