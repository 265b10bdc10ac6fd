// Which rows of a long list are in view: the list draws only these, so that it scrolls smoothly with many thousands of
// events. Rows are measured as they are drawn; what grows above the view moves the scroll position with it.
import { type Signal, useSignal } from "@preact/signals";
import { useEffect, useLayoutEffect, useRef } from "preact/hooks";
import type { Entry } from "../state/event_log";
import { Heights } from "./heights";
import { follows } from "./view";

const rowHeight = 28;
/** Rows drawn beyond the view on either side. */
const margin = 8;

type List = { current: HTMLElement | null };

export interface RowsInView {
  heights: Heights;
  first: number;
  /** The row after the last. */
  last: number;
  total: number;
  /** Where the view begins and how high it is, in pixels. */
  top: number;
  height: number;
  /** To be called when the list has scrolled. */
  look: () => void;
}

/** Takes the new heights of rows, and returns by how much those above the view have grown; nothing for no change. */
function takeHeights(changes: ResizeObserverEntry[], heights: Heights, top: number): number | null {
  let above = 0;
  let hasChanged = false;
  for (const { target, borderBoxSize } of changes) {
    const height = borderBoxSize[0]?.blockSize ?? 0;
    const index = Number((target as HTMLElement).dataset.index);
    if (!target.isConnected || height === 0 || Number.isNaN(index)) continue;
    const isAbove = heights.offset(index + 1) <= top;
    const grown = heights.set(index, height);
    hasChanged ||= grown !== 0;
    if (isAbove) above += grown;
  }
  return hasChanged ? above : null;
}

function useMeasuredRows(list: List, heights: { current: Heights }, measured: Signal<number>): void {
  const observer = useRef<ResizeObserver | null>(null);
  observer.current ??= new ResizeObserver((changes) => {
    const scroller = list.current;
    if (!scroller) return;
    const above = takeHeights(changes, heights.current, scroller.scrollTop);
    if (above === null) return;
    if (above !== 0 && !follows.peek()) scroller.scrollTop += above;
    measured.value += 1;
  });
  const observed = useRef(new Map<Element, string | undefined>());
  useLayoutEffect(() => {
    const rows = [...(list.current?.querySelectorAll<HTMLElement>(".event") ?? [])];
    const now = new Map<Element, string | undefined>(rows.map((row) => [row, row.dataset.index]));
    for (const row of observed.current.keys()) if (!now.has(row)) observer.current?.unobserve(row);
    for (const [row, index] of now) {
      if (observed.current.get(row) === index) continue;
      observer.current?.unobserve(row);
      observer.current?.observe(row);
    }
    observed.current = now;
  });
  useEffect(() => () => observer.current?.disconnect(), []);
}

export function useRowsInView(list: List, rows: Entry[]): RowsInView {
  const heights = useRef(new Heights(rowHeight));
  const measuredFor = useRef(rows);
  const view = useSignal({ top: 0, height: 600 });
  const measured = useSignal(0);
  measured.value;
  if (measuredFor.current !== rows) {
    heights.current = new Heights(rowHeight);
    measuredFor.current = rows;
  }
  heights.current.resize(rows.length);
  useMeasuredRows(list, heights, measured);

  const look = () => {
    const scroller = list.current;
    const seen = view.peek();
    if (!scroller || (seen.top === scroller.scrollTop && seen.height === scroller.clientHeight)) return;
    view.value = { top: scroller.scrollTop, height: scroller.clientHeight };
  };
  useLayoutEffect(() => {
    if (!list.current) return;
    const observer = new ResizeObserver(look);
    observer.observe(list.current);
    look();
    return () => observer.disconnect();
  }, []);

  const { top, height } = view.value;
  return {
    heights: heights.current,
    first: Math.max(0, heights.current.at(top) - margin),
    last: Math.min(rows.length, heights.current.at(top + height) + 1 + margin),
    total: heights.current.offset(rows.length),
    top,
    height,
    look,
  };
}
