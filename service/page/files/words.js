/** Words for what the service says; the same as in the command line. */

const numbers = new Intl.NumberFormat('en');
const clock = new Intl.DateTimeFormat('en-GB', { hour: '2-digit', minute: '2-digit', second: '2-digit' });
const day = new Intl.DateTimeFormat('en-GB', { day: 'numeric', month: 'short', year: 'numeric' });

export const number = (value) => numbers.format(value);

/** What several of a kind are called, in the order of lists. */
const SEVERAL = new Map([
  ['camera', 'cameras'], ['edge-storage', 'edge storages'], ['iomodule', 'I/O modules'], ['pos', 'POS terminals'],
  ['speaker', 'speakers'], ['controller', 'controllers'], ['door', 'doors'], ['iva-task', 'IVA tasks'],
  ['face-task', 'face tasks'], ['counting-widget', 'counting widgets'], ['counting-group', 'counting groups'],
  ['capability', 'capabilities'], ['message', 'messages waiting'],
]);

export const kinds = [...SEVERAL.keys()];

/** "1 camera", "3 cameras", of a kind of devices; one that has no word of its own keeps its name. */
export function countOf(kind, count) {
  const several = SEVERAL.get(kind) ?? kind;
  return `${number(count)} ${count === 1 ? several.replace(/s$/, '') : several}`;
}

/** "Cameras" */
export function titleOf(kind) {
  const several = SEVERAL.get(kind) ?? kind;
  return several[0].toUpperCase() + several.slice(1);
}

const SLAVE_STATES = ['disconnected', 'connected', 'login failed', 'incompatible', 'recovering', 'shut down'];
const CONTROLLER_STATES = ['unknown', 'connected', 'disconnected', 'disabled', 'login failed'];

/** The state that a slave reported of itself. */
export const slaveState = (status) => SLAVE_STATES[status] ?? `status ${status}`;

const CONFIGURING = 0x20;

/** Whether somebody configures the device on the host, so that no document changes it. */
export const isConfiguring = (row) => (row.device_status_flags & CONFIGURING) !== 0;

/** What a row is called. */
export function nameOf(kind, row) {
  if (kind === 'message') return `${row.target}: ${row.command}`;
  return row.name || row.path || `${kind} ${row.id}`;
}

/** The state that was last reported of a device; null if none is reported for its kind. */
export function deviceState(kind, row) {
  const status = row.status ?? row.status_on_rec_server;
  if (status === undefined || kind === 'server') return null;
  if (status === 1) return { well: true, words: 'well' };
  const words = kind === 'controller' ? CONTROLLER_STATES[status] : null;
  return { well: false, words: words ?? `not well (status ${status})` };
}

/** "4 s", "12 min", "3 h", "5 days" */
export function duration(ms) {
  const seconds = Math.max(0, Math.round(ms / 1000));
  if (seconds < 120) return `${seconds} s`;
  if (seconds < 7200) return `${Math.floor(seconds / 60)} min`;
  if (seconds < 172_800) return `${Math.floor(seconds / 3600)} h`;
  return `${number(Math.floor(seconds / 86_400))} days`;
}

/** "12:04:31", with the day if it is another one. */
export function time(ms) {
  const date = new Date(ms);
  const today = date.toDateString() === new Date().toDateString();
  return today ? clock.format(date) : `${day.format(date)}, ${clock.format(date)}`;
}

/** A field's name for people: "mac_address" is "mac address". */
export const fieldName = (column) => column.replaceAll('_', ' ');
