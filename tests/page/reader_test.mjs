// What a reader takes away from a page, and how it is read without a mouse or without eyes.

import assert from 'node:assert/strict';
import {createRequire} from 'node:module';
import {test} from 'node:test';
import {cell, hasSlices, open, saved} from './browser.mjs';
import {Journal, NASTY, reportOf, Server, shop, shopRun, spread, spreading} from './runs.mjs';

const AXE = createRequire(`${process.env.PACKAGES}/package.json`).resolve('axe-core/axe.min.js');

const openShop = async (test, options) => open(test, `file://${reportOf(await shopRun(test, 20))}`, options);

test('the figures are saved as CSV, unrounded and in the order that they are shown in', async (t) => {
  const page = await openShop(t);
  await page.getByRole('searchbox').fill('e');
  const {name, bytes} = await saved(page, () => page.getByRole('button', {name: 'Save the figures as CSV'}).click());
  const [head, ...rows] = bytes.toString().trimEnd().split('\r\n');
  assert.equal(name, 'figures.csv');
  assert.equal(head, 'name,count,rate,min,mean,p50,p95,p99,max,stddev,sum,last,unit,type');
  assert.deepEqual(rows.map((row) => row.split(',')[0]).filter((each) => /^\w/.test(each)), ['clients', 'page.time', 'pages.sent', 'queue.length']);
  assert.match(rows.find((row) => row.startsWith('page.time')), /^page\.time,60,3,20,41\.3,,,,70\.25,17\.784754\d+,/);
});

test('figures of a part that are known roughly are saved as such', async (t) => {
  const journal = await spreading(t, 10);
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}#2-5`);
  const {bytes} = await saved(page, () => page.getByRole('button', {name: 'Save the figures as CSV'}).click());
  assert.match(bytes.toString(), /^page\.time,300,100,≈ [\d.]+,[\d.]+,≈ [\d.]+,≈ [\d.]+,≈ [\d.]+,[\d.]+,/m);
});

test('quotes in a name stay in its field of the CSV', async (t) => {
  const page = await openShop(t);
  const {bytes} = await saved(page, () => page.getByRole('button', {name: 'Save the figures as CSV'}).click());
  assert.match(bytes.toString(), /^"<\/script><img src=x onerror=alert\(1\)>""'.*",/m);
});

test('a formula in a name is text for a spreadsheet', async (t) => {
  const journal = new Journal(t);
  await journal.slice({'=1+2': ['Counter', 1]});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  const {bytes} = await saved(page, () => page.getByRole('button', {name: 'Save the figures as CSV'}).click());
  assert.match(bytes.toString(), /^'=1\+2,/m);
});

test('a chart is saved as a picture', async (t) => {
  const page = await openShop(t);
  const {name, bytes} = await saved(page, () => page.getByRole('button', {name: 'PNG of page.time'}).click());
  assert.equal(name, 'page.time.png');
  assert.equal(bytes.subarray(1, 4).toString(), 'PNG');
  assert.ok(bytes.length > 5000);
});

test('the overview is saved as a picture', async (t) => {
  const page = await openShop(t);
  const {name, bytes} = await saved(page, () => page.getByRole('button', {name: 'PNG of the overview'}).click());
  assert.deepEqual([name, bytes.subarray(1, 4).toString()], ['overview.png', 'PNG']);
});

test('all data are saved as JSON', async (t) => {
  const page = await openShop(t);
  const {name, bytes} = await saved(page, () => page.getByRole('button', {name: 'JSON'}).click());
  assert.equal(name, 'shop.json');
  assert.deepEqual(JSON.parse(bytes).names.map((each) => each.name).filter((each) => each !== NASTY), ['clients', 'page.time', 'pages.sent', 'queue.length']);
});

for (const colorScheme of ['light', 'dark']) {
  test(`nothing bars a screen reader, ${colorScheme}`, async (t) => {
    const journal = await spreading(t, 10);
    await journal.slice({...spread(11), 'page.time.failed': ['Timer', 5], 'page.time.failed.timeout': ['TransactionReasonCounter', 1]});
    await journal.end();
    const page = await open(t, `file://${reportOf(journal.path)}`, {colorScheme});
    await page.addScriptTag({path: AXE});
    const {violations} = await page.evaluate(() => axe.run());
    assert.deepEqual(violations.map(({id, nodes}) => [id, nodes.map(({target}) => target.join(' '))]), []);
  });
}

test('a group is unfolded and a name followed by keyboard', async (t) => {
  const page = await openShop(t);
  await page.getByRole('button', {name: 'Fold all', exact: true}).click();
  await page.locator('#table').getByRole('link', {name: 'page.time'}).focus();
  await page.keyboard.press('Enter');
  assert.equal(await page.evaluate(() => document.activeElement.dataset.name), 'page.time');
  await page.locator('.card[data-name="page.time"] canvas').first().waitFor();
});

test('a name that comes live does not move what is read', async (t) => {
  const journal = new Journal(t);
  for (let slice = 1; slice <= 5; ++slice) await journal.slice(shop(slice));
  const {url} = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, url, {viewport: {width: 1280, height: 700}});
  const card = page.locator('.card[data-name="pages.sent"]');
  await card.evaluate((element) => element.scrollIntoView({block: 'center'}));
  await card.locator('canvas').waitFor();
  const before = await card.boundingBox();
  await journal.slice({...shop(6), 'a.first': ['Timer', 7], 'page.time.failed': ['Timer', 7], 'page.time.failed.timeout': ['TransactionReasonCounter', 1]});
  await hasSlices(page, 6);
  await cell(page, 'a.first', 'count').waitFor();
  assert.ok(Math.abs((await card.boundingBox()).y - before.y) < 2);
});
