// What a page answers at first glance, and what follows from looking at a part of the run.

import assert from 'node:assert/strict';
import {readFileSync, writeFileSync} from 'node:fs';
import {test} from 'node:test';
import {cell, newPage, open, saved, tile} from './browser.mjs';
import {Journal, reportOf, shown, shopRun, START} from './runs.mjs';

const SLICES = 20;
const SCREEN = {viewport: {width: 1280, height: 800}};

// 30 requests a second, one of which fails from slice 6 to 15; a login that is slow, and a search that fails more often.
const work = (slice) => ({
  'clients': ['LoadSize', slice === 1 ? 5 : 8],
  'request.time': ['Timer', ...[...Array(29).keys()].map((i) => 10 + i)],
  'login.time': ['Timer', 90, 95],
  'search.time': ['Timer', 3],
  'responses.2xx': ['Counter', 29],
  ...(slice >= 6 && slice <= 15 ? {
    'request.time.failed': ['Timer', 2],
    'request.time.failed.http-500': ['TransactionReasonCounter', 1],
    'search.time.failed': ['Timer', 2],
    'search.time.failed.timeout': ['TransactionReasonCounter', 1],
    'responses.5xx': ['Counter', 1],
  } : {}),
});

async function workingRun(test) {
  const journal = new Journal(test);
  journal.showDistributions();
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(work(slice));
  await journal.end();
  return journal.path;
}

async function glance(test, options = SCREEN, hash = '') {
  const path = await workingRun(test);
  const page = await newPage(test, options);
  await page.goto(`file://${reportOf(path)}${hash}`);
  await page.waitForSelector('#lanes canvas');
  return {page, path};
}

const rowsOf = (page, table) => page.locator(`#${table} tbody tr`).evaluateAll((rows) => rows.map((row) => [...row.cells].map(({textContent}) => textContent)));

test('the tiles tell how much, how fast, how slow and how often in vain', async (t) => {
  const {page, path} = await glance(t);
  const {p50, p95, p99} = shown(path, 'request.time');
  assert.equal(await tile(page, 'requests'), '590');
  assert.equal(await tile(page, 'requests/s'), '29.50');
  assert.deepEqual([await tile(page, 'p50'), await tile(page, 'p95'), await tile(page, 'p99')], [`${p50} ms`, `${p95} ms`, `${p99} ms`]);
  assert.equal(await tile(page, 'errors of all attempts'), '3.23 %');
  assert.equal(await tile(page, 'peak load'), '8');
});

test('the first screen has the overview, what was timed and the errors', async (t) => {
  const {page} = await glance(t);
  for (const last of ['#lanes .plot:last-child', '#operations-table tbody tr:last-child', '#causes-table tbody tr:last-child']) {
    const {y, height} = await page.locator(last).boundingBox();
    assert.ok(y + height <= SCREEN.viewport.height, `${last} ends at ${y + height}`);
  }
});

test('the overview tells load, throughput, times and errors of a moment', async (t) => {
  const {page} = await glance(t);
  const {width, height} = await page.locator('#lanes .u-over').first().boundingBox();
  await page.locator('#lanes .u-over').first().hover({position: {x: width / 2, y: height / 2}});
  const labels = await page.locator('.tooltip dt').allTextContents();
  const values = await page.locator('.tooltip dd').allTextContents();
  assert.deepEqual(labels, ['requests/s', 'load', 'p95', 'p50', 'errors/s']);
  assert.deepEqual([values[0], values[1], values[4]], ['30', '8', '1 (3.33 %)']);
});

test('what was timed begins with what fails most, then with what is slowest', async (t) => {
  const {page} = await glance(t);
  assert.deepEqual((await rowsOf(page, 'operations-table')).map(([name]) => name), ['search.time', 'request.time', 'login.time']);
  await page.locator('#operations-table').getByRole('button', {name: 'p95, ms'}).click();
  assert.equal((await rowsOf(page, 'operations-table'))[0][0], 'login.time');
});

test('the unit of what was timed is told in the headings, and saved', async (t) => {
  const {page} = await glance(t);
  const heading = page.locator('#operations-table [data-column="p95"]').first();
  assert.equal(await heading.textContent(), 'p95, ms');
  const {bytes} = await saved(page, () => page.getByRole('button', {name: 'Save what was timed as CSV'}).click());
  assert.match(bytes.toString(), /,unit,type\r\nsearch\.time,.*,ms,Timer\r\n/);
});

test('errors have their causes, shares and times', async (t) => {
  const {page} = await glance(t);
  const rows = (await rowsOf(page, 'causes-table')).sort();
  assert.deepEqual(rows, [
    ['http-500', '10', '1.69 %', '0:05', '0:15', 'request.time'],
    ['timeout', '10', '33.33 %', '0:05', '0:15', 'search.time'],
  ]);
});

test('times of errors are of the slices that their counts are of', async (t) => {
  const journal = new Journal(t);
  journal.tell('load', 8);
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(work(slice));
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.deepEqual((await rowsOf(page, 'causes-table')).map(([, count, , first, last]) => [count, first, last]), [['7', '0:08', '0:15'], ['7', '0:08', '0:15']]);
});

test('times of errors that are known by the bucket are marked, in the CSV too', async (t) => {
  const journal = new Journal(t);
  for (let slice = 1; slice <= 1100; ++slice)
    await journal.slice({'login.failed': ['Timer', 2], ...(slice === 500 ? {'login.failed.timeout': ['TransactionReasonCounter', 1]} : {})});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.deepEqual((await rowsOf(page, 'causes-table')).map((row) => row.slice(3, 5)), [['≈ 8:18', '≈ 8:20']]);
  const text = await saved(page, () => page.getByRole('button', {name: 'Save errors by cause as CSV'}).click());
  assert.match(text.bytes.toString(), /,≈ 498,≈ 500,/);
});

test('a run without names of failures has no share of errors', async (t) => {
  const page = await newPage(t);
  await page.goto(`file://${reportOf(await shopRun(t, 5))}`);
  await page.waitForSelector('#lanes canvas');
  assert.equal(await page.locator('.tile').getByText('errors').count(), 0);
  assert.equal(await page.locator('#causes').isVisible(), false);
  assert.equal(await page.locator('#operations-table [data-column="share"]').first().isVisible(), false);
});

test('figures follow the part of the run that is looked at', async (t) => {
  const {page, path} = await glance(t, SCREEN, '#5-10');
  const part = shown(path, 'request.time', '--from', '5', '--to', '10');
  assert.equal(await tile(page, 'requests'), '150');
  for (const column of ['count', 'max', 'mean']) assert.equal(await cell(page, 'request.time', column).textContent(), part[column], column);
  assert.equal(await cell(page, 'responses.2xx', 'sum').textContent(), String(5 * 29));
  const [low, high] = (await cell(page, 'request.time', 'p95').getAttribute('title')).match(/[\d.]+/g).map(Number);
  assert.ok(low <= Number(part.p95) && Number(part.p95) <= high, `${low} ${part.p95} ${high}`);
  await page.getByRole('button', {name: 'Show the whole run'}).click();
  assert.equal(await tile(page, 'requests'), '590');
  assert.equal(new URL(page.url()).hash, '');
});

test('the part that a reader chooses by keyboard is in the address', async (t) => {
  const {page} = await glance(t);
  await page.getByLabel('From, seconds').fill('0:05');
  await page.getByLabel('To, seconds').fill('15');
  await page.keyboard.press('Enter');
  assert.equal(new URL(page.url()).hash, '#5-15');
  assert.equal(await tile(page, 'errors of all attempts'), '6.25 %');
});

test('the way back leads to what was looked at before', async (t) => {
  const {page} = await glance(t);
  const choose = async (from, to) => {
    await page.getByLabel('From, seconds').fill(from);
    await page.getByLabel('To, seconds').fill(to);
    await page.keyboard.press('Enter');
  };
  await choose('5', '15');
  await choose('5', '10');
  assert.equal(await tile(page, 'requests'), '150');
  await page.goBack();
  assert.deepEqual([await tile(page, 'requests'), new URL(page.url()).hash], ['300', '#5-15']);
  await page.goBack();
  assert.deepEqual([await tile(page, 'requests'), new URL(page.url()).hash], ['590', '']);
  assert.equal(await page.getByLabel('To, seconds').inputValue(), '0:20');
});

test('times that choose no part stay where they are, and it is said why', async (t) => {
  const {page} = await glance(t);
  const [from, to] = [page.getByLabel('From, seconds'), page.getByLabel('To, seconds')];
  const complaint = async (first, second) => {
    await from.fill(first);
    await to.fill(second);
    await page.keyboard.press('Enter');
    assert.deepEqual([await from.inputValue(), await to.inputValue()], [first, second]);
    return page.locator('#span-fault').textContent();
  };
  assert.equal(await complaint('now', '10'), '“now” is no time: enter seconds or h:mm:ss of the run.');
  assert.equal(await from.getAttribute('aria-invalid'), 'true');
  assert.equal(await complaint('10', '5'), 'The part ends before it begins.');
  assert.equal(await complaint('30', '40'), 'The run ends at 0:20.');
  assert.equal(await tile(page, 'requests'), '590');
  await from.fill('0:05');
  await to.fill('10s');
  await page.keyboard.press('Enter');
  assert.equal(await page.locator('#span-fault').textContent(), '');
  assert.deepEqual([await from.inputValue(), await to.inputValue()], ['0:05', '0:10']);
  assert.equal(await tile(page, 'requests'), '150');
});

test('a complaint about times is gone with the way back', async (t) => {
  const {page} = await glance(t, SCREEN, '#5-10');
  await page.getByRole('button', {name: 'Show the whole run'}).click();
  await page.getByLabel('From, seconds').fill('now');
  await page.keyboard.press('Enter');
  assert.notEqual(await page.locator('#span-fault').textContent(), '');
  await page.goBack();
  await page.getByRole('button', {name: 'Show the whole run'}).waitFor();
  assert.equal(await page.locator('#span-fault').textContent(), '');
  assert.equal(await page.getByLabel('From, seconds').inputValue(), '0:05');
});

test('an address of no part of the run leads to all of it, and it is said why', async (t) => {
  const {page} = await glance(t, SCREEN, '#99999-100000');
  const told = async () => [new URL(page.url()).hash, await tile(page, 'requests'), await page.locator('#span-fault').textContent()];
  assert.deepEqual(await told(), ['', '590', 'The run ends at 0:20. All of it is shown.']);
  for (const hash of ['#20-10', '#garbage']) {
    await page.evaluate((address) => { location.hash = address; }, hash);
    await page.locator('#span-fault').getByText(hash).waitFor();
    assert.deepEqual(await told(), ['', '590', `“${hash}” is no part of the run, such as #10-20 for its seconds. All of it is shown.`]);
  }
  await page.evaluate(() => { location.hash = '#5-10'; });
  await page.getByRole('button', {name: 'Show the whole run'}).waitFor();
  assert.deepEqual(await told(), ['#5-10', '150', '']);
});

test('errors are the share that the condition of errors is judged by, also of a part', async (t) => {
  const journal = new Journal(t, START, ['errors share < 5%']);
  for (let slice = 1; slice <= 10; ++slice)
    await journal.slice({
      'buy': ['TransactionTimer', ...Array(9).fill(5)],
      ...(slice > 5 ? {'buy.failed': ['TransactionTimer', 5, 5], 'request.time.failed': ['Timer', 2]} : {}),
      'request.time': ['Timer', ...Array(30).fill(7)],
    });
  await journal.end();
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${reportOf(journal.path)}`);
  await page.waitForSelector('#lanes canvas');
  assert.equal(await tile(page, 'errors of transactions'), '10 %');
  assert.match(await page.locator('#conditions li').textContent(), /10 %$/);
  await page.evaluate(() => { location.hash = '#5-10'; });
  await page.getByText('18.18 %').first().waitFor();
  assert.equal(await tile(page, 'errors of transactions'), '18.18 %');
});

test('a part without slices has no figures', async (t) => {
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${reportOf(await interruptedRun(t))}#6-9`);
  await page.waitForSelector('#lanes canvas');
  for (const label of ['requests', 'requests/s', 'mean', 'errors of all attempts']) assert.equal(await tile(page, label), '–', label);
  assert.deepEqual(await page.locator('#remarks li').allTextContents(), ['no slices from 0:05 to 0:10']);
});

test('what has ended before the part that is looked at is not told', async (t) => {
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${reportOf(await interruptedRun(t))}#10-13`);
  await page.waitForSelector('#lanes canvas');
  assert.equal(await page.locator('#remarks li').count(), 0);
});

test('on the axis of the clock the part is chosen by the clock', async (t) => {
  const {page} = await glance(t, {...SCREEN, timezoneId: 'UTC'}, '#5-10');
  await page.getByRole('button', {name: 'Clock'}).click();
  assert.equal(await page.getByLabel('From, h:mm:ss').inputValue(), '22:13:25');
  await page.getByLabel('To, h:mm:ss').fill('22:13:35');
  await page.keyboard.press('Enter');
  assert.equal(new URL(page.url()).hash, '#5-15');
});

test('charts are folded by the first part of their names, and a name leads to its chart', async (t) => {
  const {page} = await glance(t);
  assert.deepEqual(await page.locator('.group summary b').allTextContents(), ['clients', 'login', 'request', 'responses', 'search']);
  assert.equal(await page.locator('.card').first().isVisible(), false);
  await page.locator('#table').getByRole('link', {name: 'login.time'}).click();
  await page.locator('.card[data-name="login.time"] canvas').first().waitFor();
  assert.equal(await page.locator('.card:visible').count(), 1);
});

test('charts are folded again as they were before a search', async (t) => {
  const {page} = await glance(t);
  await page.locator('.group[data-group="login"] summary').click();
  await page.getByRole('searchbox').fill('search');
  await page.locator('.card[data-name="search.time"]').waitFor();
  await page.getByRole('searchbox').fill('');
  assert.deepEqual(await page.locator('.group[open] summary b').allTextContents(), ['login']);
});

test('counters of one kind are drawn over each other, equal names once', async (t) => {
  const page = await open(t, `file://${reportOf(await workingRun(t))}`);
  const cards = await page.locator('.card h3').allTextContents();
  assert.ok(cards.includes('responses.*') && !cards.includes('responses.2xx'), cards.join());
  await page.locator('.card[data-name="responses.*"]').scrollIntoViewIfNeeded();
  const legend = page.locator('.card[data-name="responses.*"] .u-label');
  await legend.first().waitFor();
  assert.deepEqual(await legend.filter({hasText: 'xx'}).allTextContents(), ['2xx', '5xx']);
  assert.match(await page.locator('.card').filter({hasText: 'equal: '}).first().textContent(), /request\.time\.failed.*equal: search\.time\.failed/);
});

test('on a narrow screen a name has three numbers and nothing scrolls sideways', async (t) => {
  const {page} = await glance(t, {viewport: {width: 420, height: 800}});
  for (const table of ['operations-table', 'causes-table', 'table']) {
    assert.equal(await page.locator(`#${table} tbody tr`).first().locator('td:visible').count(), 3, table);
    const sideways = await page.locator('.scroll').filter({has: page.locator(`#${table}`)}).evaluate(({scrollWidth, clientWidth}) => scrollWidth - clientWidth);
    assert.equal(sideways, 0, table);
  }
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth) <= 420);
});

test('on a narrow screen names have their unit, and the verdict is on one line', async (t) => {
  const journal = new Journal(t, START, ['request.time p95 < 50ms', 'errors share < 1%', 'no.such p95 < 1ms']);
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(work(slice));
  await journal.end();
  const page = await newPage(t, {viewport: {width: 420, height: 800}});
  await page.goto(`file://${reportOf(journal.path)}`);
  await page.waitForSelector('#lanes canvas');
  const after = (name) => page.locator(`#table tr[data-name="${name}"] th`).evaluate((cell) => getComputedStyle(cell, '::after').content);
  assert.equal(await after('login.time'), '" ms"');
  assert.equal(await after('responses.2xx'), 'none');
  const {height} = await page.locator('.tile span', {hasText: 'cannot tell'}).boundingBox();
  assert.ok(height < 20, `${height}`);
});

test('the conditions of a run are judged', async (t) => {
  const journal = new Journal(t, START, ['request.time p95 < 50ms', 'errors share < 1%', 'no.such p95 < 1ms']);
  journal.showDistributions();
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(work(slice));
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.equal(await tile(page, '1 failed, 1 passed, 1 cannot tell'), 'FAILED');
  const texts = await page.locator('#conditions li').allTextContents();
  assert.match(texts[0], /^passed request\.time p95 < 50ms [\d.]+ ms$/);
  assert.match(texts[1], /^FAILED errors share < 1% [\d.]+ %$/);
  assert.match(texts[2], /^cannot tell no\.such p95 < 1ms /);
});

test('conditions are judged over the whole run while a part is looked at, and it is said so', async (t) => {
  const journal = new Journal(t, START, ['errors share < 1%']);
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(work(slice));
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}#0-5`);
  assert.equal(await tile(page, '1 failed, of the whole run'), 'FAILED');
  assert.equal(await page.locator('#conditions .scope').textContent(), 'Judged over the whole run:');
  await page.getByRole('button', {name: 'Show the whole run'}).click();
  assert.equal(await tile(page, '1 failed'), 'FAILED');
  assert.equal(await page.locator('#conditions .scope').count(), 0);
});

async function reportOfSlices(test, reported) {
  const journal = new Journal(test);
  journal.showDistributions();
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(reported);
  await journal.end();
  const page = await newPage(test, SCREEN);
  await page.goto(`file://${reportOf(journal.path)}`);
  await page.waitForSelector('#lanes canvas');
  return page;
}

test('a run that only counts shows how much and how fast', async (t) => {
  const page = await reportOfSlices(t, {'clients': ['LoadSize', 3], 'bytes.sent': ['Counter', 900], 'mails.sent': ['Counter', 7], 'mails.lost': ['Counter', 1]});
  assert.deepEqual([await tile(page, 'mails.sent'), await tile(page, 'mails.sent/s'), await tile(page, 'mails.lost/s'), await tile(page, 'bytes.sent, bytes/s'), await tile(page, 'peak load')], ['140', '7', '1', '900', '3']);
  assert.equal(await page.getByRole('img', {name: 'Overview, mails.sent/s and load'}).count(), 1);
  assert.equal(await page.getByRole('img', {name: 'Overview, mails.lost/s'}).count(), 1);
});

test('a run in which all failed shows the times of the failures', async (t) => {
  const page = await reportOfSlices(t, {'request.time.failed': ['Timer', 30, 40], 'request.time.failed.timeout': ['TransactionReasonCounter', 2]});
  assert.equal(await tile(page, 'errors of requests'), '100 %');
  assert.match(await tile(page, 'p50 of failures'), /^\d+(\.\d+)? ms$/);
  assert.equal(await page.getByRole('img', {name: 'Overview, p95 of failures and p50 of failures'}).count(), 1);
  assert.equal((await rowsOf(page, 'operations-table'))[0][0], 'request.time (all failed)');
});

// How opaque the first lane of the overview is at a part of its width, where nothing but shades and lines are drawn.
const opacityAt = (page, part) => page.locator('#lanes canvas').first().evaluate((canvas, at) => {
  const {data} = canvas.getContext('2d').getImageData(Math.round(at * canvas.width), Math.round(canvas.height / 3), 1, 1);
  return data[3];
}, part);

test('what lies outside of the load is shaded, and no figure is of what was before', async (t) => {
  const journal = new Journal(t);
  journal.tell('load', 5, SLICES - 5);
  for (let slice = 1; slice <= SLICES; ++slice) await journal.slice({'request.time': ['Timer', 10]});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.match(await page.locator('#subtitle').textContent(), /under load 0:05 – 0:15/);
  assert.equal(await tile(page, 'requests'), '15');
  for (const outside of [0.1, 0.9]) assert.ok(await opacityAt(page, outside) > 0);
  assert.equal(await opacityAt(page, 0.53), 0);
});

// A report as of a generator that was busy with itself: journals of tests know no costs.
async function saturatedReport(test) {
  const path = reportOf(await workingRun(test));
  const shares = [...Array(SLICES).keys()].map((i) => (i < 12 ? 0.4 : 0.97));
  const text = readFileSync(path, 'utf8').replace(/"processorShare":\[[^\]]*\],"saturatedFrom":null,"saturation":null/, () =>
    `"processorShare":${JSON.stringify(shares)},"saturatedFrom":12,"saturation":"the generator was saturated from 0:12 on"`);
  writeFileSync(path, text);
  return path;
}

test('a generator that was the bottleneck itself is warned of', async (t) => {
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${await saturatedReport(t)}`);
  await page.waitForSelector('#lanes canvas');
  assert.equal(await page.locator('#warning').textContent(), 'the generator was saturated from 0:12 on');
  assert.equal(await page.getByRole('img', {name: 'Overview, processors of the generator'}).count(), 1);
});

// How many pixels of the lane's canvas are of this colour of the theme, whatever lies over them.
const pixelsOf = (page, name, colour) => page.getByRole('img', {name}).locator('canvas').evaluate((canvas, variable) => {
  const probe = document.createElement('canvas').getContext('2d');
  probe.fillStyle = getComputedStyle(document.documentElement).getPropertyValue(variable);
  probe.fillRect(0, 0, 1, 1);
  const wanted = probe.getImageData(0, 0, 1, 1).data;
  const {data} = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
  let count = 0;
  for (let i = 0; i < data.length; i += 4) if (wanted.every((part, at) => Math.abs(data[i + at] - part) < 3)) ++count;
  return count;
}, colour);

const LANE = 'Overview, requests/s and load';

async function hover(page, second) {
  const area = page.locator('#lanes .u-over').first();
  const {width, height} = await area.boundingBox();
  await area.hover({position: {x: second / SLICES * width, y: height / 2}});
}

// A run without its slices 6 to 10, whose generator did not run in slices 15 and 16.
async function interruptedRun(test) {
  const journal = new Journal(test);
  for (let slice = 1; slice <= SLICES; ++slice) {
    if (slice === 14) journal.tell('measured', 3);
    if (slice > 5 && slice <= 10) journal.lose();
    else await journal.slice(slice === 15 || slice === 16 ? {} : work(slice));
  }
  await journal.end();
  return journal.path;
}

test('times without figures are hatched, and told in words', async (t) => {
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${reportOf(await interruptedRun(t))}`);
  await page.waitForSelector('#lanes canvas');
  assert.deepEqual(await page.locator('#remarks li').allTextContents(), ['no slices from 0:05 to 0:10', 'the generator stood still from 0:14 to 0:16']);
  const [, whole, withSlices] = (await page.locator('#subtitle').textContent()).match(/ (\d+) s \((\d+) s with slices\) /);
  assert.equal(whole - withSlices, 5);
  assert.ok(await pixelsOf(page, LANE, '--gap') > 100);
  await hover(page, 8);
  assert.deepEqual([await page.locator('.tooltip dt').allTextContents(), await page.locator('.tooltip dd').allTextContents()], [['no slices'], ['0:05 – 0:10']]);
  await hover(page, 15);
  assert.equal(await page.locator('.tooltip dt', {hasText: 'the generator stood still'}).count(), 1);
});

test('of many times without figures the longest are told in words, and all notes among few', async (t) => {
  const gaps = [...Array(12).keys()].map((i) => ({kind: 'missing', from: i, to: i + (i % 3 === 0 ? 0.5 : 0.25), generator: ''}));
  const path = reportOf(await workingRun(t));
  writeFileSync(path, readFileSync(path, 'utf8').replace('"interruptions":[]', `"interruptions":${JSON.stringify(gaps)}`)
    .replace('"notes":[]', `"notes":[{"time":${START + 15},"text":"deployed"}]`));
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${path}`);
  await page.waitForSelector('#lanes canvas');
  const texts = await page.locator('#remarks li').allTextContents();
  assert.deepEqual([texts.length, texts.filter((text) => / to \d+:\d+\.5$/.test(text)).length, ...texts.slice(-2)], [7, 4, '0:15 deployed', 'and 7 more, which the charts mark']);
});

test('a run without interruptions has no remarks', async (t) => {
  const {page} = await glance(t);
  assert.equal(await page.locator('#remarks').isVisible(), false);
  assert.equal(await pixelsOf(page, LANE, '--gap'), 0);
});

test('the time in which the generator was the bottleneck is shaded in its lane', async (t) => {
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${await saturatedReport(t)}`);
  await page.waitForSelector('#lanes canvas');
  const redAt = (second) => page.getByRole('img', {name: /processors/}).locator('canvas').evaluate((canvas, part) => {
    const scale = devicePixelRatio;
    const [left, right] = [58, 44].map((room) => room * scale);
    const at = left + part * (canvas.width - left - right);
    const [red, green, blue, opacity] = canvas.getContext('2d').getImageData(Math.round(at), 20 * scale, 1, 1).data;
    return opacity > 0 && red > green && red > blue;
  }, second / SLICES);
  assert.deepEqual([await redAt(6.3), await redAt(16.3)], [false, true]);
});

test('a note has a flag and is listed', async (t) => {
  const path = reportOf(await workingRun(t));
  writeFileSync(path, readFileSync(path, 'utf8').replace('"notes":[]', `"notes":[{"time":${START + 5.2},"text":"the system clock was set back by 3 s"}]`));
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${path}`);
  await page.waitForSelector('#lanes canvas');
  assert.ok(await pixelsOf(page, LANE, '--flag') > 20);
  assert.deepEqual(await page.locator('#remarks li').allTextContents(), ['0:05.2 the system clock was set back by 3 s']);
});

test('a note is read at its flag', async (t) => {
  const path = reportOf(await workingRun(t));
  writeFileSync(path, readFileSync(path, 'utf8').replace('"notes":[]', `"notes":[{"time":${START + 5.2},"text":"deployed"}]`));
  const page = await newPage(t, SCREEN);
  await page.goto(`file://${path}`);
  await page.waitForSelector('#lanes canvas');
  await hover(page, 5.2);
  assert.equal(await page.locator('.tooltip dt', {hasText: 'note'}).count(), 1);
});

test('without a measured cost there is no warning', async (t) => {
  const {page} = await glance(t);
  assert.equal(await page.locator('#warning').isVisible(), false);
  assert.equal(await page.getByRole('img', {name: /processors/}).count(), 0);
});
