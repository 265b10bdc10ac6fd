// What the page tells the user beside the phone's own doings.
import { useRef } from "preact/hooks";
import { Button } from "../controls/button";
import { keepFocus } from "../controls/focus";
import { announcement, closeNotice, notices } from "../state/notices";
import { tryAgain, whyNoPhone } from "../state/phones";
import { connection } from "../state/session";

const unknownBrowser =
  "The lab does not know this browser; perhaps it was started again. In another tab, open the address that pellion lab " +
  "prints, then try again.";

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
          <span>
            {whyNoPhone.value ?? "The phone has ended: the lab was started again, or the phone was idle for an hour."}
          </span>
          <Button class="button" onPress={() => andThenFocus(tryAgain)}>
            Start a new phone with the same application
          </Button>
        </div>
      );
    case "forbidden":
    case "none":
      return (
        <div class="banner" role="alert">
          <span>{whyNoPhone.value ?? unknownBrowser}</span>
          <Button class="button" onPress={() => andThenFocus(tryAgain)}>
            Try again
          </Button>
        </div>
      );
    default:
      return null;
  }
}

/** A banner's button goes with the banner. */
async function andThenFocus(start: () => Promise<unknown>): Promise<void> {
  await start();
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
