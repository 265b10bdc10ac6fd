// What the page tells the user beside the phone's own doings.
import { useRef } from "preact/hooks";
import { Button } from "../controls/button";
import { keepFocus } from "../controls/focus";
import { headText } from "../state/head";
import { announcement, closeNotice, notices } from "../state/notices";
import { startPhone } from "../state/phones";
import { connection } from "../state/session";

export function ConnectionBanner() {
  switch (connection.value) {
    case "lost":
      return (
        <div class="banner" role="alert">
          The lab's server does not answer. Check that pellion lab still runs. The page connects again by itself.
        </div>
      );
    case "gone":
      return (
        <div class="banner" role="alert">
          <span>The phone has ended: the lab was started again, or the phone was idle for an hour.</span>
          <Button class="button" onPress={startAgain}>
            Start a new phone with the same application
          </Button>
        </div>
      );
    case "forbidden":
      return (
        <div class="banner" role="alert">
          The lab has given this page no phone. If it does not know this browser, open the address that pellion lab
          prints.
          <Button class="button" onPress={startAgain}>
            Try again
          </Button>
        </div>
      );
    default:
      return null;
  }
}

/** What a banner's button does, which goes with the banner. */
async function startAgain(): Promise<void> {
  await startPhone(headText.value);
  keepFocus('[data-guide="open"]');
}

export function Notices() {
  /** What had the focus before a message got it. */
  const before = useRef<EventTarget | null>(null);
  const close = (id: number) => {
    closeNotice(id);
    keepFocus(".notice .button", before.current instanceof Element ? before.current : null);
  };
  if (notices.value.length === 0) return null;
  return (
    <div
      class="notices"
      onFocusIn={({ currentTarget, relatedTarget }) => {
        const isOutside = relatedTarget instanceof Node && !currentTarget.contains(relatedTarget);
        if (isOutside) before.current = relatedTarget;
      }}
    >
      {notices.value.map(({ id, kind, text }) => (
        <div key={id} class={`notice notice-${kind}`} role={kind === "failure" ? "alert" : "status"}>
          <span class="notice-text">{text}</span>
          <Button class="button button-quiet" onPress={() => close(id)} label="Close this message">
            ✕
          </Button>
        </div>
      ))}
    </div>
  );
}

export function Announcer() {
  return (
    <div class="hidden-text" role="status" aria-live="polite">
      {announcement.value}
    </div>
  );
}
