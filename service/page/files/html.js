/** Templates: html`<p>${text}</p>`. What is put in is text, never markup. */
import { h } from './preact.js';
import htm from './htm.js';

export const html = htm.bind(h);
