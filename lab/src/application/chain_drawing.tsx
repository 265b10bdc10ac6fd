// Who is called in which order, as it stands in the runtime. The drawing is made of ordered lists: what is drawn as boxes
// and arrows is read out as a list.
import type { Chain, Participant } from "../generated/protocol";
import { chain } from "../state/session";

type Callback = Chain["callbacks"][number];

const callbackWords: Record<Callback["callback"], string> = {
  token: "Device token",
  failure: "No device token",
  background: "Notification in the background",
  foreground: "Notification in the foreground",
  response: "The user's response",
};

const kindWords: Record<Participant["kind"], string> = {
  module: "module",
  kit: "other kit",
  application: "application",
  interceptor: "interceptor",
};

const kinds = Object.keys(kindWords) as Participant["kind"][];

/** How many callbacks do not reach everybody that they should. */
export const conflictsIn = (drawn: Chain | null) =>
  drawn?.callbacks.filter(({ missing, raised }) => missing.length > 0 || raised !== null).length ?? 0;

function Box({ participant: { name, kind } }: { participant: Participant }) {
  return (
    <span class={`box box-${kind}`}>
      <span class="box-name">{kind === "module" && name === "module" ? "Module" : name}</span>
      <span class="box-kind">{kindWords[kind]}</span>
    </span>
  );
}

function CallbackDrawing({ callback: { callback, order, missing, raised } }: { callback: Callback }) {
  return (
    <section class={missing.length > 0 || raised !== null ? "callback callback-conflict" : "callback"}>
      <h4>
        {callbackWords[callback]} <span class="faint code small">{callback}</span>
      </h4>
      <div class="callback-drawing">
        {order.length === 0 ? (
          <p class="faint small">Nobody is called.</p>
        ) : (
          <ol class="chain" aria-label={`Called in this order: ${callbackWords[callback]}`}>
            {order.map((participant, index) => (
              <li key={`${index} ${participant.name}`} class="chain-link">
                <Box participant={participant} />
              </li>
            ))}
          </ol>
        )}
        {missing.length > 0 && (
          <ul class="missing" aria-label="Conflict: not called">
            {missing.map((participant) => (
              <li key={`${participant.kind} ${participant.name}`}>
                <Box participant={participant} /> <strong class="bad">is not called</strong>
              </li>
            ))}
          </ul>
        )}
        {raised !== null && <p class="bad small">Raises {raised}</p>}
      </div>
    </section>
  );
}

type Delegate = Chain["delegates"][number];

const sideWords = {
  application: "The application's delegate",
  notificationCenter: "The notification center's delegate",
};

function DelegateClasses({ delegate: { of, object, classes } }: { delegate: Delegate }) {
  return (
    <section class="classes">
      <h4>
        {sideWords[of]} <span class="faint">{object ?? "none"}</span>
      </h4>
      <ol class="class-list" aria-label="Its class and the ancestors">
        {classes.map(({ name, methods }) => (
          <li key={name} class="class">
            <span class="class-name code">{name}</span>
            {methods.length === 0 ? (
              <span class="faint small">none of the callbacks</span>
            ) : (
              <ul class="methods">
                {methods.map(({ callback, owner, kind }) => (
                  <li key={callback} class={`method method-${kind}`}>
                    <span class="code">{callback}:</span>{" "}
                    <span class="method-owner">{kind === "module" ? "the module's" : `code of ${owner}`}</span>
                  </li>
                ))}
              </ul>
            )}
          </li>
        ))}
      </ol>
    </section>
  );
}

export function ChainDrawing() {
  const drawn = chain.value;
  if (!drawn) {
    return <p class="empty">Open the application to see who is called in which order.</p>;
  }
  const conflicts = conflictsIn(drawn);
  return (
    <div class="drawing">
      <p class={conflicts > 0 ? "bad" : "faint"}>
        {conflicts === 0
          ? "Every participant is called."
          : `Conflict: ${conflicts === 1 ? "one callback does" : `${conflicts} callbacks do`} not reach everybody.`}
      </p>
      <ul class="legend" aria-label="Kinds of participants">
        {kinds.map((kind) => (
          <li key={kind} class={`legend-entry legend-${kind}`}>
            {kindWords[kind]}
          </li>
        ))}
      </ul>
      {drawn.callbacks.map((callback) => (
        <CallbackDrawing key={callback.callback} callback={callback} />
      ))}
      <h3>Whose code stands in the delegates' classes</h3>
      {drawn.delegates.map((delegate) => (
        <DelegateClasses key={delegate.of} delegate={delegate} />
      ))}
    </div>
  );
}
