// What the system and the user do to the phone, beside what its screen offers.
import { useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { Drawer } from "../controls/drawer";
import { bound, Field, plainChoices, Select } from "../controls/field";
import { obstacle, perform, performStep, runningObstacle, state } from "../state/session";

export function Power() {
  const isRunning = state.value?.running ?? false;
  const isOpen = state.value?.open ?? false;
  const openObstacle = obstacle.value ?? (isOpen ? "The application is open already." : null);
  const closeObstacle = runningObstacle.value ?? (isOpen ? null : "The application is in the background already.");
  return (
    <fieldset class="group" aria-label="Application">
      <Button
        class={isRunning ? "button" : "button button-main"}
        onPress={() => perform({ do: "open" })}
        obstacle={openObstacle}
        guide="open"
      >
        Open
      </Button>
      <Button onPress={() => perform({ do: "close" })} obstacle={closeObstacle}>
        Close
      </Button>
      <Button
        onPress={() => perform({ do: "kill" })}
        obstacle={runningObstacle.value}
        title="End it as the system does"
      >
        Kill
      </Button>
      <Button onPress={() => perform({ do: "relaunch" })} obstacle={runningObstacle.value} title="End it and launch it">
        Relaunch
      </Button>
    </fieldset>
  );
}

const steps = [
  { text: "+3 s", name: "3 seconds", seconds: 3 },
  { text: "+1 min", name: "1 minute", seconds: 60 },
  { text: "+1 h", name: "1 hour", seconds: 3600 },
];

const mostSeconds = 10 * 365 * 24 * 3600;

export function Time() {
  const seconds = useSignal("90");
  const amount = Number(seconds.value);
  const isUsable = seconds.value.trim() !== "" && amount >= 0 && amount <= mostSeconds;
  return (
    <Drawer title="Time" isOpen>
      <fieldset class="group" aria-label="Let time pass">
        {steps.map(({ text, name, seconds: fixed }) => (
          <Button
            key={text}
            onPress={() => perform({ do: "wait", seconds: fixed })}
            obstacle={obstacle.value}
            label={`${text}: let ${name} pass`}
            isRepeatable
          >
            {text}
          </Button>
        ))}
        <Button onPress={() => perform({ do: "wait" })} obstacle={obstacle.value} title="Until nothing is due any more">
          Until idle
        </Button>
      </fieldset>
      <div class="row">
        <Field label="Seconds" isNumber {...bound(seconds)} />
        <Button
          onPress={() => perform({ do: "wait", seconds: amount })}
          obstacle={obstacle.value ?? (isUsable ? null : "Write a number of seconds, from 0 to ten years.")}
        >
          Let pass
        </Button>
      </div>
    </Drawer>
  );
}

export function Token() {
  const token = useSignal("0aff00d1e2f30415");
  const error = useSignal("no valid “aps-environment” entitlement found");
  const isHex = /^([0-9a-fA-F]{2})+$/.test(token.value);
  const problem = isHex ? null : "Write bytes in hexadecimal: an even number of digits.";
  return (
    <Drawer title="Device token" isOpen note={state.value?.token ? "handed over" : "none yet"}>
      <div class="row">
        <Field
          label="Token, in hexadecimal"
          isCode
          value={token.value}
          onValue={(value) => (token.value = value.trim())}
          problem={problem}
        />
        <Button
          onPress={() => performStep({ token: token.value })}
          obstacle={runningObstacle.value ?? problem}
          guide="token"
        >
          Hand over
        </Button>
      </div>
      <div class="row">
        <Field label="Or an error" {...bound(error)} />
        <Button onPress={() => performStep({ failToRegister: error.value })} obstacle={runningObstacle.value}>
          Fail
        </Button>
      </div>
    </Drawer>
  );
}

export function Events() {
  const goal = useSignal("shop_purchase");
  const duration = useSignal("125");
  const isLeftOut = duration.value.trim() === "";
  const isNumber = Number.isFinite(Number(duration.value));
  const endSession = () => performStep(isLeftOut ? "endSession" : { endSession: { duration: Number(duration.value) } });
  return (
    <Drawer title="Goal and session">
      <div class="row">
        <Field label="Event" isCode {...bound(goal)} />
        <Button
          onPress={() => performStep({ goal: goal.value })}
          obstacle={runningObstacle.value ?? (goal.value === "" ? "Write the event's name." : null)}
        >
          Report
        </Button>
      </div>
      <div class="row">
        <Field label="Duration (may be empty)" isNumber {...bound(duration)} />
        <Button
          onPress={endSession}
          obstacle={runningObstacle.value ?? (isNumber ? null : "Write the duration as a number, or nothing.")}
        >
          End session
        </Button>
      </div>
    </Drawer>
  );
}

export function Badge() {
  const count = useSignal("3");
  const through = useSignal("application");
  const isUsable = /^-?\d{1,9}$/.test(count.value.trim());
  const set = () => {
    const badge = { count: Number(count.value), through: through.value as "application" | "notificationCenter" };
    return performStep({ badge });
  };
  const shared = state.value?.sharedBadge ?? null;
  return (
    <Drawer title="Badge" note={shared === null ? "not shared" : `shared: ${shared}`}>
      <div class="row">
        <Field label="Count" isNumber {...bound(count)} />
        <Select label="Through" {...bound(through)} choices={plainChoices(["application", "notificationCenter"])} />
        <Button onPress={set} obstacle={runningObstacle.value ?? (isUsable ? null : "Write a whole number.")}>
          Set
        </Button>
      </div>
    </Drawer>
  );
}
