// Takes the pictures of the README: a lively fleet on the page, in both themes. The target "pictures" runs it.
// Argument: the folder for the pictures.

import { spawn } from 'node:child_process';
import { join } from 'node:path';

import { openBrowser, readExample, Service } from '../tests/page/support.mjs';

const folder = process.argv[2];
const service = new Service();
await service.start('--silent-after', '4');
await service.post('/v1/slaves/41/pair?model=QVA-3216', readExample('slave7-pair.json'));
const report = () => service.post('/v1/slaves/41/status', readExample('slave7-status.json'));
const reporting = setInterval(report, 1000);
const fleet = spawn(join(process.env.QV_BIN, 'qv_load'),
  ['--url', service.url, '--lively', '--slaves', '40', '--cameras', '30', '--interval', '1'], { stdio: 'ignore' });
const { browser, page } = await openBrowser();
const picture = (name) => page.screenshot({ path: join(folder, name) });
await page.setViewportSize({ width: 1280, height: 560 });
await page.goto(service.url);
await page.getByRole('button', { name: '4 Silent' }).waitFor({ timeout: 60_000 });
await page.waitForTimeout(500);
await picture('page-light.png');
await page.emulateMedia({ colorScheme: 'dark' });
await page.goto(`${service.url}/#/slaves/41/controller/1`);
await page.locator('summary').first().waitFor();
await picture('page-dark.png');
clearInterval(reporting);
fleet.kill();
await browser.close();
await service.end();
