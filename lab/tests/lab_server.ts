// A `pellion lab` of its own, on any free port and with an empty folder for temporary files.
import { type ChildProcess, spawn } from "node:child_process";
import { once } from "node:events";
import { mkdtemp, readdir, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { fileURLToPath } from "node:url";

export const pellion = process.env.PELLION ?? fileURLToPath(new URL("../../build/release/pellion", import.meta.url));

export class LabServer {
  private constructor(
    private readonly process: ChildProcess,
    private readonly folder: string,
    /** With the token. */
    readonly address: string,
  ) {}

  static async start(port = 0): Promise<LabServer> {
    const folder = await mkdtemp(join(tmpdir(), "pellion-lab-test-"));
    const child = spawn(pellion, ["lab", "--port", String(port)], {
      env: { ...process.env, TMPDIR: folder },
      stdio: ["ignore", "pipe", "inherit"],
    });
    for await (const line of createInterface(child.stdout)) {
      const address = /http:\S+/.exec(line)?.[0];
      if (address !== undefined) return new LabServer(child, folder, address);
    }
    throw new Error(`${pellion} lab printed no address. Build it first, or name it in PELLION.`);
  }

  get origin(): string {
    return new URL(this.address).origin;
  }

  get port(): number {
    return Number(new URL(this.address).port);
  }

  /** Ends it as Ctrl-C does. Throws if it does not end with 0, or leaves a file; does nothing after kill(). */
  async stop(): Promise<void> {
    if (this.process.signalCode === "SIGKILL") return;
    const { code, signal } = await this.end("SIGINT");
    const left = await readdir(this.folder);
    await rm(this.folder, { recursive: true });
    if (code !== 0) throw new Error(`pellion lab ended with ${code ?? signal} instead of 0.`);
    if (left.length > 0) throw new Error(`pellion lab left temporary files: ${left.join(", ")}.`);
  }

  /** Ends it as a crash would. */
  async kill(): Promise<void> {
    await this.end("SIGKILL");
    await rm(this.folder, { recursive: true });
  }

  private async end(how: "SIGINT" | "SIGKILL"): Promise<{ code: number | null; signal: string | null }> {
    const { process: child } = this;
    if (child.exitCode === null && child.signalCode === null) {
      const exit = once(child, "exit");
      child.kill(how);
      await exit;
    }
    return { code: child.exitCode, signal: child.signalCode };
  }
}
