// The list draws only the rows in view, so that it scrolls smoothly with many thousands of events. Rows are measured as
// they are drawn; what grows above the view moves the scroll position with it.
import { useSignal } from "@preact/signals";
import { useCallback, useEffect, useLayoutEffect, useRef } from "preact/hooks";
import { logVersion } from "../state/event_log";
import { log } from "../state/session";
import { Heights } from "./heights";
import { Row } from "./row";
import { follows, shown, shownVersion, toggleRow, unfolded } from "./view";

const rowHeight = 28;
/** Rows drawn beyond the view on either side. */
const margin = 8;

function useMeasuredRows(list: { current: HTMLElement | null }, heights: Heights, whenMeasured: () => void) {
  const observer = useRef<ResizeObserver | null>(null);
  observer.current ??= new ResizeObserver((changes) => {
    const scroller = list.current;
    if (!scroller) return;
    let above = 0;
    let hasChanged = false;
    for (const { target, borderBoxSize } of changes) {
      const height = borderBoxSize[0]?.blockSize ?? 0;
      const index = Number((target as HTMLElement).dataset.index);
      if (!target.isConnected || height === 0 || Number.isNaN(index)) continue;
      const isAbove = heights.offset(index + 1) <= scroller.scrollTop;
      const grown = heights.set(index, height);
      hasChanged ||= grown !== 0;
      if (isAbove) above += grown;
    }
    if (!hasChanged) return;
    if (above !== 0 && !follows.peek()) scroller.scrollTop += above;
    whenMeasured();
  });
  useLayoutEffect(() => {
    const rows = list.current?.querySelectorAll(".event") ?? [];
    observer.current?.disconnect();
    for (const row of rows) observer.current?.observe(row);
  });
  useEffect(() => () => observer.current?.disconnect(), []);
}

export function EventList() {
  const list = useRef<HTMLElement>(null);
  const heights = useRef(new Heights(rowHeight));
  const measuredFor = useRef(shown);
  const view = useSignal({ top: 0, height: 600 });
  const measured = useSignal(0);
  const active = useSignal(0);
  // The rows depend on these.
  shownVersion.value;
  logVersion.value;
  measured.value;
  const rows = shown;
  const opened = unfolded.value;
  if (measuredFor.current !== rows) {
    heights.current = new Heights(rowHeight);
    measuredFor.current = rows;
  }
  heights.current.resize(rows.length);
  const total = heights.current.offset(rows.length);
  const first = Math.max(0, heights.current.at(view.value.top) - margin);
  const last = Math.min(rows.length, heights.current.at(view.value.top + view.value.height) + 1 + margin);

  useMeasuredRows(list, heights.current, () => {
    measured.value += 1;
  });

  const look = useCallback(() => {
    const scroller = list.current;
    if (scroller) view.value = { top: scroller.scrollTop, height: scroller.clientHeight };
  }, []);

  useLayoutEffect(() => {
    const scroller = list.current;
    if (!scroller) return;
    const observer = new ResizeObserver(look);
    observer.observe(scroller);
    look();
    return () => observer.disconnect();
  }, []);

  useLayoutEffect(() => {
    const scroller = list.current;
    if (scroller && follows.value) scroller.scrollTop = scroller.scrollHeight;
  }, [total, rows, follows.value]);

  const lastTop = useRef(0);
  const whenScrolled = () => {
    const scroller = list.current;
    if (!scroller) return;
    const isAtEnd = scroller.scrollHeight - scroller.scrollTop - scroller.clientHeight < 4;
    if (isAtEnd) follows.value = true;
    else if (scroller.scrollTop < lastTop.current) follows.value = false;
    lastTop.current = scroller.scrollTop;
    look();
  };

  const focusRow = (index: number) => {
    const scroller = list.current;
    if (!scroller) return;
    const target = Math.max(0, Math.min(rows.length - 1, index));
    active.value = target;
    follows.value = target === rows.length - 1;
    const top = heights.current.offset(target);
    const bottom = heights.current.offset(target + 1);
    if (top < scroller.scrollTop) scroller.scrollTop = top;
    else if (bottom > scroller.scrollTop + scroller.clientHeight) scroller.scrollTop = bottom - scroller.clientHeight;
    look();
    requestAnimationFrame(() =>
      scroller.querySelector<HTMLElement>(`[data-index="${target}"] .event-head`)?.focus({ preventScroll: true }),
    );
  };

  const whenKey = (event: KeyboardEvent) => {
    const row = (event.target as HTMLElement).closest<HTMLElement>(".event-head")?.parentElement;
    if (!row) return;
    const at = Number(row.dataset.index);
    const targets: Record<string, number> = {
      ArrowDown: at + 1,
      ArrowUp: at - 1,
      PageDown: at + 15,
      PageUp: at - 15,
      Home: 0,
      End: rows.length - 1,
    };
    const target = targets[event.key];
    if (target === undefined || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    focusRow(target);
  };

  const whenToggled = useCallback((id: number) => {
    active.value = shown.findIndex((entry) => entry.id === id);
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
        <div class="events-seen" style={{ transform: `translateY(${heights.current.offset(first)}px)` }}>
          {rows.slice(first, last).map((entry, offset) => {
            const index = first + offset;
            const { details, actor, what } = entry.event;
            const isRequest = actor === "backend" && what === "request";
            return (
              <Row
                key={entry.id}
                entry={entry}
                index={index}
                isOpen={opened.has(entry.id)}
                hasTime={rows[index - 1]?.event.time !== entry.event.time}
                isReachable={index === reachable}
                answer={isRequest ? log.value.answerTo(Number(details.number)) : undefined}
                onToggle={whenToggled}
              />
            );
          })}
        </div>
      </div>
    </section>
  );
}
