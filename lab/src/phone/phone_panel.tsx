import { state } from "../state/session";
import { ConsentDrawer } from "./consent";
import { Badge, Events, Power, Time, Token } from "./controls";
import { Screen } from "./screen";

export function PhonePanel() {
  return (
    <>
      <div class="device">
        <Screen state={state.value} />
      </div>
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
