/** The page: who asks, what is shown, and whether it is live. */
import { logOut, session as askSession, wordsOf } from './api.js';
import { Fleet } from './fleet.js';
import { FleetView } from './fleetview.js';
import { useEffect, useMemo, useReducer, useRef, useState } from './hooks.js';
import { html } from './html.js';
import { Live } from './live.js';
import { Login } from './login.js';
import { render } from './preact.js';
import { SlaveView } from './slaveview.js';
import { duration, time } from './words.js';

/** "#/slaves/7/camera/12" in parts. */
function readAddress() {
  const [, , zr, kind, id] = location.hash.split('/');
  return { zr: Number(zr) || null, kind: kind || null, id: Number(id) || null };
}

function useAddress() {
  const [address, setAddress] = useState(readAddress);
  useEffect(() => {
    const look = () => setAddress(readAddress());
    addEventListener('hashchange', look);
    return () => removeEventListener('hashchange', look);
  }, []);
  return address;
}

/** The fleet, live while there is somebody who may see it. */
function useLiveFleet(mayRead, onUnauthorized) {
  const fleet = useMemo(() => new Fleet(onUnauthorized), [mayRead]);
  const [trouble, setTrouble] = useState('');
  const [, again] = useReducer((count) => count + 1, 0);
  const live = useMemo(() => {
    const load = () =>
      fleet.load().then(() => setTrouble(''), (refusal) => setTrouble(wordsOf(refusal)));
    return new Live(
      (event) => fleet.take(event),
      (why) => {
        again();
        if (why === 'unauthorized') onUnauthorized();
        // What happened while nobody listened is in the lists.
        if (why === 'open') load();
      },
    );
  }, [fleet]);
  useEffect(() => {
    if (!mayRead) return undefined;
    live.start();
    return () => live.stop();
  }, [live, mayRead]);
  return { fleet, live, trouble };
}

/** Whether what is shown is what is. */
function LiveState({ live }) {
  const [, again] = useReducer((count) => count + 1, 0);
  useEffect(() => {
    const timer = setInterval(again, 1000);
    return () => clearInterval(timer);
  }, []);
  const { lostSince } = live;
  const isLost = lostSince !== null && Date.now() - lostSince > 1000;
  return html`<span class=${`live ${isLost ? 'bad' : 'good'}`} role="status">${isLost
    ? html`Not live since ${time(lostSince)} <span class="detail">(${duration(Date.now() - lostSince)}), trying again</span>`
    : 'Live'}</span>`;
}

function Theme() {
  const [theme, setTheme] = useState(document.documentElement.dataset.theme ?? '');
  const choose = (event) => {
    const chosen = event.target.value;
    setTheme(chosen);
    localStorage.setItem('theme', chosen);
    if (chosen) document.documentElement.dataset.theme = chosen;
    else delete document.documentElement.dataset.theme;
  };
  return html`<select aria-label="Theme" value=${theme} onChange=${choose}>
    <option value="">System theme</option><option value="light">Light</option><option value="dark">Dark</option>
  </select>`;
}

function App() {
  const [session, setSession] = useState(null);
  const [trouble, setTrouble] = useState('');
  const [filter, setFilter] = useState({ text: '', group: null });
  const place = useRef({ top: 0 }).current; // in the list of slaves
  const address = useAddress();
  const ask = () => askSession().then(setSession, (refusal) => setTrouble(wordsOf(refusal)));
  useEffect(() => {
    ask();
  }, []);
  const mayRead = session?.scope.includes('read') ?? false;
  const { fleet, live, trouble: fleetTrouble } = useLiveFleet(mayRead, ask);
  useEffect(() => fleet.show(address.zr), [fleet, address.zr]);
  if (session === null) return trouble ? html`<main class="login"><p role="alert">${trouble}</p></main>` : null;

  const view = address.zr
    ? html`<${SlaveView} key=${address.zr} fleet=${fleet} address=${address} scope=${session.scope} />`
    : html`<${FleetView} fleet=${fleet} filter=${filter} setFilter=${setFilter} place=${place} />`;
  return html`
    <header class="bar">
      <nav aria-label="Where"><a href="#/" class="home">Fleet</a>${address.zr &&
        html` <span class="quiet">/</span> <a href=${`#/slaves/${address.zr}`}>Slave ${address.zr}</a>`}</nav>
      ${mayRead && html`<${LiveState} live=${live} />`}
      <span class="rest"></span>
      <${Theme} />
      ${session.wants_token && session.scope.length > 0 &&
        html`<button type="button" onClick=${async () => setSession(await logOut())}>Log out</button>`}
    </header>
    ${fleetTrouble && html`<p class="trouble" role="alert">${fleetTrouble}</p>`}
    ${mayRead ? view : html`<${Login} session=${session} onSession=${setSession} />`}`;
}

render(html`<${App} />`, document.getElementById('app'));
