// How many notifications were delivered, responded to and converted, as the sent statistics say, whatever the backend
// answers.
import type { Count, State } from "../generated/protocol";
import { state } from "../state/session";

const stages = ["delivered", "responded", "converted"] as const;
const none: Count = { delivered: 0, responded: 0, converted: 0 };

const shareOf = (part: number, whole: number) => (whole === 0 ? "" : `${Math.round((100 * part) / whole)} %`);

function Stage({ stage, count, most }: { stage: (typeof stages)[number]; count: Count; most: number }) {
  const value = count[stage];
  const share = stage === "delivered" ? "" : shareOf(value, count.delivered);
  return (
    <li class={`stage stage-${stage}`}>
      <span class="stage-name">{stage}</span>
      <span class="stage-track" aria-hidden="true">
        <span class="stage-bar" style={{ width: `${most === 0 ? 0 : (100 * value) / most}%` }} />
      </span>
      <span class="stage-value">{value}</span>
      <span class="stage-share">{share}</span>
    </li>
  );
}

function ByNotification({ by }: { by: State["byNotification"] }) {
  return (
    <details class="by-notification" open={by.length > 1}>
      <summary>By notification</summary>
      <table>
        <thead>
          <tr>
            <th scope="col">pellionPnID</th>
            {stages.map((stage) => (
              <th key={stage} scope="col">
                {stage}
              </th>
            ))}
          </tr>
        </thead>
        <tbody>
          {by.map(({ id, count }) => (
            <tr key={id}>
              <th scope="row" class="code">
                {id}
              </th>
              {stages.map((stage) => (
                <td key={stage}>{count[stage]}</td>
              ))}
            </tr>
          ))}
        </tbody>
      </table>
    </details>
  );
}

export function FunnelPanel() {
  const total = state.value?.total ?? none;
  const by = state.value?.byNotification ?? [];
  const most = Math.max(total.delivered, total.responded, total.converted);
  return (
    <>
      <h2>Sent to the backend</h2>
      <ul class="funnel">
        {stages.map((stage) => (
          <Stage key={stage} stage={stage} count={total} most={most} />
        ))}
      </ul>
      {by.length > 0 && <ByNotification by={by} />}
    </>
  );
}
