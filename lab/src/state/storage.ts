// What a tab remembers over a reload (sessionStorage: several tabs are several phones), and what all tabs share
// (localStorage). A browser that stores nothing loses only this.

/** A phone that the tab has left, with what belongs to it. */
export interface FormerPhone {
  phone: string;
  head: string;
  server: string | null;
  ticks: string[];
}

export interface Remembered {
  phone: string | null;
  payload: string;
  head: string;
  server: string | null;
  ticks: string[];
  view: string;
  former: FormerPhone | null;
}

const sessionKey = "pellion-lab";

export function remembered(): Partial<Remembered> {
  try {
    const value: unknown = JSON.parse(sessionStorage.getItem(sessionKey) ?? "{}");
    return typeof value === "object" && value !== null ? value : {};
  } catch {
    return {};
  }
}

export function remember(changes: Partial<Remembered>): void {
  try {
    sessionStorage.setItem(sessionKey, JSON.stringify({ ...remembered(), ...changes }));
  } catch {
    // The storage is full or forbidden.
  }
}

export function preference(name: string): string | null {
  try {
    return localStorage.getItem(`pellion-lab.${name}`);
  } catch {
    return null;
  }
}

export function prefer(name: string, value: string): void {
  try {
    localStorage.setItem(`pellion-lab.${name}`, value);
  } catch {
    // As above.
  }
}
