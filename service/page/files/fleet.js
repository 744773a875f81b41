/** What the page knows of the fleet: one request for all slaves, kept up to date by events. */
import { list } from './api.js';
import { slaveState } from './words.js';

const CONNECTED = 1;
const PAGE = 200; // slaves that are read again at a time
const PAUSE = 2000; // ms between looking again
const SECOND_LOOK = 10_000; // ms; the service counts devices now and then, not with each document

/** Groups of slaves, those in trouble first. */
export const groups = ['silent', 'not connected', 'devices not well', 'well'];

/** A slave as the fleet view shows it. */
function readSlave(row) {
  const devices = new Map(Object.entries(row.devices ?? {}));
  const notWell = [...devices.values()].reduce((sum, each) => sum + each.not_well, 0);
  return {
    row,
    id: row.id,
    devices,
    notWell,
    group: groupOf(row, notWell),
    state: row.silent ? 'silent' : slaveState(row.status),
    heard: Date.parse(row.last_heard ?? row.last_report ?? '') || null,
    silentSince: Date.parse(row.silent_since ?? '') || null,
    text: [row.id, row.model, row.serial_num, row.qv_version, row.tarn_version, row.dp_version].join(' ').toLowerCase(),
  };
}

function groupOf(row, notWell) {
  if (row.silent) return 0;
  if (row.status !== CONNECTED) return 1;
  return notWell > 0 ? 2 : 3;
}

export class Fleet {
  slaves = new Map();
  isLoaded = false;
  /** The service's clock is ahead by this many ms. */
  ahead = 0;
  /** Goes up when other slaves are found than before, or in another order. */
  version = 0;
  #listeners = new Set();
  #eventListeners = new Set();
  #dirty = new Set(); // slaves to read again
  #second = new Set(); // slaves that will be read again once more
  #shown = null; // the one slave that is shown; null: all of them
  #isReading = false;
  #isTelling = false;

  /** @param {() => void} [onUnauthorized]  is called when the service wants a token that it is not shown */
  constructor(onUnauthorized = () => {}) {
    this.onUnauthorized = onUnauthorized;
  }

  /** The service's time. */
  now() {
    return Date.now() + this.ahead;
  }

  /** Calls back after changes, not more than five times a second. @returns what ends that */
  listen(listener) {
    this.#listeners.add(listener);
    return () => this.#listeners.delete(listener);
  }

  /** Calls back for each event. @returns what ends that */
  listenToEvents(listener) {
    this.#eventListeners.add(listener);
    return () => this.#eventListeners.delete(listener);
  }

  /** Says which slave is shown, null for all: what is not shown is read again once it is. */
  show(zr) {
    this.#shown = zr;
    this.#readDirty();
  }

  /** Reads all slaves. */
  async load() {
    const slaves = new Map();
    for (let path = 'v1/slaves?limit=10000'; path; ) {
      const page = await list(path);
      this.ahead = page.time - Date.now();
      for (const row of page.rows) slaves.set(row.id, readSlave(row));
      path = page.next;
    }
    this.slaves = slaves;
    this.isLoaded = true;
    this.#dirty.clear();
    this.version += 1;
    this.#changed();
  }

  /** Takes an event of the service. */
  take(event) {
    const { zr, time, changes = [] } = event.data;
    if (event.type === 'lost') this.load().catch(() => {});
    if (event.type === 'removed') this.#forget(zr);
    const slave = this.slaves.get(zr);
    if (event.type === 'silent' || event.type === 'well') {
      if (slave) this.#set({ ...slave.row, silent: event.type === 'silent', silent_since: event.data.since });
    } else if (zr && event.type !== 'removed') {
      if (slave && event.type !== 'configuring') slave.heard = Date.parse(time);
      if (!slave || changes.length > 0) this.#lookAt(zr);
    }
    for (const listener of this.#eventListeners) listener(event);
    this.#changed();
    this.#readDirty();
  }

  #lookAt(zr) {
    this.#dirty.add(zr);
    if (this.#second.has(zr)) return;
    this.#second.add(zr);
    setTimeout(() => {
      this.#second.delete(zr);
      this.#dirty.add(zr);
      this.#readDirty();
    }, SECOND_LOOK);
  }

  /** A slave stays the same object: lists of slaves that were found go on to hold. */
  #set(row) {
    const fresh = readSlave(row);
    const slave = this.slaves.get(row.id);
    if (slave?.group !== fresh.group || slave.state !== fresh.state || slave.text !== fresh.text) this.version += 1;
    if (slave) Object.assign(slave, fresh);
    else this.slaves.set(row.id, fresh);
  }

  #forget(zr) {
    if (this.slaves.delete(zr)) this.version += 1;
  }

  #changed() {
    if (this.#isTelling) return;
    this.#isTelling = true;
    setTimeout(() => {
      this.#isTelling = false;
      for (const listener of this.#listeners) listener();
    }, 200);
  }

  /** Slaves that are shown and to be read again, in the order of their ids. */
  #wanted() {
    if (this.#shown !== null) return this.#dirty.has(this.#shown) ? [this.#shown] : [];
    return [...this.#dirty].sort((a, b) => a - b);
  }

  /** Reads slaves again in which something changed: page by page, and for a small part of the time. */
  async #readDirty() {
    if (!this.isLoaded || this.#isReading) return;
    let wanted = this.#wanted();
    if (wanted.length === 0) return;
    this.#isReading = true;
    const begin = performance.now();
    try {
      while (wanted.length > 0) wanted = await this.#readPage(wanted);
    } catch (refusal) {
      if (refusal.status === 401) this.onUnauthorized();
      // Otherwise the stream is about to end too; all is read again when it comes back.
    }
    const pause = Math.max(PAUSE, 10 * (performance.now() - begin));
    setTimeout(() => {
      this.#isReading = false;
      this.#readDirty();
    }, pause);
  }

  /** Reads a page from the first of these slaves on. @returns those behind the page */
  async #readPage(wanted) {
    const first = wanted[0];
    const limit = Math.min(PAGE, wanted.at(-1) - first + 1);
    const { rows, next } = await list(`v1/slaves?after=${first - 1}&limit=${limit}`);
    const end = next ? rows.at(-1).id : Infinity;
    const seen = new Set(rows.map((row) => row.id));
    for (const zr of [...this.#dirty]) {
      if (zr < first || zr > end) continue;
      this.#dirty.delete(zr);
      if (!seen.has(zr)) this.#forget(zr);
    }
    for (const row of rows) this.#set(row);
    this.#changed();
    return wanted.filter((zr) => zr > end);
  }

  /** Slaves of a group (null: all) with the text, those in trouble first. */
  find(text, group) {
    const words = text.toLowerCase().split(/\s+/).filter(Boolean);
    const found = [];
    for (const slave of this.slaves.values()) {
      if (group !== null && slave.group !== group) continue;
      if (words.every((word) => slave.text.includes(word) || slave.state.includes(word))) found.push(slave);
    }
    return found.sort((a, b) => a.group - b.group || a.id - b.id);
  }

  /** How many slaves are in each group. */
  counts() {
    const counts = groups.map(() => 0);
    for (const slave of this.slaves.values()) counts[slave.group] += 1;
    return counts;
  }
}
