import type { ComponentChildren } from "preact";
import { useRef } from "preact/hooks";

export interface Tab {
  id: string;
  text: string;
  /** How many things in it need attention. */
  count?: number;
  countOf?: string;
}

interface Props {
  label: string;
  tabs: readonly Tab[];
  chosen: string;
  onChoose: (id: string) => void;
}

export function Tabs({ label, tabs, chosen, onChoose }: Props) {
  const list = useRef<HTMLDivElement>(null);
  const move = (event: KeyboardEvent) => {
    const at = tabs.findIndex(({ id }) => id === chosen);
    const targets: Record<string, number> = {
      ArrowRight: (at + 1) % tabs.length,
      ArrowLeft: (at + tabs.length - 1) % tabs.length,
      Home: 0,
      End: tabs.length - 1,
    };
    const target = targets[event.key];
    const tab = target === undefined ? undefined : tabs[target];
    if (target === undefined || !tab) return;
    event.preventDefault();
    onChoose(tab.id);
    list.current?.querySelectorAll<HTMLElement>("[role=tab]")[target]?.focus();
  };
  return (
    <div class="tabs" role="tablist" aria-label={label} ref={list} onKeyDown={move}>
      {tabs.map(({ id, text, count, countOf }) => (
        <button
          key={id}
          id={`tab-${id}`}
          type="button"
          role="tab"
          class="tab"
          aria-selected={id === chosen}
          aria-controls={`panel-${id}`}
          tabIndex={id === chosen ? 0 : -1}
          onClick={() => onChoose(id)}
        >
          {text}
          {count ? (
            <span class="count">
              {count}
              <span class="hidden-text"> {countOf}</span>
            </span>
          ) : null}
        </button>
      ))}
    </div>
  );
}

interface PanelProps {
  id: string;
  isChosen: boolean;
  /** False where the tabs are not shown. */
  isTab: boolean;
  children: ComponentChildren;
}

/** Stays in the document while another is chosen, so that its editors and fields keep what they have. */
export function TabPanel({ id, isChosen, isTab, children }: PanelProps) {
  if (!isTab) {
    return (
      <div id={`panel-${id}`} class="panel" hidden={!isChosen}>
        {children}
      </div>
    );
  }
  return (
    <div id={`panel-${id}`} class="panel" role="tabpanel" aria-labelledby={`tab-${id}`} hidden={!isChosen}>
      {children}
    </div>
  );
}
