import { type Signal, useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { bound, boundEntry, Field, plainChoices, Select } from "../controls/field";
import { keepFocus } from "../controls/focus";
import { performStep, runningObstacle, state } from "../state/session";
import {
  addToOrder,
  type Kit,
  mostKits,
  moveInOrder,
  order,
  removeFromOrder,
  runOrder,
  type Starter,
  sidesOfKits,
  waysOfKits,
} from "./kits";

const sideWords = {
  application: "the application's delegate",
  notificationCenter: "the notification center's delegate",
};
const sideChoices = sidesOfKits.map((side) => ({ value: side, text: sideWords[side] }));
const wayWords = {
  replaces: "replaces the methods of",
  exchanges: "exchanges the methods of",
  subclasses: "subclasses",
  reassigns: "reassigns",
};
const wayChoices = waysOfKits.map((way) => ({ value: way, text: wayWords[way] }));

const sentence = ({ name, does, of }: Kit) => `${name} ${wayWords[does]} ${sideWords[of]}`;

function OrderRow({ starter, index }: { starter: Starter; index: number }) {
  const { id, kit } = starter;
  const name = kit?.name ?? "the module";
  const remove = () => {
    removeFromOrder(id);
    // The next kit, or the last one.
    keepFocus(
      `.starter:nth-child(${index + 1}) .starter-remove`,
      ".starter:nth-last-child(-n + 2) .starter-remove",
      "#add-kit",
    );
  };
  return (
    <li class={kit ? "starter" : "starter starter-module"}>
      <span class="starter-text">{kit ? sentence(kit) : "The module starts"}</span>
      <Button
        class="button button-small"
        onPress={() => moveInOrder(id, -1)}
        obstacle={index === 0 ? "It is the first already." : null}
        label={`Move ${name} up`}
      >
        ↑
      </Button>
      <Button
        class="button button-small"
        onPress={() => moveInOrder(id, 1)}
        obstacle={index === order.value.length - 1 ? "It is the last already." : null}
        label={`Move ${name} down`}
      >
        ↓
      </Button>
      {kit && (
        <Button class="button button-small starter-remove" onPress={remove} label={`Remove ${sentence(kit)}`}>
          ✕
        </Button>
      )}
    </li>
  );
}

function StartOrder() {
  const starters = order.value;
  return (
    <section>
      <h4>Start-up order</h4>
      <ol class="starters">
        {starters.map((starter, index) => (
          <OrderRow key={starter.id} starter={starter} index={index} />
        ))}
      </ol>
      <Button
        onPress={runOrder}
        obstacle={starters.length === 1 ? "Add a kit first." : null}
        title="Another phone, on which they start in this order"
      >
        Start a new phone in this order
      </Button>
    </section>
  );
}

function KitFields({ form }: { form: Signal<Kit> }) {
  const name = boundEntry(form, "name");
  return (
    <div class="row row-kit">
      <Field label="Name" {...name} onValue={(value) => name.onValue(value.trim())} />
      <Select label="What it does" choices={wayChoices} {...boundEntry(form, "does")} />
      <Select label="To what" choices={sideChoices} {...boundEntry(form, "of")} />
    </div>
  );
}

export function KitsSection() {
  const form = useSignal<Kit>({ name: "Ads", does: "exchanges", of: "notificationCenter" });
  const kit = form.value;
  const unnamed = kit.name === "" ? "Name the kit." : null;
  const isFull = order.value.length > mostKits ? `There may be ${mostKits} kits.` : null;
  const installed = state.value?.kits ?? [];
  return (
    <>
      <p class="faint">
        Other kits change the delegates too. Installed:{" "}
        {installed.length === 0 ? "none" : <span class="code">{installed.join(", ")}</span>}.
      </p>
      <KitFields form={form} />
      <div class="group">
        <Button
          class="button button-main"
          onPress={() => performStep({ kit })}
          obstacle={runningObstacle.value ?? unnamed}
        >
          Install now
        </Button>
        <Button id="add-kit" onPress={() => addToOrder(kit)} obstacle={unnamed ?? isFull}>
          Add to the start-up order
        </Button>
      </div>
      <StartOrder />
    </>
  );
}

const noneText = "none";

function DelegateSelect({
  label,
  now,
  step,
}: {
  label: string;
  now: string | null;
  step: (name: string | null) => Promise<boolean>;
}) {
  const names = state.value?.delegates ?? [];
  const chosen = useSignal<string | null>(null);
  const value = chosen.value ?? now ?? noneText;
  return (
    <div class="row">
      <Select
        label={label}
        value={value}
        choices={plainChoices([...names, noneText])}
        onValue={(next) => {
          chosen.value = next;
        }}
      />
      <Button
        onPress={async () => {
          const wanted = chosen.value;
          await step(value === noneText ? null : value);
          // What was chosen meanwhile stays.
          if (chosen.value === wanted) chosen.value = null;
        }}
        obstacle={runningObstacle.value}
        label={`Set: ${label}`}
      >
        Set
      </Button>
    </div>
  );
}

export function DelegatesSection() {
  const names = state.value?.delegates ?? [];
  const chosen = useSignal("");
  // A delegate that intercepts itself never ends; nobody wants that first.
  const used = [state.value?.applicationDelegate, state.value?.notificationDelegate];
  const offered = names.find((candidate) => !used.includes(candidate)) ?? names[0] ?? "";
  const name = names.includes(chosen.value) ? chosen.value : offered;
  const blocked = runningObstacle.value ?? (name === "" ? "The application has no such object." : null);
  return (
    <>
      <DelegateSelect
        label="The application's delegate"
        now={state.value?.applicationDelegate ?? null}
        step={(setDelegate) => performStep({ setDelegate })}
      />
      <DelegateSelect
        label="The notification center's delegate"
        now={state.value?.notificationDelegate ?? null}
        step={(setNotificationDelegate) => performStep({ setNotificationDelegate })}
      />
      <div class="row">
        <Select label="Interceptor or object" choices={plainChoices(names)} {...bound(chosen)} value={name} />
        <Button onPress={() => performStep({ registerInterceptor: name })} obstacle={blocked}>
          Register
        </Button>
        <Button onPress={() => performStep({ unregisterInterceptor: name })} obstacle={blocked}>
          Unregister
        </Button>
        <Button onPress={() => performStep({ release: name })} obstacle={blocked}>
          Release
        </Button>
      </div>
    </>
  );
}
