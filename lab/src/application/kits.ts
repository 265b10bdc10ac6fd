// Other kits in the application, and the order in which they and the module start.
import { signal } from "@preact/signals";
import { isObject, type JsonObject } from "../state/jsonc";
import { startAgain } from "../state/phones";
import { perform } from "../state/session";

export const waysOfKits = ["replaces", "exchanges", "subclasses", "reassigns"] as const;
export const sidesOfKits = ["application", "notificationCenter"] as const;

export interface Kit {
  name: string;
  does: (typeof waysOfKits)[number];
  of: (typeof sidesOfKits)[number];
}

export type Starter = { id: number; kit: Kit | null };

/** One entry is the module: its kit is null. */
export const order = signal<Starter[]>([{ id: 0, kit: null }]);
let lastID = 0;

export const mostKits = 8;

export function addToOrder(kit: Kit): void {
  lastID += 1;
  order.value = [...order.value, { id: lastID, kit }];
}

export function removeFromOrder(id: number): void {
  order.value = order.value.filter((starter) => starter.id !== id);
}

export function moveInOrder(id: number, by: 1 | -1): void {
  const next = [...order.value];
  const from = next.findIndex((starter) => starter.id === id);
  const [moved] = next.splice(from, 1);
  if (moved) next.splice(from + by, 0, moved);
  order.value = next;
}

/** The module starts by a step of its own, so that kits can start before it. */
function withoutStart(head: JsonObject): JsonObject {
  const application = isObject(head.application) ? head.application : {};
  return { ...head, application: { ...application, startsService: false } };
}

export async function runOrder(): Promise<void> {
  const steps = order.value.map(({ kit }) => (kit === null ? "startService" : { kit }));
  const isStarted = await startAgain({ steps: ["launch", ...steps], adapted: withoutStart });
  if (isStarted) await perform({ do: "rest" });
}
