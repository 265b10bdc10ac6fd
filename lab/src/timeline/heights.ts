// The heights of many rows, most of them folded: which row is at a place, and where a row begins, in logarithmic time.
// A Fenwick tree of the heights; a height of 0 is a row that was not measured and has the usual one.

export class Heights {
  private tree: Float64Array = new Float64Array(1);
  private heights: Float64Array = new Float64Array(0);
  private count = 0;

  constructor(private readonly usual: number) {}

  get length(): number {
    return this.count;
  }

  /** Keeps the first rows' heights and adds or removes rows at the end. */
  resize(count: number): void {
    if (count === this.count) return;
    if (count > this.heights.length || count < this.count) {
      const kept = this.heights.subarray(0, Math.min(count, this.count));
      this.heights = new Float64Array(Math.max(1024, count * 2)).fill(this.usual);
      this.heights.set(kept);
      this.build();
    }
    this.count = count;
  }

  /** Returns by how much the row has grown. */
  set(index: number, height: number): number {
    const grown = height - (this.heights[index] ?? 0);
    if (grown === 0) return 0;
    this.heights[index] = height;
    for (let at = index + 1; at < this.tree.length; at += at & -at) this.tree[at] = (this.tree[at] ?? 0) + grown;
    return grown;
  }

  /** Where the row begins; for the row after the last, the height of all. */
  offset(index: number): number {
    let sum = 0;
    for (let at = index; at > 0; at -= at & -at) sum += this.tree[at] ?? 0;
    return sum;
  }

  /** The row at that distance from the first one's top. */
  at(offset: number): number {
    let index = 0;
    let rest = offset;
    for (let size = 2 ** Math.floor(Math.log2(this.tree.length)); size >= 1; size /= 2) {
      const next = index + size;
      const height = this.tree[next];
      if (height === undefined || height > rest) continue;
      index = next;
      rest -= height;
    }
    return Math.max(0, Math.min(index, this.count - 1));
  }

  private build(): void {
    const size = this.heights.length;
    this.tree = new Float64Array(size + 1);
    for (let at = 1; at <= size; at += 1) {
      this.tree[at] = (this.tree[at] ?? 0) + (this.heights[at - 1] ?? 0);
      const parent = at + (at & -at);
      if (parent <= size) this.tree[parent] = (this.tree[parent] ?? 0) + (this.tree[at] ?? 0);
    }
  }
}
