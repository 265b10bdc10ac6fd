import { Button } from "../controls/button";
import { keepFocus } from "../controls/focus";
import { former, goBack, startAgain } from "../state/phones";
import { connection, isBusy, state } from "../state/session";
import { isGuideClosed, openGuide, type Theme, theme, themes } from "./layout";

const connectionWords = {
  connecting: "connecting",
  connected: "connected",
  lost: "no answer",
  gone: "phone ended",
  forbidden: "no phone",
  none: "no phone",
};

const themeWords: Record<Theme, string> = { system: "System", light: "Light", dark: "Dark" };

function Themes() {
  return (
    <select
      class="input input-small"
      aria-label="Colours"
      value={theme.value}
      onChange={(event) => {
        theme.value = event.currentTarget.value as Theme;
      }}
    >
      {themes.map((name) => (
        <option key={name} value={name}>
          {themeWords[name]}
        </option>
      ))}
    </select>
  );
}

function open(): void {
  openGuide();
  keepFocus(".guide-now .guide-step", ".guide-step");
}

/** There may be no phone before then. */
function back(): void {
  goBack();
  keepFocus("#new-phone");
}

export function Header() {
  return (
    <header class="header">
      <h1>
        <img src="icon.svg" alt="" width="22" height="22" /> pellion lab
      </h1>
      <span class={`connection connection-${connection.value}`}>
        <span class="dot" aria-hidden="true" />
        {connectionWords[connection.value]}
      </span>
      {isBusy.value && (
        <span class="busy">
          <span class="spinner" aria-hidden="true" /> working
        </span>
      )}
      <span class="header-name faint">{state.value?.name}</span>
      <div class="header-end">
        {isGuideClosed.value && (
          <Button id="first-steps" class="button button-quiet" onPress={open}>
            First steps
          </Button>
        )}
        {former.value && (
          <Button class="button button-small" onPress={back} title="This phone stays, and is then the phone before">
            Phone before
          </Button>
        )}
        <Button
          id="new-phone"
          class="button button-small"
          onPress={() => startAgain()}
          title="Another phone with the same application; this one stays as the phone before"
        >
          New phone
        </Button>
        <Themes />
      </div>
    </header>
  );
}
