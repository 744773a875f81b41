/** The service's routes. */

/** What kept a request from being carried out: the service's problem, or that it cannot be reached. */
class Refusal extends Error {
  /** @param {{status?: number, code: string, detail: string, place?: string, line?: number, column?: number}} problem */
  constructor(problem) {
    super(problem.detail);
    Object.assign(this, problem);
  }
}

/** The refusal in one sentence, with the place in the document. */
export function wordsOf(refusal) {
  const line = refusal.line ? ` (line ${refusal.line}, column ${refusal.column})` : '';
  return `${refusal.message || 'The service could not do it'}${line}`;
}

async function request(path, options = {}) {
  let response;
  try {
    response = await fetch(path, options);
  } catch {
    throw new Refusal({ code: 'unreachable', detail: 'the service cannot be reached' });
  }
  if (response.ok) return response;
  let problem = { code: 'failed', detail: `the service answered ${response.status}` };
  try {
    problem = await response.json();
  } catch {
    // Not the service itself has answered, but something before it.
  }
  throw new Refusal({ ...problem, status: response.status });
}

/** @returns {Promise<{rows: object[], next: string | null, time: number}>} a page of a list, and the service's time */
export async function list(path, signal) {
  const response = await request(path, { signal });
  const link = /<([^>]*)>; rel="next"/.exec(response.headers.get('Link') ?? '');
  const time = Date.parse(response.headers.get('Date') ?? '') || Date.now();
  return { rows: await response.json(), next: link ? link[1] : null, time };
}

const send = (method, path, body) =>
  request(path, { method, body, headers: { 'Content-Type': 'application/json' } });

export const session = async () => (await request('v1/session')).json();
export const logIn = async (token) => (await send('POST', 'v1/session', JSON.stringify({ token }))).json();
export const logOut = async () => (await request('v1/session', { method: 'DELETE' })).json();
export const plan = async (zr, text) => (await send('POST', `v1/slaves/${zr}/plan`, text)).json();

/** Applies a snapshot. @returns {Promise<{rows: object[], failed: number}>} what changed, operations that failed */
export async function update(zr, text, allowRemovals) {
  const response = await send('POST', `v1/slaves/${zr}/snapshot${allowRemovals ? '?allow_removals=true' : ''}`, text);
  return { rows: await response.json(), failed: Number(response.headers.get('Qv-Failed-Operations') ?? 0) };
}

export const setConfiguring = (kind, id, on) =>
  send('PUT', `v1/${kind}/${id}/configuring`, JSON.stringify({ configuring: on }));
