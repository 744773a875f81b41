// The page in a real browser, at the real service, with the example fleet.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { assertAccessible, example, openBrowser, readExample, Service } from './support.mjs';

const service = new Service();
let browser;
let page;
let said; // on the console

/** A snapshot with one camera of that name. */
const oneCamera = (name) => JSON.stringify({ camera_info: [{ id: 1, name, vendor: 'Oculor', model: 'DX-400' }] });
const row = (text) => page.locator('.body .row', { hasText: text });

before(async () => {
  await service.start('--silent-after', '600');
  for (const zr of [7, 8, 9]) await service.post(`/v1/slaves/${zr}/pair?model=QVA-3216`, readExample('slave7-pair.json'));
  await service.post('/v1/slaves/9/status', readExample('slave7-status.json'));
  await service.post('/v1/slaves/8/status', '{"status":1,"cam_count":10,"qv_version":"9.0.2"}');
  ({ browser, page, said } = await openBrowser());
  await page.goto(service.url);
});

after(async () => {
  await browser.close();
  await service.end();
});

test('the slave in trouble comes first, and is found as one types', async () => {
  await page.getByText('Live', { exact: true }).waitFor();
  await row('not well').waitFor();
  assert.match(await page.locator('.body .row').nth(1).innerText(), /4 not well/);
  assert.match(await page.locator('.body .row').first().innerText(), /^7\s+disconnected/);
  await page.keyboard.press('/');
  await page.keyboard.type('9.0.2');
  await row('9.1.0').waitFor({ state: 'detached' });
  assert.match(await page.locator('.body .row').innerText(), /^8\b/);
  await page.getByRole('searchbox').fill('');
  await row('disconnected').getByRole('link').focus();
  await page.keyboard.press('End');
  await page.locator('.body a:focus', { hasText: '8' }).waitFor();
  await assertAccessible(page, 'fleet');
});

test('a device shows its fields and what is part of it, and no secret', async () => {
  await page.getByRole('button', { name: 'Devices not well' }).click();
  await page.getByRole('button', { name: '1 Devices not well', pressed: true }).waitFor();
  await row('not well').getByRole('link').click();
  await page.getByRole('heading', { name: 'Slave 9' }).waitFor();
  await row('Loading dock').waitFor();
  assert.equal(await row('Lobby').count(), 0, 'devices that are not well are shown first');
  await row('Loading dock').getByRole('link').click();
  await page.getByRole('heading', { name: 'Loading dock' }).waitFor();
  assert.match(await page.getByLabel('Device').innerText(), /host\s+192\.0\.2\.106/);
  await page.locator('summary', { hasText: 'Loading dock blocked' }).waitFor();
  await page.getByRole('link', { name: 'Controllers' }).click();
  await row('Front building').getByRole('link').click();
  await page.locator('summary', { hasText: 'Staff entrance' }).waitFor();
  const text = await page.getByLabel('Device').innerText();
  assert.doesNotMatch(text, /password|latch-1/);
  await assertAccessible(page, 'slave');
  await page.keyboard.press('Escape');
  await page.getByLabel('Device').waitFor({ state: 'detached' });
});

test('the service searches devices', async () => {
  await page.getByRole('link', { name: 'Cameras' }).click();
  await row('Lobby').waitFor();
  await page.getByRole('searchbox').fill('veritas');
  await row('Lobby').waitFor({ state: 'detached' });
  await row('Parking – north').waitFor();
  await page.getByRole('searchbox').fill('');
});

test('what another client changes arrives', async () => {
  await row('Lobby').getByRole('link').click();
  await page.getByRole('button', { name: 'Mark as being configured' }).waitFor();
  const { id } = (await (await fetch(`${service.url}/v1/slaves/9/camera?name=Lobby`)).json())[0];
  const mark = (configuring) =>
    fetch(`${service.url}/v1/camera/${id}/configuring`, { method: 'PUT', body: JSON.stringify({ configuring }) });
  await mark(true);
  await row('being configured').waitFor();
  await page.getByRole('button', { name: 'Free again' }).click();
  await row('being configured').waitFor({ state: 'detached' });
});

test('a document is planned, and applied', async () => {
  const counts = (kind) => page.getByRole('row', { name: kind }).first().innerText();
  await page.locator('input[type=file]').setInputFiles(example('slave7-snapshot-2.json'));
  await page.getByText('Update would do this:').waitFor();
  await page.getByText('Main entrance, inner door').waitFor();
  assert.match(await counts('camera'), /camera\s+1\s+4\s+2\s+4/);
  assert.match(await page.getByLabel('Plan').innerText(), /removed\s+Aisle 3/);
  await assertAccessible(page, 'plan');
  await page.getByRole('button', { name: 'Update slave 9 with this document' }).click();
  await page.getByText('Done:').waitFor();
  await page.getByRole('button', { name: 'Close' }).click();
  await row('Main entrance, inner door').waitFor();
  assert.equal(await row('Aisle 3').count(), 0);
});

test('what would remove too much is said, and asked for', async () => {
  const dropped = await page.evaluateHandle(() => {
    const transfer = new DataTransfer();
    transfer.items.add(new File(['{"camera_info":[]}'], 'cut-off.json'));
    return transfer;
  });
  await page.dispatchEvent('main', 'dragover', { dataTransfer: dropped });
  await page.getByText('Drop the document here').waitFor();
  await page.dispatchEvent('main', 'drop', { dataTransfer: dropped });
  await page.getByText('Update would refuse this document:').waitFor();
  const button = page.getByRole('button', { name: 'Update slave 9 with this document' });
  assert.equal(await button.isDisabled(), true);
  await page.getByLabel('Allow removals').check();
  await button.click({ trial: true });
  await page.getByRole('button', { name: 'Close' }).click();
});

test('a document that cannot be read is refused with the place', async () => {
  const buffer = Buffer.from('{\n]');
  await page.locator('input[type=file]').setInputFiles({ name: 'broken.json', mimeType: 'application/json', buffer });
  await page.getByRole('alert').getByText('line 2').waitFor();
  await page.getByRole('button', { name: 'Close' }).click();
});

test('a name full of markup stays text', async () => {
  const name = '<img src=x onerror=alert(1)><script>alert(2)</script>&amp;';
  await service.post('/v1/slaves/10/pair', oneCamera(name));
  await page.goto(`${service.url}/#/slaves/10/camera`);
  await row(name).getByRole('link').click();
  await page.getByRole('heading', { name }).waitFor();
  assert.equal(await page.locator('#app img, #app script').count(), 0);
  const policy = (await fetch(service.url)).headers.get('Content-Security-Policy');
  assert.match(policy, /^default-src 'none'; script-src 'self'/);
});

test('a lost service is told, and what happened meanwhile is shown', async () => {
  await page.goto(`${service.url}/#/`);
  await page.getByRole('button', { name: 'All' }).click();
  await row('QVA-3216').first().waitFor();
  await service.kill('SIGKILL');
  await page.getByText('Not live since').waitFor();
  await service.start('--silent-after', '0.5');
  await page.getByText('Live', { exact: true }).waitFor();
  await page.getByRole('button', { name: '4 Silent' }).waitFor();
  assert.match(await page.locator('.body .row').first().innerText(), /silent since/);
  const reporting = setInterval(() => service.post('/v1/slaves/8/status', '{"status":1,"cam_count":10}'), 100);
  await page.getByRole('button', { name: '3 Silent' }).waitFor();
  clearInterval(reporting);
});

test('with tokens, one logs in and out', async () => {
  const token = service.qvcms('token', 'make', '--scope', 'read').split('\n')[0];
  await service.kill('SIGTERM');
  await service.start('--silent-after', '600');
  await page.reload();
  await page.getByLabel('Token').fill('qvt_0_0');
  await page.getByRole('button', { name: 'Log in' }).click();
  await page.getByText('the token is not known').waitFor();
  await assertAccessible(page, 'login');
  await page.getByLabel('Token').fill(token);
  await page.getByRole('button', { name: 'Log in' }).click();
  await row('QVA-3216').first().waitFor();
  assert.equal(await page.evaluate(() => document.cookie), '', 'no script can read it');
  await row('QVA-3216').first().getByRole('link').click();
  await page.getByRole('heading', { name: 'Slave 7' }).waitFor();
  assert.equal(await page.getByRole('button', { name: 'Plan a document' }).count(), 0, 'it may only look');
  await page.getByRole('button', { name: 'Log out' }).click();
  await page.getByLabel('Token').waitFor();
});

test('the console is empty', () => {
  assert.deepEqual(said, []);
});
