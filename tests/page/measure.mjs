// Measures the page at a running service without tokens: how long the first view takes, what it transfers, and whether
// the browser is held up while somebody types and scrolls.
//
//     QV_MODULES=build/dev/page/node_modules QV_CHROMIUM=/usr/bin/chromium \
//       node tests/page/measure.mjs URL ID-OF-A-SLAVE-WITH-MANY-CAMERAS

import { openBrowser } from './support.mjs';

const [url, zr] = process.argv.slice(2);
const { browser, page, cdp } = await openBrowser();

const requests = [];
await cdp.send('Network.enable');
const addresses = new Map();
cdp.on('Network.requestWillBeSent', (event) => addresses.set(event.requestId, event.request.url));
cdp.on('Network.loadingFinished', (event) =>
  requests.push({ path: addresses.get(event.requestId).slice(url.length), bytes: event.encodedDataLength }));

await page.addInitScript(() => {
  window.longTasks = [];
  new PerformanceObserver((list) => {
    for (const task of list.getEntries()) window.longTasks.push(Math.round(task.duration));
  }).observe({ type: 'longtask', buffered: true });
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

/** Types and scrolls, and tells of tasks that take longer than 50 ms. */
async function use(what, text) {
  await page.evaluate(() => window.longTasks.splice(0));
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
  console.log(`${what}: tasks over 50 ms: ${JSON.stringify(await page.evaluate(() => window.longTasks))} ms`);
}

await open('/');
await page.keyboard.press('/');
await use('fleet', '9.1 connected 123');
await open(`/#/slaves/${zr}/camera`);
await page.keyboard.press('/');
await use('slave', 'camera 99');
await browser.close();
