// The service and a browser that looks at it.

import assert from 'node:assert/strict';
import { spawn, execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const { QV_MODULES, QV_BIN, QV_EXAMPLES } = process.env;
const require = createRequire(join(QV_MODULES, 'of-the-page.js'));
const { chromium } = require('playwright-core');
const axe = readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');

export const example = (name) => join(QV_EXAMPLES, name);
export const readExample = (name) => readFileSync(example(name), 'utf8');

/** A running qvcmsd with a data folder of its own. */
export class Service {
  folder = mkdtempSync(join(tmpdir(), 'qv-page-'));
  port = 0;

  get url() {
    return `http://127.0.0.1:${this.port}`;
  }

  async start(...options) {
    const arguments_ = ['--data-dir', join(this.folder, 'data'), '--listen', `127.0.0.1:${this.port}`, ...options];
    this.process = spawn(join(QV_BIN, 'qvcmsd'), arguments_, { stdio: ['ignore', 'ignore', 'pipe'] });
    let log = '';
    for await (const piece of this.process.stderr) {
      log += piece;
      const listening = /listening on [^ ]*:(\d+)/.exec(log);
      if (!listening) continue;
      this.port = Number(listening[1]);
      return;
    }
    assert.fail(log);
  }

  async kill(signal) {
    const ended = new Promise((done) => this.process.once('exit', done));
    this.process.kill(signal);
    await ended;
  }

  async end() {
    await this.kill('SIGKILL');
    rmSync(this.folder, { recursive: true });
  }

  async post(path, body) {
    const response = await fetch(this.url + path, { method: 'POST', body });
    assert.equal(response.status, 200, await response.text());
  }

  /** What "qvcms ARGUMENTS" prints. */
  qvcms(...arguments_) {
    return execFileSync(join(QV_BIN, 'qvcms'), ['--data-dir', join(this.folder, 'data'), ...arguments_], { encoding: 'utf8' });
  }
}

/** A browser; what the page has to say on its console is kept. */
export async function openBrowser() {
  const browser = await chromium.launch({ executablePath: process.env.QV_CHROMIUM, args: ['--no-sandbox'] });
  const said = [];
  const context = await browser.newContext({ viewport: { width: 1280, height: 720 }, colorScheme: 'light' });
  const page = await context.newPage();
  page.setDefaultTimeout(20_000);
  page.on('console', (message) => {
    // The browser itself tells of each answer that is no success, also of those that a test asks for.
    if (!message.text().startsWith('Failed to load') || !message.location().url.includes('/v1/')) said.push(message.text());
  });
  page.on('pageerror', (error) => said.push(error.stack));
  const cdp = await context.newCDPSession(page);
  return { browser, context, page, said, cdp };
}

/** Has axe look at the page in both themes. */
export async function assertAccessible(page, where) {
  for (const theme of ['light', 'dark']) {
    await page.emulateMedia({ colorScheme: theme });
    // The page's policy lets no script in but its own: this one comes in by the debugger.
    const result = await page.evaluate(`${axe}; axe.run(document, { resultTypes: ['violations'] })`);
    const found = result.violations.map((each) => `${each.id}: ${each.nodes.map((node) => node.html).join('\n')}`);
    assert.deepEqual(found, [], `${where}, ${theme}`);
  }
  await page.emulateMedia({ colorScheme: 'light' });
}
