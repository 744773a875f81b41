// Measures the page at a running service without tokens: how long the first view takes, what it transfers, and whether
// the browser is held up while somebody types and scrolls. A task counts by the processor time that it takes: what else
// the machine does is not the page's.
//
//     QV_MODULES=build/dev/page/node_modules QV_CHROMIUM=/usr/bin/chromium \
//       node bench/page.mjs URL ID-OF-A-SLAVE-WITH-MANY-CAMERAS

import { openBrowser } from '../tests/page/support.mjs';

const [url, zr] = process.argv.slice(2);
const { browser, page, cdp } = await openBrowser();

const requests = [];
await cdp.send('Network.enable');
const addresses = new Map();
cdp.on('Network.requestWillBeSent', (event) => addresses.set(event.requestId, event.request.url));
cdp.on('Network.loadingFinished', (event) =>
  requests.push({ path: addresses.get(event.requestId).slice(url.length), bytes: event.encodedDataLength }));

await page.addInitScript(() => {
  const look = () => {
    if (document.querySelector('.body .row')) window.firstView = Math.round(performance.now());
    else requestAnimationFrame(look);
  };
  requestAnimationFrame(look);
});

/** How long the page takes until rows are there. */
async function open(path) {
  requests.length = 0;
  await page.goto('about:blank');
  await page.goto(url + path);
  await page.locator('.body .row').first().waitFor();
  await page.waitForTimeout(1000);
  const own = requests.filter(({ path: each }) => !each.startsWith('/v1'));
  const lists = requests.filter(({ path: each }) => each.startsWith('/v1/slaves'));
  const kilobytes = (all) => Math.round(all.reduce((sum, { bytes }) => sum + bytes, 0) / 1000);
  console.log(`${path}: first view after ${await page.evaluate(() => window.firstView)} ms;`,
    `page ${kilobytes(own)} kB in ${own.length} files;`,
    `lists ${kilobytes(lists)} kB in ${lists.map(({ path: each }) => each).join(' ')}`);
}

/** The tasks of the page's main thread while something is done, longest first, in ms: processor time, and time in all. */
async function tasksOf(action) {
  const tracing = await browser.newBrowserCDPSession();
  const events = [];
  tracing.on('Tracing.dataCollected', ({ value }) => events.push(...value));
  const complete = new Promise((done) => tracing.once('Tracing.tracingComplete', done));
  const includedCategories = ['toplevel', 'disabled-by-default-devtools.timeline'];
  await tracing.send('Tracing.start', { transferMode: 'ReportEvents', traceConfig: { includedCategories } });
  await action();
  await tracing.send('Tracing.end');
  await complete;
  const mains = events.filter((event) => event.name === 'thread_name' && event.args.name === 'CrRendererMain');
  const tasks = events
    .filter((event) => event.name === 'RunTask' && mains.some(({ pid, tid }) => pid === event.pid && tid === event.tid));
  const longest = (member) => tasks.map((task) => Math.round(task[member] / 1000)).sort((a, b) => b - a).slice(0, 5);
  return `${tasks.length} tasks, the longest take ${longest('tdur').join(', ')} ms of processor time, ` +
    `${longest('dur').join(', ')} ms in all`;
}

/** Types and scrolls. */
async function typeAndScroll(text) {
  for (const letter of text) {
    await page.keyboard.press(letter);
    await page.waitForTimeout(60);
  }
  for (let i = 0; i < text.length; i += 1) await page.keyboard.press('Backspace');
  await page.mouse.move(500, 500);
  for (let i = 0; i < 120; i += 1) {
    await page.mouse.wheel(0, i < 100 ? 900 : -4000);
    await page.waitForTimeout(16);
  }
}

async function use(what, text) {
  console.log(`${what}: ${await tasksOf(() => typeAndScroll(text))}`);
}

await open('/');
await page.keyboard.press('/');
await use('fleet', '9.1 connected 123');
await open(`/#/slaves/${zr}/camera`);
await page.keyboard.press('/');
await use('slave', 'camera 99');
await browser.close();
