// What the page opens as it starts: a link, or what the tab had before.
import { setPayload } from "../payload/payload";
import { tellFailure, tellHint } from "../state/notices";
import { resume, startPhone } from "../state/session";
import { completedHead, LinkError, readFragment } from "./link";

async function openLink(): Promise<boolean> {
  try {
    const shared = readFragment(location.hash);
    if (!shared) return false;
    setPayload(shared.payload);
    const isStarted = await startPhone(completedHead(shared), { server: null });
    if (isStarted && shared.withheld.length > 0) {
      tellHint(`The link does not carry ${shared.withheld.join(" and ")}. Example values stand in their place.`);
    }
    return isStarted;
  } catch (error) {
    if (!(error instanceof LinkError)) throw error;
    tellFailure(error.message);
    return false;
  } finally {
    // A reload keeps the session instead of opening the link again.
    history.replaceState(null, "", location.pathname + location.search);
  }
}

export async function open(): Promise<void> {
  if (location.hash === "" || !(await openLink())) await resume();
  window.addEventListener("hashchange", () => {
    if (location.hash !== "") void openLink();
  });
}
