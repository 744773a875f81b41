/** What happens on the host, as it happens, over the service's event stream. */

const QUIET = 40_000; // ms; the service sends something every 15 s
const LONGEST_WAIT = 10_000;

/** Reads events out of the pieces of a stream. */
class EventReader {
  #rest = '';

  /** @returns {{id: string, type: string, data: object}[]} the events that are whole by now */
  take(piece) {
    const blocks = (this.#rest + piece).split('\n\n');
    this.#rest = blocks.pop();
    return blocks.map((block) => this.#read(block)).filter((event) => event.type);
  }

  #read(block) {
    const event = { id: '', type: '', data: {} };
    for (const line of block.split('\n')) {
      const [, name, value] = /^(\w*): ?(.*)$/.exec(line) ?? [];
      if (name === 'id') event.id = value;
      if (name === 'event') event.type = value;
      if (name === 'data') event.data = JSON.parse(value);
    }
    return event;
  }
}

/** Holds the stream open, and says since when it is not. */
export class Live {
  /** Null while events come in; the time (ms) since when they do not. */
  lostSince = Date.now();
  #last = '';
  #stopping = null;
  #wait = 500;

  /**
   * @param {(event: object) => void} onEvent  for each event
   * @param {(why: 'open' | 'lost' | 'unauthorized') => void} onChange  when the stream opens or ends
   */
  constructor(onEvent, onChange) {
    this.onEvent = onEvent;
    this.onChange = onChange;
  }

  start() {
    this.#stopping = new AbortController();
    this.#run(this.#stopping.signal);
  }

  stop() {
    this.#stopping?.abort();
  }

  async #run(stopped) {
    while (!stopped.aborted) {
      const why = await this.#listen(stopped);
      if (stopped.aborted) return;
      this.lostSince ??= Date.now();
      this.onChange(why);
      if (why === 'unauthorized') return;
      await new Promise((done) => setTimeout(done, this.#wait));
      this.#wait = Math.min(LONGEST_WAIT, this.#wait * 2);
    }
  }

  /** Listens until the stream ends, or is quiet for too long. */
  async #listen(stopped) {
    const quiet = new AbortController();
    let timer = 0;
    const wind = () => {
      clearTimeout(timer);
      timer = setTimeout(() => quiet.abort(), QUIET);
    };
    wind();
    try {
      const response = await fetch('v1/events', {
        headers: this.#last ? { 'Last-Event-ID': this.#last } : {},
        signal: AbortSignal.any([stopped, quiet.signal]),
      });
      if (response.status === 401 || response.status === 403) return 'unauthorized';
      if (!response.ok) return 'lost';
      await this.#read(response.body.pipeThrough(new TextDecoderStream()).getReader(), wind);
    } catch {
      // It ended: that is what is told.
    } finally {
      clearTimeout(timer);
    }
    return 'lost';
  }

  async #read(reader, wind) {
    const events = new EventReader();
    for (let piece = await reader.read(); !piece.done; piece = await reader.read()) {
      wind();
      if (this.lostSince !== null) {
        this.lostSince = null;
        this.#wait = 500;
        this.onChange('open');
      }
      for (const event of events.take(piece.value)) {
        if (event.id) this.#last = event.id;
        this.onEvent(event);
      }
    }
  }
}
