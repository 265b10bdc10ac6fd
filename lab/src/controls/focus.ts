// A control that disappears as it is pressed must not leave the focus nowhere: the next key would begin at the top.

const isNowhere = () => document.activeElement === null || document.activeElement === document.body;

/** What is chosen among the sections: always there. */
const section = '[role="tab"][aria-selected="true"], .place[aria-current]';

/** Once the page is drawn: if nothing has the focus, the first of these that is visible gets it. */
export function keepFocus(...candidates: (string | Element | null | undefined)[]): void {
  requestAnimationFrame(() => {
    if (!isNowhere()) return;
    for (const candidate of [...candidates, section]) {
      const found = typeof candidate === "string" ? [...document.querySelectorAll(candidate)] : [candidate];
      const target = found.find((element) => element?.isConnected && element.checkVisibility());
      if (!(target instanceof HTMLElement)) continue;
      target.focus();
      if (!isNowhere()) return;
    }
  });
}
