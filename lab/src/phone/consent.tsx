// The user's decisions on tracking, as the step "consent".
import { useSignal, useSignalEffect } from "@preact/signals";
import { Button } from "../controls/button";
import { Drawer } from "../controls/drawer";
import { Check, Field } from "../controls/field";
import type { State } from "../generated/protocol";
import { performStep, runningObstacle, state } from "../state/session";

type Consent = State["consent"];

const nobody: Consent = { anonymousUser: false, anonymousTracking: false, anonymousId: null, deviceId: null };
const isSame = (one: Consent, other: Consent) => JSON.stringify(one) === JSON.stringify(other);
const textOrNull = (text: string) => (text === "" ? null : text);

function summary({ anonymousUser, anonymousId, deviceId }: Consent): string {
  if (anonymousUser) return `anonymous${anonymousId === null ? "" : `, ${anonymousId}`}`;
  return deviceId === null ? "identified, no device id" : `identified, ${deviceId}`;
}

/** Only what changes: the step leaves out what stays. */
function changes(now: Consent, wanted: Consent): Partial<Consent> {
  const keys = Object.keys(wanted) as (keyof Consent)[];
  return Object.fromEntries(keys.filter((key) => wanted[key] !== now[key]).map((key) => [key, wanted[key]]));
}

interface IdentifiersProps {
  consent: Consent;
  change: (part: Partial<Consent>) => void;
}

function Identifiers({ consent: { anonymousId, deviceId }, change }: IdentifiersProps) {
  return (
    <div class="row">
      <Field
        label="Anonymous id"
        isCode
        placeholder="none"
        value={anonymousId ?? ""}
        onValue={(value) => change({ anonymousId: textOrNull(value) })}
      />
      <Field
        label="Device id"
        isCode
        placeholder="none"
        value={deviceId ?? ""}
        onValue={(value) => change({ deviceId: textOrNull(value) })}
      />
    </div>
  );
}

export function ConsentDrawer() {
  const draft = useSignal<Consent>(nobody);
  const known = useSignal<Consent>(nobody);
  // The form follows the phone, until the user changes it.
  useSignalEffect(() => {
    const now = state.value?.consent ?? nobody;
    if (isSame(now, known.peek())) return;
    draft.value = now;
    known.value = now;
  });
  const change = (part: Partial<Consent>) => {
    draft.value = { ...draft.value, ...part };
  };
  const { anonymousUser, anonymousTracking } = draft.value;
  const nothing = isSame(draft.value, known.value) ? "Nothing is changed." : null;
  return (
    <Drawer title="Consent" note={summary(known.value)}>
      <Check
        label="Anonymous user"
        checked={anonymousUser}
        onChecked={(checked) => change({ anonymousUser: checked })}
      />
      <Check
        label="Anonymous tracking allowed"
        checked={anonymousTracking}
        onChecked={(checked) => change({ anonymousTracking: checked })}
      />
      <Identifiers consent={draft.value} change={change} />
      <Button
        onPress={() => performStep({ consent: changes(known.value, draft.value) })}
        obstacle={runningObstacle.value ?? nothing}
      >
        Decide
      </Button>
    </Drawer>
  );
}
