import { useSignal } from "@preact/signals";
import { Button } from "../controls/button";
import { logVersion } from "../state/event_log";
import { hasWaitingSteps, log } from "../state/session";
import { EventList } from "./list";
import { foldAll, follows, hiddenCategories, searched, shown, shownVersion, toggleCategory, unfoldAll } from "./view";

function Categories() {
  logVersion.value;
  const counts = [...log.value.counts];
  return (
    <fieldset class="chips" aria-label="Actors shown">
      {counts.map(([category, count]) => (
        <button
          key={category}
          type="button"
          class="chip"
          aria-pressed={!hiddenCategories.value.has(category)}
          onClick={() => toggleCategory(category)}
        >
          {category} <span class="chip-count">{count}</span>
        </button>
      ))}
    </fieldset>
  );
}

function Search() {
  return (
    <input
      class="input search"
      type="search"
      aria-label="Text in the events"
      placeholder="Filter by text"
      value={searched.value}
      onInput={(event) => {
        searched.value = event.currentTarget.value;
      }}
    />
  );
}

/** The server keeps only the latest events of a long session. */
function Forgotten() {
  const { event } = log.value.entries[0] ?? {};
  if (!event || (event.actor === "scenario" && event.what === "begins")) return null;
  return <p class="faint small">Earlier events of this session are no longer kept.</p>;
}

function Empty() {
  const isFiltered = log.value.entries.some(({ event }) => event.actor !== "scenario");
  const next = hasWaitingSteps.value ? "press Next step, under Scenario." : "open the application.";
  return <p class="empty">{isFiltered ? "No event matches the filter." : `Nothing has happened yet: ${next}`}</p>;
}

/** On a narrow screen the filters are folded behind this. A text that is looked for is seen nevertheless. */
function FilterButton({ isOpen, toggle }: { isOpen: boolean; toggle: () => void }) {
  const text = searched.value.trim();
  return (
    <Button class="button button-small filter-button" expanded={isOpen} onPress={toggle}>
      Filter
      {text !== "" && !isOpen && <span class="filter-text"> “{text}”</span>}
      <span aria-hidden="true">{isOpen ? "▾" : "▸"}</span>
    </Button>
  );
}

export function TimelinePanel() {
  const hasFilters = useSignal(false);
  shownVersion.value;
  const all = log.value.entries.length;
  const isEmpty = shown.length === 0;
  const hasHappened = log.value.entries.some(({ event }) => event.actor !== "scenario");
  return (
    <>
      <div class="bar">
        <h2 id="timeline-title">Timeline</h2>
        <span class="faint small">{all === shown.length ? all : `${shown.length} of ${all}`}</span>
        <div class="bar-end">
          <FilterButton
            isOpen={hasFilters.value}
            toggle={() => {
              hasFilters.value = !hasFilters.value;
            }}
          />
          <Button class="button button-small" onPress={unfoldAll}>
            Unfold all
          </Button>
          <Button class="button button-small" onPress={foldAll}>
            Fold all
          </Button>
          <Button
            class="button button-small button-toggle"
            pressed={follows.value}
            onPress={() => {
              follows.value = !follows.value;
            }}
            title="Stay at the end as events arrive"
          >
            Follow
          </Button>
        </div>
      </div>
      {all > 0 && (
        <div class={hasFilters.value ? "filters" : "filters filters-folded"}>
          <Search />
          <Categories />
        </div>
      )}
      <Forgotten />
      {isEmpty || !hasHappened ? <Empty /> : null}
      {!isEmpty && <EventList />}
    </>
  );
}
