/** Rows of one kind of one slave: searched and paged by the service, read again where something changed. */
import { list } from './api.js';

const PAGE = 100;

export class Rows {
  rows = [];
  hasMore = true;
  isLoaded = false;
  trouble = null;
  #pages = []; // [{after, last}]: the ids that a page is between
  #sight = [0, 0];
  #isReading = false;
  #stopping = new AbortController();

  /**
   * @param {string} path  of the list, with its parameters
   * @param {() => void} onChange  is called after each answer
   */
  constructor(path, onChange) {
    this.path = path + (path.includes('?') ? '&' : '?');
    this.onChange = onChange;
  }

  stop() {
    this.#stopping.abort();
  }

  /** Says which rows are in sight: reads on when the last ones are near. */
  see(first, last) {
    this.#sight = [first, last];
    if (this.hasMore && last + PAGE / 2 >= this.rows.length) this.readOn();
  }

  /** Reads the next page. */
  async readOn() {
    const after = this.#pages.at(-1)?.last ?? 0;
    await this.#read(after, (page) => {
      this.rows = [...this.rows, ...page.rows];
      if (page.rows.length > 0) this.#pages.push({ after, last: page.rows.at(-1).id });
      this.hasMore = page.next !== null;
      this.isLoaded = true;
    });
  }

  /** Reads again what is in sight; new rows come at the end. */
  async readAgain() {
    const [first, last] = this.#sight;
    const begin = this.rows[first]?.id ?? 0;
    const end = this.rows[last - 1]?.id ?? 0;
    for (const page of [...this.#pages]) {
      if (page.last < begin || page.after >= end) continue;
      await this.#read(page.after, (fresh) => this.#replace(page, fresh));
    }
    if (!this.hasMore) {
      this.hasMore = true;
      await this.readOn();
    }
  }

  #replace(page, fresh) {
    const before = this.rows.filter((row) => row.id <= page.after);
    const behind = this.rows.filter((row) => row.id > page.last);
    this.rows = [...before, ...fresh.rows.filter((row) => row.id <= page.last), ...behind];
  }

  async #read(after, take) {
    if (this.#isReading) return;
    this.#isReading = true;
    try {
      const page = await list(`${this.path}after=${after}&limit=${PAGE}`, this.#stopping.signal);
      this.trouble = null;
      take(page);
    } catch (refusal) {
      this.trouble = refusal;
    }
    this.#isReading = false;
    if (this.#stopping.signal.aborted) return;
    this.onChange();
    if (this.isLoaded && this.trouble === null) this.see(...this.#sight);
  }
}
