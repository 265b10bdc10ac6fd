// What the page opens as it starts: a link, or what the tab had before.
import { setPayload } from "../payload/payload";
import { tellFailure, tellHint } from "../state/notices";
import { resume, startPhone } from "../state/phones";
import { completedHead, LinkError, readFragment } from "./link";

/** Throws LinkError. Returns false if the address has no fragment. */
async function openLink(): Promise<boolean> {
  const { hash } = location;
  // A reload keeps the session instead of opening the link again.
  history.replaceState(null, "", location.pathname + location.search);
  const shared = readFragment(hash);
  if (!shared) return false;
  setPayload(shared.payload);
  const isStarted = await startPhone(completedHead(shared), { server: null });
  if (isStarted && shared.withheld.length > 0) {
    tellHint(`The link does not carry ${shared.withheld.join(" and ")}. Example values stand in their place.`);
  }
  return isStarted;
}

/** A link that is not usable is a message; what the tab had before stays. */
async function openLinkOr(resumed: () => Promise<void>): Promise<void> {
  try {
    if (!(await openLink())) await resumed();
  } catch (error) {
    if (!(error instanceof LinkError)) throw error;
    await resumed();
    tellFailure(error.message);
  }
}

export async function open(): Promise<void> {
  await openLinkOr(resume);
  window.addEventListener("hashchange", () => {
    if (location.hash !== "") void openLinkOr(async () => undefined);
  });
}
