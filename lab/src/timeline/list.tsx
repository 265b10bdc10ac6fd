// The list of events. The arrow keys move from row to row; only one row is in the order of the Tab key.
import { type Signal, useSignal } from "@preact/signals";
import { useCallback, useLayoutEffect, useRef } from "preact/hooks";
import { type Entry, logVersion } from "../state/event_log";
import { log } from "../state/session";
import { Row } from "./row";
import { type RowsInView, useRowsInView } from "./rows_in_view";
import { follows, shown, shownVersion, toggleRow, unfolded } from "./view";

type List = { current: HTMLElement | null };

/** Stays at the end as events arrive, until the user scrolls away from it; returns what to do as the list scrolls. */
function useFollowing(list: List, { total, look }: RowsInView, rows: Entry[]): () => void {
  const lastTop = useRef(0);
  const isFollowing = follows.value;
  useLayoutEffect(() => {
    const scroller = list.current;
    if (scroller && isFollowing) scroller.scrollTop = scroller.scrollHeight;
  }, [total, rows, isFollowing]);
  return () => {
    const scroller = list.current;
    if (!scroller) return;
    const isAtEnd = scroller.scrollHeight - scroller.scrollTop - scroller.clientHeight < 4;
    if (isAtEnd) follows.value = true;
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
  const reveal = (scroller: HTMLElement, index: number) => {
    const top = heights.offset(index);
    const bottom = heights.offset(index + 1);
    if (top < scroller.scrollTop) scroller.scrollTop = top;
    else if (bottom > scroller.scrollTop + scroller.clientHeight) scroller.scrollTop = bottom - scroller.clientHeight;
    look();
  };
  return (event: KeyboardEvent) => {
    const scroller = list.current;
    const row = (event.target as HTMLElement).closest<HTMLElement>(".event-head")?.parentElement;
    if (!scroller || !row || event.ctrlKey || event.metaKey || event.altKey) return;
    const target = targetOf(event.key, Number(row.dataset.index), count);
    if (target === undefined) return;
    event.preventDefault();
    active.value = target;
    follows.value = target === count - 1;
    reveal(scroller, target);
    const selector = `[data-index="${target}"] .event-head`;
    requestAnimationFrame(() => scroller.querySelector<HTMLElement>(selector)?.focus({ preventScroll: true }));
  };
}

/** The answer belongs to its request's row, which is drawn anew when it arrives. */
function answerOf({ event: { actor, what, details } }: Entry): Entry | undefined {
  return actor === "backend" && what === "request" ? log.value.answerTo(Number(details.number)) : undefined;
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
  const whenScrolled = useFollowing(list, inView, rows);
  const whenKey = useKeys(list, inView, rows.length, active);
  const whenToggled = useCallback((id: number) => {
    active.value = shown.findIndex((entry) => entry.id === id);
    // Whoever opens an event wants to read it.
    if (!unfolded.peek().has(id)) follows.value = false;
    toggleRow(id);
  }, []);
  const reachable = active.value >= first && active.value < last ? active.value : first;
  return (
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
  );
}
