import type { Event as LabEvent, Span } from "../generated/protocol";
import type { Statistics } from "../generated/trace";
import type { Entry } from "../state/event_log";
import { memo } from "./memo";
import { Answer, isRequest, Request } from "./request";

export const timeText = (seconds: number) => seconds.toFixed(3);

const inks = new Set(["faint", "strong", "good", "bad", "actor"]);

function Spans({ line }: { line: Span[] }) {
  return line.map(([text, ink], index) => (
    <span key={index} class={inks.has(ink) ? `ink-${ink}` : ""}>
      {text}
    </span>
  ));
}

const shownWithout = new Set(["backend answer"]);

function Details({ entry }: { entry: Entry }) {
  const { actor, what, details, lines } = entry.event;
  if (isRequest(entry)) return <Request entry={entry} />;
  if (shownWithout.has(`${actor} ${what}`)) return <Answer answer={details} />;
  const more = lines.slice(1);
  if (more.length > 0) {
    return (
      <div class="lines">
        {more.map((line, index) => (
          <div key={index}>
            <Spans line={line} />
          </div>
        ))}
      </div>
    );
  }
  if (Object.keys(details).length === 0) return <p class="faint">There are no further details.</p>;
  return <pre>{JSON.stringify(details, null, 2)}</pre>;
}

/** What a request reports, beside its first line. */
function Counted({ event: { details } }: { event: LabEvent }) {
  const statistics = details.statistics as Statistics | undefined;
  if (!statistics) return null;
  return statistics.map(({ notificationid, name }, index) => (
    <span key={`${index} ${name}`} class="counted">
      {JSON.stringify(notificationid)} {name}
    </span>
  ));
}

interface Props {
  entry: Entry;
  isOpen: boolean;
  /** A time is shown where it changes. */
  hasTime: boolean;
  isReachable: boolean;
  /** Makes a request draw its answer once that arrives. */
  answer: Entry | undefined;
  index: number;
  onToggle: (id: number) => void;
}

function isBad({ event: { actor, what } }: Entry): boolean {
  return (
    what === "raised" || what === "blocked" || what === "not accepted" || (actor === "expectation" && what === "failed")
  );
}

export const Row = memo(function Row({ entry, isOpen, hasTime, isReachable, index, onToggle }: Props) {
  const { event, id, title } = entry;
  const isHeading = event.actor === "scenario" && event.what === "says";
  const kind =
    isHeading || isRequest(entry)
      ? `event ${isHeading ? "event-heading" : "event-request"}`
      : isBad(entry)
        ? "event event-bad"
        : "event";
  const first = event.lines[0];
  // Another title stands in the place of a long or an empty line.
  const isPlain = first?.map(([text]) => text).join("") === title;
  return (
    <div class={isOpen ? `${kind} event-open` : kind} data-index={index} data-id={id}>
      <button
        type="button"
        class="event-head"
        aria-expanded={isOpen}
        tabIndex={isReachable ? 0 : -1}
        onClick={() => onToggle(id)}
      >
        <span class={hasTime ? "event-time" : "event-time event-time-same"}>{timeText(event.time)}</span>
        <span class={`event-actor actor-${event.actor.replaceAll(" ", "-")}`}>{event.actor}</span>
        <span class="event-line">
          <span class="event-title">{isPlain && first ? <Spans line={first} /> : title}</span>
          <Counted event={event} />
        </span>
        <span class="event-fold" aria-hidden="true">
          {isOpen ? "▾" : "▸"}
        </span>
      </button>
      {isOpen && (
        <div class="event-details">
          <Details entry={entry} />
        </div>
      )}
    </div>
  );
});
