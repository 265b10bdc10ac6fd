// The head of a scenario: everything but its notifications and steps. It describes the application of the phone.

import scenarios from "examples:scenarios";
import { computed, signal } from "@preact/signals";
import { isObject, type JsonObject, parseJsonc } from "./jsonc";
import { remember, remembered } from "./storage";

const headKeys = [
  "name",
  "description",
  "configuration",
  "urlSchemes",
  "queriedSchemes",
  "installedSchemes",
  "delegates",
  "application",
];

export const write = (value: unknown) => JSON.stringify(value, null, 2);

/** Throws SyntaxError or TypeError, both for the user to read. */
export function parseHead(text: string): JsonObject {
  const value = parseJsonc(text);
  if (!isObject(value)) throw new TypeError('The application is described by an object: start with "{".');
  return value;
}

/** The head of a scenario document. */
export function headOf(scenario: string): JsonObject {
  const document = parseHead(scenario);
  return Object.fromEntries(headKeys.filter((key) => key in document).map((key) => [key, document[key]]));
}

const defaultName = "A session in the lab";

function shop(): JsonObject {
  const day = scenarios.find(({ name }) => name === "a_day");
  const { description: _, ...head } = headOf(day?.text ?? "{}");
  return { ...head, name: defaultName };
}

export const defaultHead = write(shop());

/** As the editor shows it; a phone has it from its start. */
export const headText = signal(remembered().head ?? defaultHead);

headText.subscribe((head) => remember({ head }));

export const head = computed<JsonObject | null>(() => {
  try {
    return parseHead(headText.value);
  } catch {
    return null;
  }
});

/** The same application for a session of its own: the name and description of an opened scenario do not belong to it. */
export function unnamed(text: string): string {
  try {
    const { name, description, ...application } = parseHead(text);
    return name === defaultName && description === undefined ? text : write({ name: defaultName, ...application });
  } catch {
    return text;
  }
}

const texts = (value: unknown) =>
  Array.isArray(value) ? value.filter((item): item is string => typeof item === "string") : [];

/** The URL schemes that the application declares. */
export const schemes = computed(() => {
  const { urlSchemes, queriedSchemes, installedSchemes } = head.value ?? {};
  const installed = texts(installedSchemes);
  return [...texts(urlSchemes), ...texts(queriedSchemes).filter((scheme) => installed.includes(scheme))];
});

export const applicationName = computed(() => {
  const configuration = head.value?.configuration;
  const meta = isObject(configuration) ? configuration.APP_META : null;
  const name = isObject(meta) ? meta.name : null;
  return typeof name === "string" && name !== "" ? name : "Application";
});

export const scenarioOf = (applicationHead: JsonObject, steps: unknown[]) => write({ ...applicationHead, steps });
