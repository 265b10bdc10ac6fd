import type { JSX } from "preact";
import { ApplicationPanel } from "../application/application_panel";
import { conflictsIn } from "../application/chain_drawing";
import { BackendPanel } from "../backend/backend_panel";
import { type Tab, TabPanel, Tabs } from "../controls/tabs";
import { FunnelPanel } from "../funnel/funnel_panel";
import { KeepPanel } from "../keep/keep_panel";
import { PayloadPanel } from "../payload/payload_panel";
import { PhonePanel } from "../phone/phone_panel";
import { chain } from "../state/session";
import { TimelinePanel } from "../timeline/timeline_panel";
import { Guide } from "./guide";
import { Header } from "./header";
import { isNarrow, isWork, show, type View, view, type Work, work } from "./layout";
import { Announcer, ConnectionBanner, Notices } from "./messages";

const workTexts: Record<Work, string> = {
  payload: "Payload",
  application: "Application",
  backend: "Backend",
  scenario: "Scenario",
};
const works = Object.keys(workTexts) as Work[];

const panels: Record<Work, () => JSX.Element> = {
  payload: PayloadPanel,
  application: ApplicationPanel,
  backend: BackendPanel,
  scenario: KeepPanel,
};

function WorkTabs() {
  const tabs = works.map((id): Tab => {
    const count = id === "application" ? conflictsIn(chain.value) : 0;
    return { id, text: workTexts[id], count, countOf: count === 1 ? "conflict" : "conflicts" };
  });
  return <Tabs label="Workspace" tabs={tabs} chosen={work.value} onChoose={(id) => show(id as Work)} />;
}

const places: { id: View; text: string }[] = [
  { id: "phone", text: "Phone" },
  { id: "payload", text: workTexts.payload },
  { id: "timeline", text: "Timeline" },
  { id: "application", text: workTexts.application },
  { id: "backend", text: workTexts.backend },
  { id: "scenario", text: workTexts.scenario },
];

function Places() {
  const conflicts = conflictsIn(chain.value);
  return (
    <nav class="places" aria-label="Sections">
      {places.map(({ id, text }) => (
        <button
          key={id}
          type="button"
          class="place"
          aria-current={view.value === id ? "true" : undefined}
          onClick={() => show(id)}
        >
          {text}
          {id === "application" && conflicts > 0 && (
            <span class="count">
              {conflicts}
              <span class="hidden-text"> {conflicts === 1 ? "conflict" : "conflicts"}</span>
            </span>
          )}
        </button>
      ))}
    </nav>
  );
}

export function App() {
  const narrow = isNarrow.value;
  const seen = view.value;
  return (
    <div class="page">
      <Header />
      <Guide />
      <ConnectionBanner />
      <Notices />
      <main class="columns">
        <section class="column column-phone" aria-labelledby="phone-title" hidden={narrow && seen !== "phone"}>
          <h2 class="hidden-text" id="phone-title">
            Phone
          </h2>
          <PhonePanel />
        </section>
        <section class="column column-work" aria-labelledby="work-title" hidden={narrow && !isWork(seen)}>
          <h2 class="hidden-text" id="work-title">
            {narrow ? workTexts[work.value] : "Workspace"}
          </h2>
          {!narrow && <WorkTabs />}
          {works.map((id) => {
            const Panel = panels[id];
            return (
              <TabPanel key={id} id={id} isChosen={work.value === id} isTab={!narrow}>
                <Panel />
              </TabPanel>
            );
          })}
        </section>
        <div class="column column-events" hidden={narrow && seen !== "timeline"}>
          <section class="funnel-box" aria-label="Statistics">
            <FunnelPanel />
          </section>
          <section class="timeline-box" aria-labelledby="timeline-title">
            <TimelinePanel />
          </section>
        </div>
      </main>
      {narrow && <Places />}
      <Announcer />
    </div>
  );
}
