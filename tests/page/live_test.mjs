import {test} from 'node:test';
import {renameSync} from 'node:fs';
import {assertFiguresOf, cell, drawnPixels, figure, hasSlices, newPage, open} from './browser.mjs';
import {Journal, reportOf, Server, shop} from './runs.mjs';
import assert from 'node:assert/strict';

async function writing(test, slices) {
  const journal = new Journal(test);
  for (let slice = 1; slice <= slices; ++slice) await journal.slice(shop(slice));
  return journal;
}

const says = (page, text) => page.locator('#state').getByText(text).waitFor();

test('shows the history, then each slice as it comes', async (t) => {
  const journal = await writing(t, 20);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await says(page, 'live');
  await hasSlices(page, 20);
  assert.ok(await drawnPixels(page, 'page.time') > 20);

  for (let slice = 21; slice <= 24; ++slice) await journal.slice(shop(slice));
  await hasSlices(page, 24);
  await assertFiguresOf(page, journal.path);
});

test('what is typed stays as slices come, until it is shown', async (t) => {
  const journal = await writing(t, 5);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 5);
  const [from, to] = [page.getByLabel('From, seconds'), page.getByLabel('To, seconds')];
  await from.fill('2');
  await to.focus();
  await journal.slice(shop(6));
  await hasSlices(page, 6);
  assert.equal(await from.inputValue(), '2');
  await to.fill('4');
  await page.keyboard.press('Enter');
  await hasSlices(page, 2);
  assert.deepEqual([await from.inputValue(), await to.inputValue()], ['0:02', '0:04']);
});

test('draws what has come', async (t) => {
  const journal = await writing(t, 2);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 2);
  const before = await drawnPixels(page, 'queue.length');
  for (let slice = 3; slice <= 40; ++slice) await journal.slice(shop(slice));
  await hasSlices(page, 40);
  assert.ok(await drawnPixels(page, 'queue.length') > before + 100);
});

test('goes on after the server was restarted', async (t) => {
  const journal = await writing(t, 5);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 5);

  assert.equal(await server.stop(), 0);
  await says(page, 'trying again');
  await journal.slice(shop(6));
  await Server.start(t, journal.path, '--port', String(server.port));
  await hasSlices(page, 6);
  await says(page, 'live');
  await assertFiguresOf(page, journal.path);
});

test('says that the run has ended', async (t) => {
  const journal = await writing(t, 3);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await says(page, 'live');
  await journal.end();
  await says(page, 'ended');
});

test('says that the process of the run is gone', async (t) => {
  const journal = await writing(t, 3);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await says(page, 'live');
  journal.process.kill('SIGKILL');
  await says(page, 'its process is gone');
  const report = await open(t, `file://${reportOf(journal.path)}`);
  await says(report, 'its process is gone');
});

test('shows a name that comes late', async (t) => {
  const journal = await writing(t, 3);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await journal.slice({...shop(4), late: ['Counter', 7]});
  await cell(page, 'late', 'sum').waitFor();
  assert.equal(await figure(page, 'late', 'sum'), 7);
});

test('goes on when the run outgrows its points', async (t) => {
  const journal = new Journal(t);
  const slice = (value) => journal.slice({wait: ['Timer', value]});
  for (let i = 0; i < 998; ++i) await slice(5);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 998);
  for (const value of [5, 80, 5, 5]) await slice(value);
  await hasSlices(page, 1002);
  assert.match(await page.locator('#facts').textContent(), /a point for 2 slices/);
  await assertFiguresOf(page, journal.path);
});

test('with the token of its address a page is let in, and the address forgets it', async (t) => {
  const journal = await writing(t, 3);
  const server = await Server.start(t, journal.path, '--port', '0', '--bind', '0.0.0.0');
  const url = `http://127.0.0.1:${server.port}/`;
  const stranger = await newPage(t);
  assert.equal((await stranger.goto(url)).status(), 401);
  const page = await open(t, `${url}?token=${server.token}`);
  assert.equal(page.url(), url);
  await says(page, 'live');
  await journal.slice(shop(4));
  await hasSlices(page, 4);
  await page.reload();
  await hasSlices(page, 4);
});

test('shows the run that takes the place of one that has ended', async (t) => {
  const journal = await writing(t, 3);
  await journal.end();
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await says(page, 'ended');
  const next = await writing(t, 5);
  await next.end();
  renameSync(next.path, journal.path);
  await hasSlices(page, 5);
});

test('of the run that takes the place of another one, all is shown', async (t) => {
  const journal = await writing(t, 3);
  await journal.end();
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, `${server.url}/#1-2`);
  await hasSlices(page, 1);
  const next = await writing(t, 5);
  await next.end();
  renameSync(next.path, journal.path);
  await hasSlices(page, 5);
  assert.equal(new URL(page.url()).hash, '');
});

test('keeps names in order as their figures change', async (t) => {
  const journal = new Journal(t);
  await journal.slice({first: ['Timer', 10], second: ['Timer', 5]});
  const {url} = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, url);
  const names = page.locator('#table tbody th');
  await page.locator('#table').getByRole('button', {name: 'max', exact: true}).click();
  assert.deepEqual(await names.allTextContents(), ['first', 'second']);
  await journal.slice({second: ['Timer', 20]});
  await names.first().filter({hasText: 'second'}).waitFor({timeout: 5000});
  assert.deepEqual(await names.allTextContents(), ['second', 'first']);
});
