// The phone's screen: the lock screen, or the application in the foreground.
import { useLayoutEffect, useRef } from "preact/hooks";
import { Button } from "../controls/button";
import type { State } from "../generated/protocol";
import { applicationName } from "../state/head";
import { connection, isBusyForLong, obstacle, perform } from "../state/session";
import { dayOf, timeOfDay } from "./clock";
import { NotificationCard } from "./notification_card";

function StatusBar({ state }: { state: State }) {
  return (
    <div class="status-bar">
      <span>
        {timeOfDay(state.now)} <abbr title="Coordinated Universal Time">UTC</abbr>
      </span>
      <span class="pill" aria-hidden="true" />
      <span>
        {isBusyForLong.value ? "working…" : state.running ? (state.open ? "open" : "in background") : "not running"}
      </span>
    </div>
  );
}

function Notifications({ state }: { state: State }) {
  if (state.notifications.length === 0) return null;
  return (
    <ul class="cards" aria-label="Notifications, the latest first">
      {state.notifications.map((notification, index) => {
        // Counted from the oldest, so that a card keeps its key when others come or go.
        const same = state.notifications.slice(index).filter(({ name }) => name === notification.name);
        return <NotificationCard key={`${same.length} ${notification.name}`} notification={notification} />;
      })}
    </ul>
  );
}

function Icon({ state }: { state: State }) {
  const name = applicationName.value;
  const badge = state.badge ?? 0;
  return (
    <div class="dock">
      <Button
        class="app-icon"
        onPress={() => perform({ do: "open" })}
        obstacle={obstacle.value}
        label={badge > 0 ? `Open ${name}, badge ${badge}` : `Open ${name}`}
      >
        <span class="app-letter">{[...name][0]}</span>
        {badge !== 0 && <span class="badge">{badge}</span>}
      </Button>
      <span class="app-name" aria-hidden="true">
        {name}
      </span>
    </div>
  );
}

function LockScreen({ state }: { state: State }) {
  return (
    <div class="screen screen-locked">
      <StatusBar state={state} />
      <div class="big-clock">
        <div class="big-time">{timeOfDay(state.now)}</div>
        <div>{dayOf(state.now)}</div>
      </div>
      <div class="screen-scroll">
        <Notifications state={state} />
        {state.notifications.length === 0 && <p class="screen-empty">No notifications</p>}
      </div>
      <Icon state={state} />
    </div>
  );
}

function Facts({ state }: { state: State }) {
  const rows: [string, string][] = [
    ["Application's delegate", state.applicationDelegate ?? "none"],
    ["Notification center's delegate", state.notificationDelegate ?? "none"],
  ];
  if (state.interceptors.length > 0) rows.push(["Interceptors", state.interceptors.join(", ")]);
  if (state.kits.length > 0) rows.push(["Other kits", state.kits.join(", ")]);
  return (
    <dl class="facts">
      {rows.map(([name, value]) => (
        <div key={name}>
          <dt>{name}</dt>
          <dd class="code">{value}</dd>
        </div>
      ))}
    </dl>
  );
}

function OpenApplication({ state }: { state: State }) {
  const last = state.opened[state.opened.length - 1];
  return (
    <div class="screen screen-app">
      <StatusBar state={state} />
      <div class="screen-scroll">
        <Notifications state={state} />
        <h3 class="app-title">{applicationName.value}</h3>
        <div class="opened">
          <div class="small faint">{last === undefined ? "No URL was opened yet" : "Opened"}</div>
          {last !== undefined && <div class="opened-url code">{last}</div>}
          {state.opened.length > 1 && (
            <ol class="opened-before code" aria-label="Opened before">
              {state.opened
                .slice(-4, -1)
                .reverse()
                .map((url, index) => (
                  <li key={`${index} ${url}`}>{url}</li>
                ))}
            </ol>
          )}
        </div>
        <Facts state={state} />
      </div>
      <Button
        class="home"
        onPress={() => perform({ do: "close" })}
        obstacle={obstacle.value}
        label={`Close ${applicationName.value}`}
      >
        <span class="home-line" />
      </Button>
    </div>
  );
}

/** A press on the screen may remove what was pressed. The focus then stays on the screen. */
function useKeptFocus() {
  const screen = useRef<HTMLDivElement>(null);
  const pressed = useRef<Element | null>(null);
  useLayoutEffect(() => {
    if (!pressed.current || pressed.current.isConnected) return;
    pressed.current = null;
    if (document.activeElement !== document.body) return;
    screen.current?.querySelector("button")?.focus({ preventScroll: true });
  });
  const onClickCapture = () => {
    pressed.current = document.activeElement;
  };
  return { ref: screen, onClickCapture };
}

/** In the place of a phone that is not there. */
const noState: Partial<Record<typeof connection.value, string>> = {
  gone: "The phone has ended.",
  forbidden: "No phone",
  none: "No phone",
  lost: "The lab does not answer.",
};

export function Screen({ state }: { state: State | null }) {
  const kept = useKeptFocus();
  if (!state) {
    return (
      <div class="screen screen-locked">
        <p class="screen-empty">{noState[connection.value] ?? "The phone is starting…"}</p>
      </div>
    );
  }
  return (
    <div class="screen-frame" {...kept}>
      {state.open ? <OpenApplication state={state} /> : <LockScreen state={state} />}
    </div>
  );
}
