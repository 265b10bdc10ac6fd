// The messages of one phone, as server-sent events. The browser connects again by itself after a broken connection;
// where it gives up, this does, after asking whether the phone still exists. A page that is not seen has no stream: a
// browser has only six connections to one server, which all its tabs share.
import type { Chain, Event as LabEvent, State } from "../generated/protocol";
import { eventsPath, Failure, isAlive } from "./client";

export type Connection = "connecting" | "connected" | "lost" | "gone" | "forbidden";

export interface Receiver {
  onEvent(id: number, event: LabEvent): void;
  onState(state: State): void;
  onChain(chain: Chain): void;
  onRefused(error: string): void;
  onConnection(connection: Connection): void;
}

const retryAfter = 1500;
const sayUnseenAfter = 10 * 60_000; // a phone that no page uses for an hour ends

export class Stream {
  private source: EventSource | null = null;
  private timer: ReturnType<typeof setTimeout> | undefined;
  private lastID = 0;
  private hasEnded = false;

  constructor(
    private readonly phone: string,
    private readonly receiver: Receiver,
  ) {
    document.addEventListener("visibilitychange", this.onSeen);
    this.onSeen();
  }

  end(): void {
    this.hasEnded = true;
    document.removeEventListener("visibilitychange", this.onSeen);
    clearTimeout(this.timer);
    this.source?.close();
  }

  private readonly onSeen = (): void => {
    clearTimeout(this.timer);
    if (document.visibilityState === "visible") {
      if (!this.source || this.source.readyState === EventSource.CLOSED) this.connect();
      return;
    }
    this.source?.close();
    this.stayAliveUnseen();
  };

  private stayAliveUnseen(): void {
    this.timer = setTimeout(() => {
      void isAlive(this.phone).catch(() => false); // what is wrong shows when the page is seen
      this.stayAliveUnseen();
    }, sayUnseenAfter);
  }

  private connect(): void {
    const source = new EventSource(eventsPath(this.phone, this.lastID));
    this.source = source;
    source.onopen = () => this.receiver.onConnection("connected");
    source.onerror = () => this.whenBroken(source);
    this.listen<LabEvent>("event", (event, id) => this.receiver.onEvent(id, event));
    this.listen<State>("state", (state) => this.receiver.onState(state));
    this.listen<Chain>("chain", (chain) => this.receiver.onChain(chain));
    this.listen<{ error: string }>("refused", ({ error }) => this.receiver.onRefused(error));
  }

  private listen<Data>(name: string, handle: (data: Data, id: number) => void): void {
    this.source?.addEventListener(name, (message) => {
      if (this.hasEnded) return;
      const id = Number(message.lastEventId);
      if (id <= this.lastID) return;
      this.lastID = id;
      handle(JSON.parse(message.data) as Data, id);
    });
  }

  private whenBroken(source: EventSource): void {
    if (this.hasEnded) return;
    this.receiver.onConnection("lost");
    if (source.readyState === EventSource.CLOSED) this.askLater(0);
  }

  private askLater(delay: number): void {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => void this.ask(), delay);
  }

  private async ask(): Promise<void> {
    try {
      const exists = await isAlive(this.phone);
      if (this.hasEnded || document.visibilityState !== "visible") return;
      if (exists) this.connect();
      else this.receiver.onConnection("gone");
    } catch (error) {
      if (this.hasEnded) return;
      if (error instanceof Failure && error.status === 403) this.receiver.onConnection("forbidden");
      else this.askLater(retryAfter);
    }
  }
}
