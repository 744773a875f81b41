/** Every field of a device, and what is part of it. */
import { list, setConfiguring, wordsOf } from './api.js';
import { useEffect, useReducer, useState } from './hooks.js';
import { html } from './html.js';
import { Trouble } from './parts.js';
import { deviceState, fieldName, isConfiguring, nameOf, time, titleOf } from './words.js';

/** Kinds whose rows are part of a device: [kind, the column that names the device]. */
const PARTS = {
  camera: [['iva-task', 'camera_id'], ['face-task', 'camera_id'], ['edge-storage', 'camera_id']],
  controller: [['door', 'ctrler_id']],
  'iva-task': [['counting-widget', 'iva_setting_id']],
};
const CONFIGURABLE = ['camera', 'iomodule'];
const FIRST_FIELDS = ['id', 'id_on_rec_server'];

/** The row, and the rows that are part of it; read again when something of the kind changes. */
function useDevice(fleet, zr, kind, id) {
  const [device, setDevice] = useState({ row: null, parts: [], trouble: '', isGone: false });
  const [turn, again] = useReducer((count) => count + 1, 0);
  useEffect(() => {
    const stopping = new AbortController();
    const read = (path) => list(path, stopping.signal).then((page) => page.rows);
    const parts = (PARTS[kind] ?? []).map(async ([part, column]) =>
      ({ kind: part, rows: await read(`v1/slaves/${zr}/${part}?${column}=${id}`) }));
    Promise.all([read(`v1/slaves/${zr}/${kind}?after=${id - 1}&limit=1`), ...parts]).then(
      ([[row], ...found]) => setDevice({ row: row?.id === id ? row : null, parts: found, trouble: '', isGone: row?.id !== id }),
      (refusal) => !stopping.signal.aborted && setDevice((old) => ({ ...old, trouble: wordsOf(refusal) })),
    );
    return () => stopping.abort();
  }, [zr, kind, id, turn]);
  useEffect(() => {
    let timer = 0;
    const end = fleet.listenToEvents((event) => {
      const kinds = (event.data.changes ?? []).map((change) => change.kind);
      if (event.data.zr !== zr || ![kind, ...(PARTS[kind] ?? []).map(([part]) => part)].some((each) => kinds.includes(each))) return;
      timer ||= setTimeout(() => {
        timer = 0;
        again();
      }, 500);
    });
    return () => {
      clearTimeout(timer);
      end();
    };
  }, [fleet, zr, kind]);
  return { ...device, again };
}

/** A value as people read it. */
function Value({ value }) {
  if (value === true || value === false) return value ? 'yes' : 'no';
  if (value === null || value === '' || value === undefined) return html`<span class="quiet">–</span>`;
  if (typeof value === 'object') return html`<code>${JSON.stringify(value, null, 1)}</code>`;
  return String(value);
}

function Fields({ row }) {
  const names = Object.keys(row).sort((a, b) => FIRST_FIELDS.includes(b) - FIRST_FIELDS.includes(a));
  return html`<dl class="fields">${names.map((name) => html`<div key=${name}>
    <dt>${fieldName(name)}</dt><dd><${Value} value=${name === 'created' ? time(row[name]) : row[name]} /></dd></div>`)}</dl>`;
}

function State({ kind, row }) {
  const state = deviceState(kind, row);
  return state && html`<span class=${state.well ? 'good' : 'bad'}>${state.words}</span>`;
}

function Configuring({ kind, row, onDone }) {
  const [trouble, setTrouble] = useState('');
  const on = isConfiguring(row);
  const set = () => setConfiguring(kind, row.id, !on).then(onDone, (refusal) => setTrouble(wordsOf(refusal)));
  return html`<div class="configuring">
    <button type="button" onClick=${set}>${on ? 'Free again: documents may change it' : 'Mark as being configured'}</button>
    <${Trouble} text=${trouble} />
  </div>`;
}

function Part({ kind, row }) {
  return html`<details><summary>${nameOf(kind, row)} <${State} kind=${kind} row=${row} /></summary><${Fields} row=${row} /></details>`;
}

export function DeviceView({ fleet, zr, kind, id, mayOperate }) {
  const { row, parts, trouble, isGone, again } = useDevice(fleet, zr, kind, id);
  useEffect(() => {
    const onKey = (event) => {
      if (event.key === 'Escape') location.hash = `#/slaves/${zr}/${kind}`;
    };
    addEventListener('keydown', onKey);
    return () => removeEventListener('keydown', onKey);
  }, [zr, kind]);
  return html`<section class="device" aria-label="Device" tabindex="0">
    <div class="title">
      <h2>${row ? nameOf(kind, row) : ''}</h2>
      <a href=${`#/slaves/${zr}/${kind}`}>Close</a>
    </div>
    <${Trouble} text=${trouble} />
    ${isGone && html`<p class="empty">It is no longer held.</p>`}
    ${row && html`
      <p><${State} kind=${kind} row=${row} />${isConfiguring(row) && html` <b class="warn">being configured</b>: no document changes it`}</p>
      ${mayOperate && CONFIGURABLE.includes(kind) && html`<${Configuring} kind=${kind} row=${row} onDone=${again} />`}
      ${parts.filter((part) => part.rows.length > 0).map((part) => html`<div key=${part.kind} class="part">
        <h3>${titleOf(part.kind)}</h3>
        ${part.rows.map((each) => html`<${Part} kind=${part.kind} row=${each} key=${each.id} />`)}</div>`)}
      <h3>Fields</h3>
      <${Fields} row=${row} />`}
  </section>`;
}
