import { useLayoutEffect, useRef } from "preact/hooks";
import { state } from "../state/session";
import { ConsentDrawer } from "./consent";
import { Badge, Events, Power, Time, Token } from "./controls";
import { Screen } from "./screen";

/** A control that the screen takes away must not take the focus with it: the screen itself gets it then. */
function Device() {
  const device = useRef<HTMLFieldSetElement>(null);
  const hadFocus = useRef(false);
  const current = state.value;
  useLayoutEffect(() => {
    const isNowhere = document.activeElement === null || document.activeElement === document.body;
    if (hadFocus.current && isNowhere) device.current?.focus();
  }, [current]);
  return (
    <fieldset
      ref={device}
      class="device"
      aria-label="Screen"
      tabIndex={-1}
      onFocusIn={() => {
        hadFocus.current = true;
      }}
      onFocusOut={(event) => {
        // Without a next element it is the screen that has changed, or the user who has clicked beside.
        if (event.relatedTarget) hadFocus.current = false;
      }}
    >
      <Screen state={current} />
    </fieldset>
  );
}

export function PhonePanel() {
  return (
    <>
      <Device />
      <div class="phone-controls">
        <Power />
        <Token />
        <Time />
        <ConsentDrawer />
        <Events />
        <Badge />
      </div>
    </>
  );
}
