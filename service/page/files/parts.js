/** Small parts of several views. */
import { useCallback, useRef } from './hooks.js';
import { html } from './html.js';
import { useSlash } from './use.js';
import { duration, time } from './words.js';

/** How long ago something was. */
export function Age({ then, now }) {
  if (!then) return html`<span class="quiet">–</span>`;
  return html`<time datetime=${new Date(then).toISOString()} title=${time(then)}>${duration(now - then)} ago</time>`;
}

/** A field to search with; "/" leads to it. */
export function Search({ label, value, onInput }) {
  const field = useRef(null);
  useSlash(useCallback(() => field.current?.focus(), []));
  return html`<input class="search" type="search" aria-label=${label} placeholder=${label} value=${value} ref=${field}
    autocomplete="off" spellcheck=${false} onInput=${(event) => onInput(event.target.value)} />`;
}

/** What the service refused, or what went wrong. */
export function Trouble({ text }) {
  return text ? html`<p class="trouble" role="alert">${text}</p>` : null;
}
