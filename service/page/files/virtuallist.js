/** A list of many rows of one height, of which only those in sight are made. */
import { useEffect, useLayoutEffect, useRef, useState } from './hooks.js';
import { html } from './html.js';

const MARGIN = 4; // rows beyond the edge

/** Which row has the focus after a key. */
function rowAfter(key, row, page, count) {
  const steps = { ArrowDown: row + 1, ArrowUp: row - 1, PageDown: row + page, PageUp: row - page, Home: 0, End: count - 1 };
  return key in steps ? Math.max(0, Math.min(count - 1, steps[key])) : null;
}

/**
 * @param {object} props
 * @param {string} props.label  what the rows are
 * @param {number} props.count  rows
 * @param {number} props.rowHeight  pixels
 * @param {(row: number, focus: number) => object} props.render  a row; its link takes `focus` as its tabindex
 * @param {object} [props.header]  a row above, which stays
 * @param {(first: number, last: number) => void} [props.onSight]  is told which rows are in sight
 * @param {{top: number}} [props.place]  keeps how far the list was scrolled, for when it is shown again
 */
export function VirtualList({ label, count, rowHeight, render, header, onSight, place }) {
  const box = useRef(null);
  const [sight, setSight] = useState({ top: 0, height: 800 });
  const [active, setActive] = useState(0);
  const wanted = useRef(null); // the row that the focus is about to go to

  useLayoutEffect(() => {
    const element = box.current;
    const look = () => {
      setSight({ top: element.scrollTop, height: element.clientHeight });
      if (place) place.top = element.scrollTop;
    };
    if (place) element.scrollTop = place.top;
    const observer = new ResizeObserver(look);
    observer.observe(element);
    element.addEventListener('scroll', look, { passive: true });
    return () => {
      observer.disconnect();
      element.removeEventListener('scroll', look);
    };
  }, []);

  const page = Math.max(1, Math.floor(sight.height / rowHeight) - 2);
  const first = Math.max(0, Math.floor(sight.top / rowHeight) - MARGIN);
  const last = Math.min(count, first + page + 2 * MARGIN + 3);
  useEffect(() => onSight?.(first, last), [first, last, count]);

  useEffect(() => {
    if (wanted.current === null) return;
    const link = box.current.querySelector(`[data-row="${wanted.current}"] a`);
    if (!link) return; // it is made once the list has scrolled
    wanted.current = null;
    link.focus({ preventScroll: true });
  });

  const onKeyDown = (event) => {
    const row = rowAfter(event.key, active, page, count);
    if (row === null || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    const top = row * rowHeight;
    const room = box.current.clientHeight - (header ? rowHeight : 0);
    if (top < box.current.scrollTop) box.current.scrollTop = top;
    if (top + rowHeight > box.current.scrollTop + room) box.current.scrollTop = top + rowHeight - room;
    wanted.current = row;
    setActive(row);
  };

  // Some row in sight can always be reached with the Tab key.
  const reachable = Math.max(first, Math.min(active, last - 1));
  const rows = [];
  for (let row = first; row < last; row += 1) {
    rows.push(html`<div class="row" role="row" aria-rowindex=${row + 1} data-row=${row} key=${row}
      onFocusIn=${() => setActive(row)}>${render(row, row === reachable ? 0 : -1)}</div>`);
  }
  return html`<div class="list" role="table" aria-label=${label} aria-rowcount=${count} ref=${box} onKeyDown=${onKeyDown}>
    ${header && html`<div role="rowgroup" class="head"><div class="row" role="row">${header}</div></div>`}
    <div role="rowgroup" class="body" style=${{ height: `${count * rowHeight}px` }}>
      <div role="presentation" style=${{ transform: `translateY(${first * rowHeight}px)` }}>${rows}</div>
    </div>
  </div>`;
}
