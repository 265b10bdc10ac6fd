import { useSignal } from "@preact/signals";
import { keptScenario } from "../api/client";
import { Button } from "../controls/button";
import { Field } from "../controls/field";
import { payloadText } from "../payload/payload";
import { headText } from "../state/head";
import { announce, attempt, tellFailure } from "../state/notices";
import { obstacle, phone, state, tick } from "../state/session";
import { fragmentOf } from "./link";
import { OpenScenario } from "./open_scenario";
import { Steps } from "./steps";

function save(name: string, text: string): void {
  const address = URL.createObjectURL(new Blob([text], { type: "application/json" }));
  const link = document.createElement("a");
  link.href = address;
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(address), 10_000);
}

const fileNameOf = (name: string) => {
  const stem = name.trim().replace(/\.json$/i, "");
  return `${stem.replace(/[^\p{L}\p{N}._-]+/gu, "_") || "session"}.json`;
};

/** As the first line of the kept file says it: without a password in the server's address. */
function commandFor(file: string): string {
  const server = state.value?.server ?? null;
  const address = server?.replace(/:\/\/[^/?#\\"'<>\s]*@/g, "://");
  return address === undefined ? `pellion test ${file}` : `pellion test --server ${address} ${file}`;
}

function Download() {
  const name = useSignal("session");
  /** The phone, and how many steps it had, as it was saved. */
  const saved = useSignal("");
  const session = `${phone.value} ${state.value?.steps.length}`;
  const isSaved = saved.value === session;
  const file = fileNameOf(name.value);
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
      {state.value?.outcome === "failed" && (
        <p class="note note-bad">The opened scenario failed: the kept one fails in pellion test, too.</p>
      )}
      <p class={isSaved ? "run run-ready" : "run"}>
        {isSaved ? "Saved. Run it with" : "It then runs with"} <code class="code">{commandFor(file)}</code>
      </p>
      <p class="note">
        The browser puts the file into its download folder; the program is{" "}
        <code class="code">build/release/pellion</code> in the project.
      </p>
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
      <OpenScenario />
      <CopyLink />
    </>
  );
}
