/** One slave: its devices by kind, and what waits for it. */
import { DeviceView } from './deviceview.js';
import { useEffect, useMemo, useReducer, useRef, useState } from './hooks.js';
import { html } from './html.js';
import { Age, Search, Trouble } from './parts.js';
import { PlanView } from './planview.js';
import { Rows } from './rows.js';
import { useFleet, useMedia, useSettled } from './use.js';
import { VirtualList } from './virtuallist.js';
import { deviceState, duration, isConfiguring, kinds, nameOf, number, slaveState, time, titleOf } from './words.js';
import { wordsOf } from './api.js';

const SEARCHED = ['camera', 'iomodule', 'pos', 'speaker', 'controller', 'door', 'iva-task', 'face-task'];
const PAUSE = 500; // ms from an event to reading rows again

/** What is worth telling of a row beside its name. */
function detailOf(kind, row) {
  if (kind === 'message') return JSON.stringify(row.payload);
  return [row.vendor, row.model, row.host].filter(Boolean).join(' · ');
}

/** Rows of the kind, which follow events. */
function useRows(fleet, zr, kind, search, isNotWell) {
  const [, again] = useReducer((count) => count + 1, 0);
  const rows = useMemo(() => {
    const parameters = new URLSearchParams();
    if (search) parameters.set('search', search);
    if (isNotWell) parameters.set('not_well', 'true');
    if (kind === 'message') parameters.set('set_aside', ''); // only those that wait
    return new Rows(`v1/slaves/${zr}/${kind}?${parameters}`, again);
  }, [zr, kind, search, isNotWell]);
  useEffect(() => {
    rows.readOn();
    let timer = 0;
    const end = fleet.listenToEvents((event) => {
      const concerns = event.data.zr === zr && event.data.changes?.some((change) => change.kind === kind);
      if (!concerns && event.type !== 'lost') return;
      timer ||= setTimeout(() => {
        timer = 0;
        rows.readAgain();
      }, PAUSE);
    });
    return () => {
      clearTimeout(timer);
      end();
      rows.stop();
    };
  }, [rows]);
  return rows;
}

function DeviceRow({ zr, kind, row, focus }) {
  const state = deviceState(kind, row);
  return html`
    <span role="cell" class="num quiet">${row.id_on_rec_server ?? row.id}</span>
    <span role="cell"><a href=${`#/slaves/${zr}/${kind}/${row.id}`} tabindex=${focus}>${nameOf(kind, row)}</a></span>
    <span role="cell">${isConfiguring(row) && html`<b class="warn">being configured</b> `}${state &&
      html`<span class=${state.well ? 'good' : 'bad'}>${state.words}</span>`}</span>
    <span role="cell" class="quiet">${detailOf(kind, row)}</span>`;
}

const header = (kind) => html`
  <span role="columnheader" class="num">Id</span><span role="columnheader">Name</span>
  <span role="columnheader">State</span>
  <span role="columnheader">${kind === 'message' ? 'Payload' : 'What it is'}</span>`;

/** The kinds, with how many devices there are and are not well. */
function Kinds({ zr, slave, kind, isNarrow }) {
  const labelOf = (each) => {
    const devices = slave?.devices.get(each);
    const count = each === 'message' ? slave?.row.messages_waiting : devices?.total;
    return { count, notWell: devices?.not_well ?? 0 };
  };
  if (isNarrow) {
    return html`<select class="kinds" aria-label="Kind" value=${kind}
      onChange=${(event) => { location.hash = `#/slaves/${zr}/${event.target.value}`; }}>
      ${kinds.map((each) => {
        const { count, notWell } = labelOf(each);
        const words = [count === undefined ? '' : number(count), notWell ? `${number(notWell)} not well` : ''];
        return html`<option value=${each} key=${each}>${[titleOf(each), ...words.filter(Boolean)].join(', ')}</option>`;
      })}
    </select>`;
  }
  return html`<nav class="kinds" aria-label="Kinds">${kinds.map((each) => {
    const { count, notWell } = labelOf(each);
    return html`<a href=${`#/slaves/${zr}/${each}`} aria-current=${each === kind ? 'page' : undefined} key=${each}>
      <span>${titleOf(each)}</span>
      <span class="num">${notWell > 0 && html`<b class="bad">${number(notWell)}</b><span class="quiet"> of </span>`}${
        count === undefined ? '' : number(count)}</span></a>`;
  })}</nav>`;
}

/** What is known of the slave itself. */
function Facts({ slave, now }) {
  const { row } = slave;
  const facts = [
    ['State', row.silent
      ? html`<b class="bad">silent</b> since ${time(slave.silentSince)} (${duration(now - slave.silentSince)})`
      : html`<span class=${row.status === 1 ? 'good' : 'bad'}>${slaveState(row.status)}</span>`],
    ['Last report', html`<${Age} then=${slave.heard} now=${now} />`],
    ['Model', row.model],
    ['Serial number', row.serial_num],
    ['Version', row.qv_version],
    ['Volume space', row.vol_space >= 0 ? number(row.vol_space) : ''],
    ['Package', row.pkg_status === 0 ? 'well' : html`<b class="bad">status ${row.pkg_status}</b>`],
    ['Volume', row.vol_status === 0 ? 'well' : html`<b class="bad">status ${row.vol_status}</b>`],
  ];
  return html`<dl class="facts">${facts.filter(([, value]) => value).map(([name, value]) =>
    html`<div key=${name}><dt>${name}</dt><dd>${value}</dd></div>`)}</dl>`;
}

/** Takes a file that is dropped anywhere on the page, if there is something to take it. */
function useDrop(onFile) {
  const [isOver, setOver] = useState(false);
  useEffect(() => {
    if (!onFile) return undefined;
    const over = (event) => {
      if (!event.dataTransfer.types.includes('Files')) return;
      event.preventDefault();
      setOver(true);
    };
    const leave = (event) => event.relatedTarget === null && setOver(false);
    const drop = (event) => {
      event.preventDefault();
      setOver(false);
      if (event.dataTransfer.files.length > 0) onFile(event.dataTransfer.files[0]);
    };
    const handlers = { dragover: over, dragleave: leave, drop };
    for (const [name, handler] of Object.entries(handlers)) addEventListener(name, handler);
    return () => Object.entries(handlers).forEach(([name, handler]) => removeEventListener(name, handler));
  }, [onFile]);
  return isOver;
}

/** The list of one kind; who comes to see what is wrong sees that first. */
function KindList({ fleet, zr, kind, startsNotWell }) {
  const devices = fleet.slaves.get(zr)?.devices.get(kind);
  const [search, setSearch] = useState('');
  const [isNotWell, setNotWell] = useState(startsNotWell);
  const rows = useRows(fleet, zr, kind, useSettled(search.trim(), 150), isNotWell);
  const isNarrow = useMedia('(max-width: 60rem)');
  return html`<section class="devices" aria-label=${titleOf(kind)}>
    ${SEARCHED.includes(kind) && html`<div class="tools">
      <${Search} label="Search by name, vendor, model, address" value=${search} onInput=${setSearch} />
      ${devices && html`<label class="check"><input type="checkbox" checked=${isNotWell}
        onChange=${(event) => setNotWell(event.target.checked)} /> Not well only</label>`}
    </div>`}
    <${Trouble} text=${rows.trouble && wordsOf(rows.trouble)} />
    ${rows.isLoaded && rows.rows.length === 0 && html`<p class="empty">${search || isNotWell ? 'None fits.' : 'None.'}</p>`}
    <${VirtualList} label=${titleOf(kind)} count=${rows.rows.length} rowHeight=${isNarrow ? 52 : 32} header=${isNarrow ? null : header(kind)}
      onSight=${(first, last) => rows.see(first, last)}
      render=${(row, focus) => html`<${DeviceRow} zr=${zr} kind=${kind} row=${rows.rows[row]} focus=${focus} />`} />
  </section>`;
}

export function SlaveView({ fleet, address, scope }) {
  useFleet(fleet);
  const { zr, id } = address;
  const slave = fleet.slaves.get(zr);
  const isNarrow = useMedia('(max-width: 60rem)');
  const [document_, setDocument] = useState(null);
  const picker = useRef(null);
  const take = useMemo(() => async (file) => setDocument({ name: file.name, text: await file.text() }), []);
  const mayOperate = scope.includes('operate');
  const mayPlan = mayOperate || scope.includes(`slave:${zr}`);
  const isOver = useDrop(mayPlan ? take : null);
  // Where one lands stays the same when something changes meanwhile.
  const worst = useMemo(() => slave && [...slave.devices].find(([, each]) => each.not_well > 0)?.[0], [slave === undefined]);
  const kind = address.kind ?? worst ?? 'camera';
  useEffect(() => {
    document.title = `Slave ${zr}`;
  }, [zr]);
  if (!slave) return html`<main><p class="empty">${fleet.isLoaded ? `Slave ${zr} is not known here.` : ''}</p></main>`;
  return html`<main class=${`slave ${id ? 'open' : ''}`}>
    <div class="top">
      <h1>Slave ${zr}</h1>
      <${Facts} slave=${slave} now=${fleet.now()} />
      ${mayPlan && html`<input type="file" accept=".json,application/json" hidden ref=${picker} aria-label="Document"
        onChange=${(event) => { if (event.target.files[0]) take(event.target.files[0]); event.target.value = ''; }} />
      <button type="button" onClick=${() => picker.current.click()}>Plan a document…</button>`}
    </div>
    ${document_
      ? html`<${PlanView} key=${document_.text} zr=${zr} document=${document_} onClose=${() => setDocument(null)} />`
      : html`<div class="columns">
          <${Kinds} zr=${zr} slave=${slave} kind=${kind} isNarrow=${isNarrow} />
          <${KindList} key=${kind} fleet=${fleet} zr=${zr} kind=${kind} startsNotWell=${address.kind === null && worst !== undefined} />
          ${id && html`<${DeviceView} key=${`${kind}/${id}`} fleet=${fleet} zr=${zr} kind=${kind} id=${id} mayOperate=${mayOperate} />`}
        </div>`}
    ${isOver && html`<div class="drop">Drop the document here to see what update would do</div>`}
  </main>`;
}
