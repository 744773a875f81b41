/** Who may look: a token, which the browser keeps where no script can read it. */
import { logIn, wordsOf } from './api.js';
import { useEffect, useRef, useState } from './hooks.js';
import { html } from './html.js';
import { Trouble } from './parts.js';

export function Login({ session, onSession }) {
  const [trouble, setTrouble] = useState('');
  const [isBusy, setBusy] = useState(false);
  const field = useRef(null);
  useEffect(() => field.current.focus(), []);
  const submit = async (event) => {
    event.preventDefault();
    const form = event.target;
    setBusy(true);
    try {
      onSession(await logIn(form.elements.token.value.trim()));
    } catch (refusal) {
      setTrouble(wordsOf(refusal));
      form.elements.token.select();
    }
    setBusy(false);
  };
  const mayNotRead = session.scope.length > 0;
  return html`<main class="login">
    <h1>Log in</h1>
    ${mayNotRead && html`<p>The token that is shown now (${session.scope.join(', ')}) may not see the fleet.</p>`}
    <form onSubmit=${submit}>
      <input name="username" autocomplete="username" value="token" hidden />
      <label for="token">Token</label>
      <input id="token" name="token" type="password" required autocomplete="current-password" ref=${field} />
      <button type="submit" class="main" disabled=${isBusy}>Log in</button>
    </form>
    <${Trouble} text=${trouble} />
    <p class="quiet"><code>qvcms token make --scope read</code> makes a token that may look,
      <code>--scope read --scope operate</code> one that may change things too.</p>
  </main>`;
}
