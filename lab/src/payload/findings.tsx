// What is wrong with the payload, and what it leads to.
import { Button } from "../controls/button";
import type { Explanation, Finding, Happening } from "../generated/protocol";
import { applyFix, explained, explainFailure, headline } from "./payload";

/** The heading that says how much is wrong. */
export const headlineID = "findings-title";

const levels = { error: "Error", warning: "Warning" };

function Row({ finding, index }: { finding: Finding; index: number }) {
  const { level, text, remedy, place, code, fixable } = finding;
  return (
    <li class={`finding finding-${level}`}>
      <div class="finding-text">
        <strong class="finding-level">{levels[level]}</strong>{" "}
        <span class="faint code">
          {place.line}:{place.column}
        </span>{" "}
        {text}
        {remedy !== "" && <div class="remedy">{remedy}</div>}
        <div class="faint code small">{code}</div>
      </div>
      {fixable && (
        <Button class="button button-small" onPress={() => applyFix(index)} label={`Fix: ${text}`}>
          Fix
        </Button>
      )}
    </li>
  );
}

function Unusable({ unusable }: { unusable: NonNullable<Explanation["unusable"]> }) {
  return (
    <ul class="findings">
      <li class="finding finding-error">
        <div class="finding-text">
          <strong class="finding-level">No payload</strong>{" "}
          {unusable.place && (
            <span class="faint code">
              {unusable.place.line}:{unusable.place.column}{" "}
            </span>
          )}
          {unusable.text}
        </div>
        {unusable.fixable && (
          <Button class="button button-small" onPress={() => applyFix()} label={`Fix: ${unusable.text}`}>
            Fix
          </Button>
        )}
      </li>
    </ul>
  );
}

function Summary({ summary }: { summary: Happening[] }) {
  if (summary.length === 0) return null;
  return (
    <>
      <h3 class="label">What it leads to</h3>
      <ul class="summary">
        {summary.map(({ text, good }, index) => (
          <li key={index} class={good ? "good" : "bad"}>
            <span aria-hidden="true">{good ? "✓" : "✗"}</span>{" "}
            <span class="hidden-text">{good ? "" : "Problem: "}</span>
            <span class="summary-text">{text}</span>
          </li>
        ))}
      </ul>
    </>
  );
}

/** In a few words, beside the editor. */
export function Verdict() {
  const explanation = explained.value?.explanation;
  if (!explanation) return null;
  const { findings, unusable, bytes, limit } = explanation;
  const hasErrors = unusable !== null || findings.some(({ level }) => level === "error");
  const kind = hasErrors ? "verdict-bad" : findings.length > 0 ? "verdict-warn" : "verdict-good";
  return (
    <span class="bar-end small">
      <span class={`verdict ${kind}`}>{headline(explanation)}</span>
      {!unusable && (
        <span class={bytes > limit ? "bad" : "faint"}>
          {bytes} of {limit} bytes
        </span>
      )}
    </span>
  );
}

export function Findings() {
  if (explainFailure.value !== null) return <p class="notice notice-failure">{explainFailure.value}</p>;
  const explanation = explained.value?.explanation;
  if (!explanation) return <p class="empty">The payload is being checked.</p>;
  const { findings, unusable, summary } = explanation;
  const fixableCount = findings.filter(({ fixable }) => fixable).length;
  return (
    <div class="explanation">
      <div class="bar">
        <h3 class="label" id={headlineID}>
          {headline(explanation)}
        </h3>
        {fixableCount > 1 && (
          <div class="bar-end">
            <Button class="button button-small" onPress={() => applyFix()}>
              Fix all
            </Button>
          </div>
        )}
      </div>
      {unusable && <Unusable unusable={unusable} />}
      {findings.length > 0 && (
        <ul class="findings" aria-labelledby={headlineID}>
          {findings.map((finding, index) => (
            <Row key={`${finding.code} ${finding.path} ${finding.place.column}`} finding={finding} index={index} />
          ))}
        </ul>
      )}
      <Summary summary={summary} />
    </div>
  );
}
