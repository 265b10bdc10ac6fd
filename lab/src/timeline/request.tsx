// A request, opened: query, header fields, the decoded body, and its answer.
import type { JSX } from "preact";
import type { Body, Fields, Identity } from "../generated/trace";
import type { Entry } from "../state/event_log";
import { log } from "../state/session";

interface RequestDetails {
  number: number;
  method: string;
  path: string;
  query: Fields;
  headers: Fields;
  identity: Identity;
  body: Body;
}

interface AnswerDetails {
  status?: number;
  headers?: Fields;
  body?: string;
  raw?: string;
  delay?: number;
  sends?: string;
  then?: string;
  endless?: string;
  pace?: number;
}

export const isRequest = ({ event: { actor, what } }: Entry) =>
  (actor === "backend" && what === "request") || (actor === "network" && what === "sends");

/** What every request over HTTP has, whoever sends it. */
const transport = new Set([
  "host",
  "content-length",
  "accept",
  "accept-language",
  "accept-encoding",
  "user-agent",
  "connection",
]);

function Pairs({ title, pairs }: { title: string; pairs: Fields }) {
  if (pairs.length === 0) return null;
  return (
    <section>
      <h3>{title}</h3>
      <dl class="pairs">
        {pairs.map(([name, value], index) => (
          <div key={`${index} ${name}`}>
            <dt>{name}</dt>
            <dd>{value === "" ? <span class="faint">empty</span> : value}</dd>
          </div>
        ))}
      </dl>
    </section>
  );
}

function Content({ body }: { body: NonNullable<Body> }) {
  const json = "json" in body ? JSON.stringify(body.json, null, 2) : null;
  return (
    <section>
      <h3>
        Body <span class="faint">{body.bytes} bytes</span>
      </h3>
      <ul class="layers">
        {body.decoding.map(({ text, failed }) => (
          <li key={text} class={failed ? "bad" : "good"}>
            <span aria-hidden="true">{failed ? "✗" : "✓"}</span> {failed && <span class="hidden-text">failed: </span>}
            {text}
          </li>
        ))}
      </ul>
      <pre>{json ?? String(body.content ?? "")}</pre>
    </section>
  );
}

function manners({ delay, sends, then, endless, pace }: AnswerDetails): string {
  const words: string[] = [];
  if (delay) words.push(`after ${delay} ms`);
  if (sends !== undefined && sends !== "everything") words.push(`sends ${sends}`);
  if (then !== undefined && sends !== undefined && sends !== "everything") words.push(`then ${then}`);
  if (endless !== undefined) words.push(`endless ${endless}`);
  if (pace) words.push(`a byte each ${pace} s`);
  return words.join(", ");
}

export function Answer({ answer }: { answer: AnswerDetails }) {
  const extra = manners(answer);
  return (
    <section>
      <h3>
        Answer{" "}
        {answer.status !== undefined && (
          <span class={answer.status === 200 ? "good" : "bad"}>{`status ${answer.status}`}</span>
        )}{" "}
        {extra !== "" && <span class="faint">{extra}</span>}
      </h3>
      {answer.headers && answer.headers.length > 0 && <Pairs title="Header fields" pairs={answer.headers} />}
      {(answer.raw ?? answer.body) !== undefined && <pre>{answer.raw ?? answer.body}</pre>}
    </section>
  );
}

export function Request({ entry }: { entry: Entry }): JSX.Element {
  const request = entry.event.details as unknown as RequestDetails;
  const answer = entry.event.actor === "backend" ? log.value.answerTo(request.number) : undefined;
  const own = request.headers.filter(([name]) => !transport.has(name.toLowerCase()));
  const usual = request.headers.filter(([name]) => transport.has(name.toLowerCase()));
  return (
    <div class="request">
      <p class="code">
        {request.method} {request.path}
        {request.identity && <span class="faint">{` from ${request.identity.kind} ${request.identity.id}`}</span>}
      </p>
      <Pairs title="Query" pairs={request.query} />
      <Pairs title="Header fields" pairs={own} />
      {usual.length > 0 && (
        <details>
          <summary class="faint">{usual.length} fields of the transport</summary>
          <Pairs title="Transport" pairs={usual} />
        </details>
      )}
      {request.body ? <Content body={request.body} /> : <p class="faint">No body</p>}
      {answer ? (
        <Answer answer={answer.event.details as AnswerDetails} />
      ) : (
        entry.event.actor === "backend" && <p class="faint">No answer yet</p>
      )}
    </div>
  );
}
