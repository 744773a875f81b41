/** Which devices a document adds, changes and removes, by name. The counts are the service's; this tells what they
 * stand for. A device is what it is on the slave: rows and entries are matched by its id there. */
import { list } from './api.js';
import { isConfiguring } from './words.js';

/** [kind, section of the document]; what is not here is counted only. */
const SECTIONS = [
  ['camera', 'camera_info'],
  ['iomodule', 'iomodule_info'],
  ['pos', 'POS_info'],
  ['speaker', 'speaker_info'],
  ['controller', 'ctrler_info'],
  ['door', null],
  ['iva-task', 'iva_info'],
  ['face-task', 'face_info'],
  ['counting-widget', 'counting_widget_info'],
  ['counting-group', 'counting_task_group_info'],
];
/** Members that say where a thing is on the slave, and what a status report says: the host has its own. */
const OWN_TO_SLAVE = ['id', 'status', 'door', 'camera_id', 'cam_id', 'task_id', 'iva_setting_id', 'widget_ids', 'paired_cameras'];

function entriesOf(document, kind, section) {
  const entries = kind === 'door' ? (document.ctrler_info ?? []).flatMap((each) => each.door ?? []) : document[section];
  return Array.isArray(entries) ? entries : [];
}

/** A value as it is compared: 1 and true are one, so are 1 and 1.0, and the order of members does not count. */
function plain(value) {
  if (typeof value === 'boolean') return Number(value);
  if (Array.isArray(value)) return value.map(plain);
  if (value !== null && typeof value === 'object') {
    return Object.fromEntries(Object.entries(value).sort(([a], [b]) => (a < b ? -1 : 1)).map(([name, each]) => [name, plain(each)]));
  }
  return value;
}

/** What the host keeps of a member that is absent or null. */
const isNothing = (value) => [undefined, null, '', 0, false].includes(value);
const isObject = (value) => value !== null && typeof value === 'object';

/** The places in which two values differ, down to what has no parts: [{field, before, after}]. */
function placesOf(field, before, after) {
  if (isNothing(before) && isNothing(after)) return [];
  if (JSON.stringify(plain(before)) === JSON.stringify(plain(after))) return [];
  const isAlike = Array.isArray(before) ? Array.isArray(after) && before.length === after.length : !Array.isArray(after);
  if (!isObject(before) || !isObject(after) || !isAlike) return [{ field, before, after }];
  return [...new Set([...Object.keys(before), ...Object.keys(after)])].flatMap((name) =>
    placesOf(`${field}, ${name}`, before[name], after[name]));
}

/** The fields in which an entry differs from its row. */
function differences(row, entry) {
  return Object.entries(entry)
    .filter(([field]) => field in row && !OWN_TO_SLAVE.includes(field))
    .flatMap(([field, after]) => placesOf(field, row[field], after));
}

/** What happens to the devices of one kind. */
function compare(rows, entries) {
  const reported = new Map(entries.map((entry) => [entry.id, entry]));
  const held = new Set(rows.map((row) => row.id_on_rec_server));
  return {
    added: [...reported.values()].filter((entry) => !held.has(entry.id)),
    removed: rows.filter((row) => !reported.has(row.id_on_rec_server)),
    updated: rows
      .filter((row) => reported.has(row.id_on_rec_server) && !isConfiguring(row)) // no document changes those
      .map((row) => ({ row, fields: differences(row, reported.get(row.id_on_rec_server)) }))
      .filter(({ fields }) => fields.length > 0),
  };
}

async function allRows(zr, kind) {
  const rows = [];
  for (let path = `v1/slaves/${zr}/${kind}?limit=5000`; path; ) {
    const page = await list(path);
    rows.push(...page.rows);
    path = page.next;
  }
  return rows;
}

/** The devices behind the counts of a plan. @returns {Promise<Map<string, object>>} by kind */
export async function devicesOf(zr, text, changes) {
  const document = JSON.parse(text);
  const found = new Map();
  for (const [kind, section] of SECTIONS) {
    const change = changes.find((each) => each.kind === kind);
    if (!change || change.added + change.updated + change.removed === 0) continue;
    found.set(kind, compare(await allRows(zr, kind), entriesOf(document, kind, section)));
  }
  return found;
}
