/** What update would do with a document, and doing it. */
import { plan, update, wordsOf } from './api.js';
import { useEffect, useState } from './hooks.js';
import { html } from './html.js';
import { Trouble } from './parts.js';
import { devicesOf } from './plan.js';
import { fieldName, number, titleOf } from './words.js';

const MOST = 200; // devices of a kind that are named

const isCount = (row) => row.added !== undefined;
const changesOf = (row) => row.added + row.updated + row.removed;
const isMessage = (row) => row.kind === 'message';

/** How many rows, without messages, which are a consequence of changes. */
function sum(rows, name) {
  return rows.filter((row) => !isMessage(row)).reduce((all, row) => all + row[name], 0);
}

function Counts({ rows }) {
  return html`<table class="counts">
    <thead><tr><th scope="col">Kind</th>${['added', 'updated', 'removed', 'unchanged'].map((name) =>
      html`<th scope="col" class="num" key=${name}>${name}</th>`)}</tr></thead>
    <tbody>${rows.filter((row) => changesOf(row) > 0 || row.unchanged > 0).map((row) => html`<tr key=${row.kind}>
      <th scope="row">${row.kind}</th>
      ${['added', 'updated', 'removed', 'unchanged'].map((name) => html`<td key=${name}
        class=${`num ${row[name] > 0 ? name : 'quiet'}`}>${row[name] === null ? '–' : number(row[name])}</td>`)}
    </tr>`)}</tbody>
  </table>`;
}

function text(value) {
  if (value === '' || value === undefined) return 'nothing';
  return typeof value === 'string' ? value : JSON.stringify(value);
}

function Named({ title, tone, rows }) {
  if (rows.length === 0) return null;
  return html`<div class="named"><h4 class=${tone}>${title}</h4><ul>
    ${rows.slice(0, MOST).map((row) => html`<li key=${row.id}>${row.name || `id ${row.id_on_rec_server ?? row.id}`}</li>`)}
    ${rows.length > MOST && html`<li class="quiet">and ${number(rows.length - MOST)} more</li>`}
  </ul></div>`;
}

/** The devices of one kind, by what happens to them. */
function Devices({ kind, devices, counts }) {
  const { added, updated, removed } = devices;
  const unnamed = counts.updated - updated.length;
  return html`<section class="kind"><h3>${titleOf(kind)}</h3>
    <${Named} title="added" tone="added" rows=${added} />
    <${Named} title="removed" tone="removed" rows=${removed} />
    ${updated.length > 0 && html`<div class="named"><h4 class="updated">updated</h4><ul>${updated.slice(0, MOST).map(({ row, fields }) =>
      html`<li key=${row.id}>${row.name}<ul class="changes">${fields.map(({ field, before, after }) => html`<li key=${field}>
        <span class="quiet">${fieldName(field)}:</span> <del>${text(before)}</del> <span class="hidden">becomes</span><ins>${text(after)}</ins></li>`)}</ul></li>`)}
      ${updated.length > MOST && html`<li class="quiet">and ${number(updated.length - MOST)} more</li>`}</ul></div>`}
    ${unnamed > 0 && html`<p class="quiet">${number(unnamed)} more updated in what is not shown here, such as passwords.</p>`}
  </section>`;
}

/** What the host would refuse, or could not use. */
function Remarks({ rows }) {
  const unused = rows.filter((row) => row.kind === 'unused-entry');
  if (unused.length === 0) return null;
  return html`<div class="remarks"><h3>Entries that cannot be used</h3><ul>${unused.map((row) =>
    html`<li key=${row.place}><code>${row.place}</code> ${row.reason}</li>`)}</ul></div>`;
}

/** The button, and what has to be said before it may be pressed. */
function Apply({ zr, rows, isBusy, onApply }) {
  const [mayRemove, setMayRemove] = useState(false);
  const refusals = rows.filter((row) => row.kind === 'refusal');
  const removed = sum(rows.filter(isCount), 'removed');
  return html`<div class="apply">
    ${refusals.map((row) => html`<p class="trouble" key=${row.code}>Update would refuse this document: ${row.reason}</p>`)}
    ${refusals.length > 0 && html`<label class="check"><input type="checkbox" checked=${mayRemove}
      onChange=${(event) => setMayRemove(event.target.checked)} /> Allow removals: apply it although ${number(removed)} rows are removed</label>`}
    <button type="button" class="main" disabled=${isBusy || (refusals.length > 0 && !mayRemove)}
      onClick=${() => onApply(mayRemove)}>Update slave ${zr} with this document</button>
  </div>`;
}

export function PlanView({ zr, document, onClose }) {
  const [rows, setRows] = useState(null);
  const [devices, setDevices] = useState(new Map());
  const [result, setResult] = useState(null);
  const [trouble, setTrouble] = useState('');
  const [isBusy, setBusy] = useState(false);

  useEffect(() => {
    let isWanted = true;
    const run = async () => {
      const planned = await plan(zr, document.text);
      if (!isWanted) return;
      setRows(planned);
      const found = await devicesOf(zr, document.text, planned.filter(isCount));
      if (isWanted) setDevices(found);
    };
    run().catch((refusal) => isWanted && setTrouble(wordsOf(refusal)));
    return () => { isWanted = false; };
  }, [zr, document]);

  const apply = async (mayRemove) => {
    setBusy(true);
    setTrouble('');
    try {
      setResult(await update(zr, document.text, mayRemove));
    } catch (refusal) {
      setTrouble(wordsOf(refusal));
    }
    setBusy(false);
  };

  const shown = result?.rows ?? rows;
  const counts = shown?.filter(isCount) ?? [];
  const changes = ['added', 'updated', 'removed'].map((name) => `${number(sum(counts, name))} ${name}`).join(', ');
  const messages = counts.find(isMessage)?.added ?? 0;
  return html`<section class="plan" aria-label="Plan" tabindex="0">
    <div class="title"><h2>${result ? 'Applied' : 'Plan'}: ${document.name}</h2>
      <button type="button" onClick=${onClose}>Close</button></div>
    <${Trouble} text=${trouble} />
    ${!shown && !trouble && html`<p class="empty">The service looks what update would do…</p>`}
    ${shown && html`
      <p role="status">${result ? 'Done: ' : 'Update would do this: '}${changes}${messages > 0 ? `, and ${number(messages)} ${messages === 1 ? 'message' : 'messages'} to other services` : ''}.
        ${result?.failed > 0 && html` <b class="bad">${number(result.failed)} failed operations; the log of the service tells why.</b>`}</p>
      ${!result && html`<${Apply} zr=${zr} rows=${rows} isBusy=${isBusy} onApply=${apply} />`}
      <${Remarks} rows=${shown} />
      <div class="halves">
        <${Counts} rows=${counts} />
        <div>${[...devices].map(([kind, each]) => html`<${Devices} key=${kind} kind=${kind} devices=${each}
          counts=${counts.find((row) => row.kind === kind)} />`)}</div>
      </div>`}
  </section>`;
}
