/** Every slave, those in trouble first. */
import { groups } from './fleet.js';
import { useEffect, useMemo } from './hooks.js';
import { html } from './html.js';
import { Age, Search } from './parts.js';
import { useFleet, useMedia } from './use.js';
import { VirtualList } from './virtuallist.js';
import { countOf, duration, number, time } from './words.js';

const COLUMNS = [
  ['camera', 'Cameras'],
  ['iomodule', 'I/O'],
  ['pos', 'POS'],
  ['speaker', 'Speakers'],
  ['controller', 'Controllers'],
  ['door', 'Doors'],
];
const GROUP_TITLES = ['Silent', 'Not connected', 'Devices not well', 'Well'];

/** "3 / 100" with those that are not well first; a dash where the slave has none. */
function Devices({ slave, kind }) {
  const devices = slave.devices.get(kind);
  if (!devices?.total) return html`<span class="quiet">–</span>`;
  if (!devices.not_well) return number(devices.total);
  return html`<b class="bad">${number(devices.not_well)}</b><span class="quiet"> of </span>${number(devices.total)}`;
}

/** What is wrong, in words. */
function State({ slave, now }) {
  if (slave.row.silent) {
    const since = slave.silentSince;
    return html`<b class="bad">silent</b>${since && html`<span class="detail"> since ${time(since)}, ${duration(now - since)}</span>`}`;
  }
  if (slave.group === 1) return html`<b class="bad">${slave.state}</b>`;
  if (slave.group === 2) return html`<b class="warn">${number(slave.notWell)} not well</b>`;
  return html`<span class="good">well</span>`;
}

function wrongWith(slave) {
  return [...slave.devices]
    .filter(([, each]) => each.not_well > 0)
    .map(([kind, each]) => `${number(each.not_well)} of ${countOf(kind, each.total)}`)
    .join(', ');
}

function Row({ slave, now, focus, isNarrow }) {
  const link = html`<a href=${`#/slaves/${slave.id}`} tabindex=${focus}>${slave.id}</a>`;
  if (isNarrow) {
    return html`<div role="cell" class="card">
      <span class="line">Slave ${link} <${State} slave=${slave} now=${now} /></span>
      <span class="line quiet">${slave.heard ? `reported ${duration(now - slave.heard)} ago` : 'not heard of yet'}
        ${slave.notWell > 0 ? ` · ${wrongWith(slave)}` : ''}</span>
    </div>`;
  }
  const { row } = slave;
  return html`
    <span role="cell" class="num">${link}</span>
    <span role="cell"><${State} slave=${slave} now=${now} /></span>
    <span role="cell" class="num"><${Age} then=${slave.heard} now=${now} /></span>
    ${COLUMNS.map(([kind]) => html`<span role="cell" class="num" key=${kind}><${Devices} slave=${slave} kind=${kind} /></span>`)}
    <span role="cell" class="num">${row.messages_waiting ? number(row.messages_waiting) : html`<span class="quiet">–</span>`}</span>
    <span role="cell" class="num">${row.vol_space >= 0 ? number(row.vol_space) : html`<span class="quiet">–</span>`}</span>
    <span role="cell">${row.qv_version}</span>
    <span role="cell">${row.model}</span>`;
}

const HEADER = html`
  <span role="columnheader" class="num">Slave</span>
  <span role="columnheader">State</span>
  <span role="columnheader" class="num">Last report</span>
  ${COLUMNS.map(([kind, title]) => html`<span role="columnheader" class="num" key=${kind}>${title}</span>`)}
  <span role="columnheader" class="num">Messages</span>
  <span role="columnheader" class="num">Volume space</span>
  <span role="columnheader">Version</span>
  <span role="columnheader">Model</span>`;

/** A group's button, with how many slaves are in it. */
function GroupButton({ title, count, tone, isChosen, choose }) {
  return html`<button type="button" class=${`group ${count > 0 ? tone : ''}`} aria-pressed=${isChosen} onClick=${choose}>
    <b>${number(count)}</b> ${title}</button>`;
}

export function FleetView({ fleet, filter, setFilter, place }) {
  useFleet(fleet);
  const isNarrow = useMedia('(max-width: 60rem)');
  const { text, group } = filter;
  const slaves = useMemo(() => fleet.find(text, group), [fleet.version, text, group]);
  const counts = useMemo(() => fleet.counts(), [fleet.version]);
  useEffect(() => {
    document.title = counts[0] > 0 ? `(${number(counts[0])} silent) Slaves` : 'Slaves';
  }, [counts[0]]);
  const now = fleet.now();
  const choose = (chosen) => setFilter({ text, group: chosen });
  return html`<main class="fleet">
    <h1 class="hidden">Fleet</h1>
    <div class="tools">
      <div class="groups" role="group" aria-label="Which slaves">
        <${GroupButton} title="All" count=${fleet.slaves.size} tone="" isChosen=${group === null} choose=${() => choose(null)} />
        ${groups.map((_, i) => html`<${GroupButton} title=${GROUP_TITLES[i]} count=${counts[i]} key=${i}
          tone=${['bad', 'bad', 'warn', ''][i]} isChosen=${group === i} choose=${() => choose(i)} />`)}
      </div>
      <${Search} label="Search by id, model, version or serial number" value=${text}
        onInput=${(wanted) => setFilter({ text: wanted, group })} />
    </div>
    ${fleet.isLoaded && slaves.length === 0 && html`<p class="empty">
      ${fleet.slaves.size === 0 ? 'No slave has been paired yet.' : 'No slave fits.'}</p>`}
    <${VirtualList} label="Slaves" place=${place} count=${slaves.length} rowHeight=${isNarrow ? 56 : 32} header=${isNarrow ? null : HEADER}
      render=${(row, focus) => html`<${Row} slave=${slaves[row]} now=${now} focus=${focus} isNarrow=${isNarrow} />`} />
  </main>`;
}
