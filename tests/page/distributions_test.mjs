import assert from 'node:assert/strict';
import {test} from 'node:test';
import {cell, coloursOf, drawnPixels, hasSlices, open, plot, tooltip} from './browser.mjs';
import {dataOf, Journal, reportOf, Server, shown, spread, spreading} from './runs.mjs';

const SLICES = 41;
const HEAT = 'distribution, ms';
const CUMULATIVE = 'cumulative distribution, % of all values';

async function spreadRun(test, slices = SLICES) {
  const journal = await spreading(test, slices);
  await journal.end();
  return journal.path;
}

const openReport = async (test, path, options) => open(test, `file://${reportOf(path)}`, options);

async function assertPercentilesOf(page, path, name) {
  const expected = shown(path, name);
  for (const column of ['p50', 'p95', 'p99']) assert.equal(await cell(page, name, column).textContent(), expected[column], `${column} of ${name}`);
}

// The marks under the cumulative distribution.
async function marksOf(page, name, title = CUMULATIVE) {
  const texts = await plot(page, name, title).locator('.marks span').allTextContents();
  return Object.fromEntries(texts.map((text) => /^(\S+) (.*)$/.exec(text).slice(1)));
}

// Cells of a column of a heat map, as [row, count].
function cellsOf(column) {
  let row = column[0];
  return column.slice(1).flatMap((number) => {
    row += number > 0 ? 1 : -number;
    return number > 0 ? [[row - 1, number]] : [];
  });
}

// The range of the two slices of a second that a tooltip tells of: a pixel may be wider than a point.
function twoSlicesUntil(title) {
  const [minutes, seconds] = title.split(':').map(Number);
  const end = 60 * minutes + seconds;
  return ['--from', String(end - 2), '--to', String(end)];
}

const heatOf = (data, wanted) => data.names.find(({name}) => name === wanted).heat;

test('the table has the percentiles that the command line shows', async (t) => {
  const path = await spreadRun(t);
  const page = await openReport(t, path);
  for (const name of ['page.time', 'sign.in']) await assertPercentilesOf(page, path, name);
  assert.equal(await cell(page, 'background.time', 'p50').textContent(), '–');
});

test('the table of a run without distributions has no percentiles', async (t) => {
  const journal = new Journal(t);
  await journal.slice(spread(1));
  await journal.end();
  const page = await openReport(t, journal.path);
  assert.equal(await page.getByRole('columnheader', {name: 'p95'}).count(), 0);
});

test('the table of a chosen part of the run has its percentiles', async (t) => {
  const path = await spreadRun(t);
  const page = await open(t, `file://${reportOf(path, '--from', '30')}`);
  assert.equal(await cell(page, 'page.time', 'p95').textContent(), shown(path, 'page.time', '--from', '30').p95);
});

test('a tooltip tells the percentiles of a slice', async (t) => {
  const path = await spreadRun(t);
  const page = await openReport(t, path);
  const {title, max, p99, p95, p50, count} = await tooltip(page, 'page.time', 'ms', [11 / SLICES, 0.5]);
  const slice = shown(path, 'page.time', '--from', '10', '--to', '11');
  assert.equal(title, '0:11');
  assert.deepEqual([max, p99, p95, p50], [slice.max, slice.p99, slice.p95, slice.p50].map((figure) => `${figure} ms`));
  assert.equal(count, '100');
});

test('a tooltip is gone with the pointer', async (t) => {
  const page = await openReport(t, await spreadRun(t));
  await tooltip(page, 'page.time', 'ms', [0.5, 0.5]);
  await page.mouse.move(1, 1);
  assert.equal(await page.locator('.tooltip').isVisible(), false);
});

test('a slice without values has no percentiles', async (t) => {
  const page = await openReport(t, await spreadRun(t));
  const {p50, max, count} = await tooltip(page, 'sign.in', 'ms', [1, 0.5]);
  assert.deepEqual([p50, max, count], ['–', '–', '0']);
});

test('wide buckets have the percentiles of all their values', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  for (let slice = 1; slice <= 1100; ++slice) await journal.slice({wait: ['Timer', slice % 2 ? 10 : 90, slice]});
  await journal.end();
  const page = await openReport(t, journal.path);
  const {title, p50, p95, count} = await tooltip(page, 'wait', 'ms', [0.55, 0.5]);
  const slices = shown(journal.path, 'wait', ...twoSlicesUntil(title));
  assert.deepEqual([p50, p95, count], [`${slices.p50} ms`, `${slices.p95} ms`, slices.count]);
});

test('the heat map counts every value once', async (t) => {
  const path = await spreadRun(t);
  const {columns} = heatOf(dataOf(reportOf(path)), 'page.time');
  const counts = columns.map((column) => cellsOf(column).reduce((sum, [, count]) => sum + count, 0));
  assert.deepEqual(counts, Array(SLICES).fill(100));
  assert.ok((await coloursOf(await openReport(t, path), 'page.time', HEAT)) > 20);
});

test('the heat map tells which values a cell has and how many', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  for (let slice = 1; slice <= 10; ++slice) await journal.slice({wait: ['Timer', 20, 20, 20, 80]});
  await journal.end();
  const page = await openReport(t, journal.path);
  const values = async (down) => tooltip(page, 'wait', HEAT, [0.5, down]);
  const [low, high] = (await values(1)).values.split(/ – | ms/).map(Number);
  assert.ok(low <= 20 && 20 < high, `${low} ${high}`);
  assert.equal((await values(1)).count, '3 (75 %)');
  assert.equal((await values(0)).count, '1 (25 %)');
  assert.equal((await values(0.5)).count, '0');
});

test('the heat map has a row for zero', async (t) => {
  const page = await openReport(t, await spreadRun(t));
  const {values, count} = await tooltip(page, 'sign.in', HEAT, [10.5 / SLICES, 1]);
  assert.deepEqual([values, count], ['0 ms', '1 (50 %)']);
});

test('the heat map shows the first slice', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  for (let slice = 1; slice <= 10; ++slice) await journal.slice({wait: ['Timer', slice === 1 ? 20 : 80]});
  await journal.end();
  const {title, count} = await tooltip(await openReport(t, journal.path), 'wait', HEAT, [0.05, 1]);
  assert.deepEqual([title, count], ['0:00 – 0:01', '1 (100 %)']);
});

test('values of any size have a heat map', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  for (let slice = 1; slice <= 2; ++slice) await journal.slice({all: ['Measurement', 1e-308, 1, 1.7e308]});
  await journal.end();
  assert.ok(await coloursOf(await openReport(t, journal.path), 'all', 'distribution') > 2);
});

test('no percentile is above the maximum', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  for (let slice = 1; slice <= 2; ++slice) await journal.slice({wait: ['Timer', 1234567.4], short: ['Timer', 1235.4996]});
  await journal.end();
  const page = await openReport(t, journal.path);
  for (const [name, value] of [['wait', '1234567'], ['short', '1235']]) {
    const {p99, max} = await tooltip(page, name, 'ms', [0.9, 0.5]);
    assert.deepEqual([p99, max], [`${value} ms`, `${value} ms`]);
    const marks = await marksOf(page, name);
    assert.deepEqual([marks.p50, marks['p99.9'], marks.max], [value, value, value]);
  }
});

test('large percentiles are those that the command line shows', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  await journal.slice({bytes: ['Measurement', 1, 1234567, 3e6]});
  await journal.end();
  assert.equal((await marksOf(await openReport(t, journal.path), 'bytes')).p50, shown(journal.path, 'bytes').p50);
});

test('the cumulative distribution has the marks of the run', async (t) => {
  const path = await spreadRun(t);
  const page = await openReport(t, path);
  const marks = await marksOf(page, 'page.time');
  assert.deepEqual(Object.keys(marks), ['p50', 'p90', 'p95', 'p99', 'p99.9', 'max']);
  const {p50, p95, p99, max} = shown(path, 'page.time');
  assert.deepEqual([marks.p50, marks.p95, marks.p99, marks.max], [p50, p95, p99, max]);
  assert.ok(await coloursOf(page, 'page.time', CUMULATIVE) > 2);
});

test('the cumulative distribution tells the value of each share', async (t) => {
  const path = await spreadRun(t);
  const page = await openReport(t, path);
  const figures = await tooltip(page, 'page.time', CUMULATIVE, [2 / 4, 0.5]);
  assert.equal(figures.title, '99 % of the values');
  assert.equal(figures['at most'], `${shown(path, 'page.time').p99} ms`);
  assert.equal(figures.count, String(100 * SLICES));
});

test('a name without distributions is drawn as least, mean and most', async (t) => {
  const page = await openReport(t, await spreadRun(t));
  await page.getByRole('searchbox').fill('background');
  assert.ok(await drawnPixels(page, 'background.time') > 100);
  assert.match(await page.locator('.card:visible .u-legend').first().textContent(), /max.*min.*mean/);
  assert.equal(await plot(page, 'background.time', HEAT).count(), 0);
  assert.equal(await plot(page, 'background.time', CUMULATIVE).count(), 0);
});

test('a name that loses its distributions keeps those that it had', async (t) => {
  const journal = await spreading(t, 10);
  journal.showDistributions('sign.in');
  for (let slice = 11; slice <= 21; ++slice) await journal.slice(spread(slice));
  await journal.end();
  const page = await openReport(t, journal.path);
  assert.equal(await cell(page, 'page.time', 'p50').textContent(), '–');
  assert.equal(await plot(page, 'page.time', CUMULATIVE).count(), 0);
  assert.notEqual((await tooltip(page, 'page.time', 'ms', [0.25, 0.5])).p50, '–');
  const {p50, max} = await tooltip(page, 'page.time', 'ms', [0.75, 0.5]);
  assert.deepEqual([p50, max], ['–', `${shown(journal.path, 'page.time', '--from', '15', '--to', '16').max} ms`]);
});

test('a live page follows the percentiles', async (t) => {
  const journal = await spreading(t, 3);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 3);
  for (let slice = 4; slice <= SLICES; ++slice) await journal.slice(spread(slice));
  await hasSlices(page, SLICES);
  await assertPercentilesOf(page, journal.path, 'page.time');
  await assertPercentilesOf(page, journal.path, 'sign.in');
  assert.equal((await marksOf(page, 'page.time')).p99, shown(journal.path, 'page.time').p99);
  const {p95} = await tooltip(page, 'page.time', 'ms', [1, 0.5]);
  assert.equal(p95, `${shown(journal.path, 'page.time', '--from', String(SLICES - 1)).p95} ms`);
});

// What a page at a position is sent.
async function updateAfter(server, position) {
  const abort = new AbortController();
  const response = await fetch(`${server.url}/api/events?after=${encodeURIComponent(position)}`, {signal: abort.signal});
  let text = '';
  for await (const part of response.body.pipeThrough(new TextDecoderStream())) {
    text += part;
    if (text.includes('\n\n')) break;
  }
  abort.abort();
  return {position: /id: (.*)\n/.exec(text)[1], data: JSON.parse(/data: (.*)\n/.exec(text)[1])};
}

test('an update has what a new slice changes', async (t) => {
  const journal = await spreading(t, 60);
  const server = await Server.start(t, journal.path, '--port', '0');
  const whole = await updateAfter(server, '');
  await journal.slice(spread(61));
  const {data} = await updateAfter(server, whole.position);
  const nameIn = (update, wanted) => update.names.find(({name}) => name === wanted);
  const {course, heat, cumulative} = nameIn(data, 'page.time');
  assert.deepEqual([data.grid.from, course.p50.length, course.maximum.length], [59, 2, 2]);
  assert.deepEqual([heat.from, heat.columns.length], [59, 2]);
  assert.ok(cumulative.length > 10);
  assert.ok(nameIn(whole.data, 'sign.in').heat);
  assert.equal(nameIn(data, 'sign.in').heat, undefined);
  assert.ok(JSON.stringify(data).length < JSON.stringify(whole.data).length / 2);
});

test('a heat map whose rows grow is sent as a whole', async (t) => {
  const journal = await spreading(t, 20);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  const {position} = await updateAfter(server, '');
  await journal.slice({'page.time': ['Timer', 0.001, 1e6]});
  const {data} = await updateAfter(server, position);
  const {from, columns} = heatOf(data, 'page.time');
  assert.deepEqual([from, columns.length], [0, 21]);
  await hasSlices(page, 21);
  const {values, count} = await tooltip(page, 'page.time', HEAT, [1, 0]);
  assert.match(values, /^\d+ – \d+ ms$/);
  assert.equal(count, '1 (50 %)');
});

test('a heat map whose rows grew while the server was away is right', async (t) => {
  const journal = await spreading(t, 20);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 20);
  assert.equal(await server.stop(), 0);
  await journal.slice({'page.time': ['Timer', 0.001, 1e6]});
  await Server.start(t, journal.path, '--port', String(server.port));
  await hasSlices(page, 21);
  assert.equal((await tooltip(page, 'page.time', HEAT, [1, 0])).count, '1 (50 %)');
  // Rows of the height that they had before would lie far below.
  const reloaded = await open(t, server.url);
  for (const down of [0.2, 0.3, 0.4, 0.5]) {
    const [kept, fresh] = [await tooltip(page, 'page.time', HEAT, [0.5, down]), await tooltip(reloaded, 'page.time', HEAT, [0.5, down])];
    assert.deepEqual(kept, fresh);
  }
  assert.equal((await marksOf(page, 'page.time')).max, '1000000');
});

test('percentiles stay exact when a live run outgrows its points', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  const slice = (value) => journal.slice({wait: ['Timer', value, value + 1, value + 2]});
  for (let i = 0; i < 998; ++i) await slice(5 + i % 7);
  const server = await Server.start(t, journal.path, '--port', '0');
  const page = await open(t, server.url);
  await hasSlices(page, 998);
  for (const value of [5, 80, 5, 200]) await slice(value);
  await hasSlices(page, 1002);
  const {title, p50, p99, count} = await tooltip(page, 'wait', 'ms', [1, 0.5]);
  const slices = shown(journal.path, 'wait', ...twoSlicesUntil(title));
  assert.deepEqual([p50, p99, count], [`${slices.p50} ms`, `${slices.p99} ms`, '6']);
  await assertPercentilesOf(page, journal.path, 'wait');
});

test('the heat map has colours of its own in the dark', async (t) => {
  const path = await spreadRun(t);
  const colourOf = async (colorScheme) => {
    const page = await openReport(t, path, {colorScheme});
    return plot(page, 'page.time', HEAT).locator('.heat-key i').evaluate((strip) => getComputedStyle(strip).backgroundImage);
  };
  const [light, dark] = [await colourOf('light'), await colourOf('dark')];
  assert.match(light, /linear-gradient/);
  assert.notEqual(light, dark);
});

test('all charts of a name are printed, on white', async (t) => {
  const page = await openReport(t, await spreadRun(t), {colorScheme: 'dark'});
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  for (const title of ['ms', HEAT, CUMULATIVE]) assert.equal(await plot(page, 'page.time', title).locator('canvas').count(), 1);
  const white = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  assert.equal(await white(), 'rgb(255, 255, 255)');
  await page.evaluate(() => dispatchEvent(new Event('afterprint')));
  assert.notEqual(await white(), 'rgb(255, 255, 255)');
});

test('charts of distributions fit a narrow screen', async (t) => {
  const page = await openReport(t, await spreadRun(t), {viewport: {width: 380, height: 800}});
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth) <= 380);
});

test('one slice of one value is shown', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions();
  await journal.slice({wait: ['Timer', 25]});
  await journal.end();
  const page = await openReport(t, journal.path);
  assert.equal((await marksOf(page, 'wait')).p50, '25');
  assert.equal((await tooltip(page, 'wait', 'ms', [0.5, 0.5])).p99, '25 ms');
});

test('while a part is looked at, the cumulative distribution is that of the part, as well as the heat map tells it', async (t) => {
  const path = await spreadRun(t);
  const page = await open(t, `file://${reportOf(path)}#10-20`);
  const title = 'cumulative distribution of this part, ≈, % of its values';
  const marks = await marksOf(page, 'page.time', title);
  const part = shown(path, 'page.time', '--from', '10', '--to', '20');
  assert.equal(marks.max, part.max);
  const ratio = (column) => Number(marks[column].replace('≈ ', '')) / Number(part[column]);
  for (const column of ['p50', 'p95', 'p99']) assert.ok(marks[column].startsWith('≈ ') && Math.abs(ratio(column) - 1) < 0.05, `${column} ${marks[column]} ${part[column]}`);
  const {count, 'at most, between': bounds} = await tooltip(page, 'page.time', title, [0.5, 0.5]);
  assert.equal(count, part.count);
  assert.match(bounds, /^[\d.]+ and [\d.]+ ms$/);
  await page.getByRole('button', {name: 'Show the whole run'}).click();
  assert.equal(await plot(page, 'page.time', CUMULATIVE).count(), 1);
});

test('nothing is drawn or told of the slice before the part that is looked at', async (t) => {
  const journal = new Journal(t);
  for (let slice = 1; slice <= 20; ++slice) await journal.slice({'page.time': ['Timer', slice <= 10 ? 900 : 10]});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}#10-15`);
  assert.deepEqual(await tooltip(page, 'page.time', 'ms', [0, 0.5]), {title: '0:11', ms: '10 ms'});
  assert.equal(await drawnPixels(page, 'page.time', 0, 0.2), 0);
});
