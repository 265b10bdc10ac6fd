// The list of events. The arrow keys move from row to row; only one row is in the order of the Tab key.
import { type Signal, useSignal } from "@preact/signals";
import { useCallback, useLayoutEffect, useRef } from "preact/hooks";
import { type Entry, logVersion } from "../state/event_log";
import { log } from "../state/session";
import { Row, timeText } from "./row";
import { type RowsInView, useRowsInView } from "./rows_in_view";
import { follows, shown, shownVersion, toggleRow, unfolded } from "./view";

type List = { current: HTMLElement | null };

/** Scrolls only as far as needed to show what lies between, in pixels of the list's content; its top has precedence. */
function reveal(scroller: HTMLElement, top: number, bottom: number): void {
  const { scrollTop, clientHeight } = scroller;
  if (top < scrollTop) scroller.scrollTop = top;
  else if (bottom > scrollTop + clientHeight) scroller.scrollTop = Math.min(top, bottom - clientHeight);
}

/** So near to the end counts as at the end, in pixels. */
const endReach = 4;
const none = Number.NEGATIVE_INFINITY;

/** Stays at the end as events arrive, until the user scrolls away from it; returns what to do as the list scrolls. */
function useFollowing(
  list: List,
  { total, height, look }: RowsInView,
  rows: Entry[],
  revealedTop: { current: number },
) {
  const lastTop = useRef(0);
  const isFollowing = follows.value;
  useLayoutEffect(() => {
    const scroller = list.current;
    if (scroller && isFollowing) scroller.scrollTop = scroller.scrollHeight;
  }, [total, height, rows, isFollowing]);
  return () => {
    const scroller = list.current;
    if (!scroller) return;
    const isAtEnd = scroller.scrollHeight - scroller.scrollTop - scroller.clientHeight < endReach;
    // Where the list itself has scrolled to the end of an unfolded row, it is still that row that is read.
    const isRevealed = Math.abs(scroller.scrollTop - revealedTop.current) < endReach;
    if (!isRevealed) revealedTop.current = none;
    if (isAtEnd && !isRevealed) follows.value = true;
    else if (scroller.scrollTop < lastTop.current) follows.value = false;
    lastTop.current = scroller.scrollTop;
    look();
  };
}

const rowsOfPage = 15;

/** The row that a key leads to, or nothing for another key. */
function targetOf(key: string, at: number, count: number): number | undefined {
  const targets: Record<string, number> = {
    ArrowDown: at + 1,
    ArrowUp: at - 1,
    PageDown: at + rowsOfPage,
    PageUp: at - rowsOfPage,
    Home: 0,
    End: count - 1,
  };
  const target = targets[key];
  return target === undefined ? undefined : Math.max(0, Math.min(count - 1, target));
}

function useKeys(list: List, { heights, look }: RowsInView, count: number, active: Signal<number>) {
  return (event: KeyboardEvent) => {
    const scroller = list.current;
    const row = (event.target as HTMLElement).closest<HTMLElement>(".event-head")?.parentElement;
    if (!scroller || !row || event.ctrlKey || event.metaKey || event.altKey) return;
    const target = targetOf(event.key, Number(row.dataset.index), count);
    if (target === undefined) return;
    event.preventDefault();
    active.value = target;
    follows.value = target === count - 1;
    reveal(scroller, heights.offset(target), heights.offset(target + 1));
    look();
    const selector = `[data-index="${target}"] .event-head`;
    requestAnimationFrame(() => scroller.querySelector<HTMLElement>(selector)?.focus({ preventScroll: true }));
  };
}

/** Brings the lines of the row that the user has unfolded into view. */
function useRevealing(list: List, revealedTop: { current: number }) {
  const justUnfolded = useRef<number | null>(null);
  useLayoutEffect(() => {
    const scroller = list.current;
    const row = scroller?.querySelector<HTMLElement>(`.event-open[data-id="${justUnfolded.current}"]`);
    if (!scroller || !row) return;
    justUnfolded.current = null;
    const { top, bottom } = row.getBoundingClientRect();
    const offset = scroller.scrollTop - scroller.getBoundingClientRect().top - scroller.clientTop;
    reveal(scroller, Math.floor(top + offset), Math.ceil(bottom + offset));
    revealedTop.current = scroller.scrollTop;
  });
  return justUnfolded;
}

/** The answer belongs to its request's row, which is drawn anew when it arrives. */
function answerOf({ event: { actor, what, details } }: Entry): Entry | undefined {
  return actor === "backend" && what === "request" ? log.value.answerTo(Number(details.number)) : undefined;
}

/** Where rows have no column for their time, and it is shown only where it changes. */
function TimeAtTop({ row }: { row: Entry | undefined }) {
  return row ? <p class="events-time code">Events from {timeText(row.event.time)} s on</p> : null;
}

export function EventList() {
  const list = useRef<HTMLElement>(null);
  const active = useSignal(0);
  // What the rows depend on, beside the signals below.
  shownVersion.value;
  logVersion.value;
  const rows = shown;
  const opened = unfolded.value;
  const inView = useRowsInView(list, rows);
  const { heights, first, last, total } = inView;
  const revealedTop = useRef(none);
  const whenScrolled = useFollowing(list, inView, rows, revealedTop);
  const justUnfolded = useRevealing(list, revealedTop);
  const whenKey = useKeys(list, inView, rows.length, active);
  const whenToggled = useCallback((id: number) => {
    active.value = shown.findIndex((entry) => entry.id === id);
    // Whoever opens an event wants to read it.
    if (!unfolded.peek().has(id)) {
      follows.value = false;
      justUnfolded.current = id;
    }
    toggleRow(id);
  }, []);
  const reachable = active.value >= first && active.value < last ? active.value : first;
  return (
    <>
      <TimeAtTop row={rows[heights.at(inView.top)]} />
      <section
        class="events"
        ref={list}
        onScroll={whenScrolled}
        onKeyDown={whenKey}
        aria-label="Events. The arrow keys move from one to the next."
      >
        <div class="events-all" style={{ height: `${total}px` }}>
          <div class="events-seen" style={{ transform: `translateY(${heights.offset(first)}px)` }}>
            {rows.slice(first, last).map((entry, offset) => (
              <Row
                key={entry.id}
                entry={entry}
                index={first + offset}
                isOpen={opened.has(entry.id)}
                hasTime={rows[first + offset - 1]?.event.time !== entry.event.time}
                isReachable={first + offset === reachable}
                answer={answerOf(entry)}
                onToggle={whenToggled}
              />
            ))}
          </div>
        </div>
      </section>
    </>
  );
}
