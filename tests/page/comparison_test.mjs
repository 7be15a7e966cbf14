// The page of runs compared: what it answers at first glance, and that it says what `kzstat compare` says.

import assert from 'node:assert/strict';
import {createRequire} from 'node:module';
import {dirname, join} from 'node:path';
import {after, before, test} from 'node:test';
import {newPage, saved} from './browser.mjs';
import {dataOf, Journal, kzstat, NASTY, START} from './runs.mjs';

const AXE = createRequire(`${process.env.PACKAGES}/package.json`).resolve('axe-core/axe.min.js');
const SCREEN = {viewport: {width: 1280, height: 800}};
const SLICES = 40;

// 20 requests a second that take about as long as it says, `errors` of which fail.
const work = (slice, {time = 10, errors = 0, failure = 3, queue = 5} = {}) => ({
  'clients': ['LoadSize', 8],
  'request.time': ['Timer', ...[...Array(20).keys()].map((i) => time + ((i + slice) % 5))],
  'login.time': ['Timer', 50 + slice % 3, 50 - slice % 3],
  'queue.length': ['Measurement', queue + slice % 2],
  'responses.2xx': ['Counter', 20],
  [NASTY]: ['Counter', 1],
  ...(errors > 0 ? {
    'request.time.failed': ['Timer', ...Array(errors).fill(failure)],
    'request.time.failed.http-500': ['TransactionReasonCounter', errors],
  } : {}),
});

async function runOf(test, options = {}, slices = SLICES) {
  const journal = new Journal(test, options.start ?? START);
  journal.showDistributions('request.time', 'login.time');
  for (let slice = 1; slice <= slices; ++slice) await journal.slice(work(slice, options));
  await journal.end();
  return journal.path;
}

function reportOn(...args) {
  const page = join(dirname(args[0]), 'comparison.html');
  const {status, stdout, stderr} = kzstat('report', ...args, '-o', page);
  assert.deepEqual([status, stdout], [0, ''], stderr);
  return page;
}

async function opened(test, args, options = SCREEN) {
  const file = reportOn(...args);
  const page = await newPage(test, options);
  await page.goto(`file://${file}`);
  await page.waitForSelector('#lanes canvas');
  return {page, file};
}

// A run, and one that is slower, has errors and a longer queue; made once for all tests.
let twoRuns;
const cleanups = [];
const all = {after: (cleanup) => cleanups.push(cleanup)};
before(async () => {
  twoRuns = [await runOf(all), await runOf(all, {time: 15, errors: 2, queue: 9, start: START + 1000})];
});
after(() => cleanups.forEach((cleanup) => cleanup()));

const rowsOf = (page) => page.locator('#table tbody tr').evaluateAll((rows) => rows.map((row) => Object.fromEntries([...row.cells].map((cell) => [cell.dataset.column, cell.textContent]))));
const linesOf = (page, label) => page.locator('.tile').filter({has: page.getByText(label, {exact: true})}).locator('.line').evaluateAll((lines) => lines.map((line) => [...line.children].map(({textContent}) => textContent)));

// The parts of a plot's width at which the colour is.
async function drawnIn(page, plot, colour) {
  return page.getByRole('img', {name: plot, exact: true}).locator('canvas').evaluate((canvas, name) => {
    const probe = document.createElement('canvas').getContext('2d');
    probe.fillStyle = getComputedStyle(document.documentElement).getPropertyValue(name);
    probe.fillRect(0, 0, 1, 1);
    const [red, green, blue] = probe.getImageData(0, 0, 1, 1).data;
    const {width, height} = canvas;
    const {data} = canvas.getContext('2d').getImageData(0, 0, width, height);
    const columns = new Set();
    for (let i = 0; i < data.length; i += 4) if (data[i] === red && data[i + 1] === green && data[i + 2] === blue) columns.add((i / 4) % width);
    return [...columns].sort((a, b) => a - b).map((column) => column / width);
  }, `--${colour}`);
}

test('the first screen says which run is worse, in what and by how much', async (t) => {
  const {page} = await opened(t, twoRuns);
  assert.equal(await page.locator('#verdicts strong').textContent(), 'B is worse than A');
  const worse = await page.locator('.findings[data-state="worse"]').textContent();
  assert.match(worse, /^3 worserequest\.time \+41\.67 %request\.time\.failed \+2 \(values\/s\)request\.time\.failed\.http-500 \+2 \(rate\/s\)$/);
  assert.deepEqual(await linesOf(page, 'mean, ms'), [['A', '12'], ['B', '17', '+41.67 %']]);
  assert.deepEqual(await linesOf(page, 'error share, %'), [['A', '0'], ['B', '9.09', '+9.09 pp']]);
  assert.deepEqual(await linesOf(page, 'peak load'), [['A', '8'], ['B', '8', '0 %']]);
  assert.equal(await page.locator('#runs li').count(), 2);
  assert.match(await page.locator('#runs li').first().textContent(), /run\.kzj2023-11-1\d .*· 40 s · peak load 8 · 40 slices/);
  const {y, height} = await page.locator('#lanes').boundingBox();
  assert.ok(y + height <= SCREEN.viewport.height, `the charts end at ${y + height}`);
});

test('the table marks what kzstat compare marks, worst first', async (t) => {
  const {page} = await opened(t, twoRuns);
  const rows = await rowsOf(page);
  const told = JSON.parse(kzstat('compare', ...twoRuns, '--format', 'json').stdout);
  const marked = told.names.filter((each) => each.is_significant).map(({name}) => name);
  assert.deepEqual(rows.filter(({change}) => change.endsWith(' *')).map(({name}) => name).sort(), marked.sort());
  const percentilesOf = new Map(told.names.map(({name, percentiles}) => [name, percentiles]));
  for (const {name, 'p95 change': change} of rows) assert.equal(change.endsWith(' *'), percentilesOf.get(name)?.p95?.is_significant ?? false, name);
  assert.deepEqual(rows.slice(0, 3).map(({name, finding}) => [name, finding]), [
    ['request.time', 'worse'], ['request.time.failed', 'worse, only in B'], ['request.time.failed.http-500', 'worse, only in B']]);
  const {of, A, B, 'p95 change': p95} = rows[0];
  assert.deepEqual([of, A, B, p95], ['mean ms', '12', '17', '+35.71 % *']);
  assert.equal(rows.length, told.names.length);
});

test('the differences are saved as CSV, unrounded', async (t) => {
  const {page} = await opened(t, twoRuns);
  const {name, bytes} = await saved(page, () => page.getByRole('button', {name: 'Save the differences as CSV'}).click());
  assert.equal(name, 'comparison.csv');
  const [head, first] = bytes.toString().split('\r\n');
  assert.equal(head, 'name,of,A,B,change,finding,p,p50 A,p50 B,p50 change,p95 A,p95 B,p95 change,p99 A,p99 B,p99 change');
  assert.match(first, /^request\.time,mean ms,12,17,0\.416666\d+,worse,0,/);
});

test('every run is a curve from the begin of its load to its own end', async (t) => {
  const short = await runOf(t, {start: START + 500}, SLICES / 2);
  const {page} = await opened(t, [twoRuns[0], short]);
  for (const plot of ['overview, requests/s', 'overview, p95', 'overview, load']) {
    const endOfA = (await drawnIn(page, plot, 'run-1')).at(-1);
    const ofB = await drawnIn(page, plot, 'run-2');
    const [beginOfB, endOfB] = [ofB[0], ofB.at(-1)];
    assert.ok(beginOfB < 0.2 && endOfB < 0.6 && endOfA > 0.9, `${plot}: ${beginOfB} to ${endOfB}, ${endOfA}`);
  }
});

test('a gap of a run is one, also where other runs have slices at almost the same moments', async (t) => {
  const paths = [];
  for (const [begin, isBroken] of [[0.25, true], [0.249, false], [0.251, false]]) {
    const journal = new Journal(t, START + begin);
    journal.tell('load', begin);
    for (let slice = 1; slice <= SLICES; ++slice) await journal.slice(work(slice, {errors: isBroken && slice >= 10 && slice <= 30 ? 0 : 1, failure: isBroken ? 9 : 3}));
    await journal.end();
    paths.push(journal.path);
  }
  const {page} = await opened(t, paths);
  await page.locator('#table').getByRole('link', {name: 'request.time.failed', exact: true}).click();
  const drawn = await drawnIn(page, 'request.time.failed, mean', 'run-1');
  assert.ok(drawn[0] < 0.3 && drawn.at(-1) > 0.8, `${drawn[0]} to ${drawn.at(-1)}`);
  assert.deepEqual(drawn.filter((part) => part > 0.4 && part < 0.7), []);
});

test('the values of all runs at a moment appear beside the pointer', async (t) => {
  const {page} = await opened(t, twoRuns);
  await page.getByRole('img', {name: 'overview, requests/s', exact: true}).locator('.u-over').hover();
  assert.match(await page.locator('.tooltip b').textContent(), /^0:(20|21) after the begin$/);
  assert.deepEqual(await page.locator('.tooltip dd').allTextContents(), ['20 /s', '22 /s']);
});

test('a name has its curves and its distributions over each other', async (t) => {
  const {page} = await opened(t, twoRuns);
  await page.locator('#table').getByRole('link', {name: 'request.time', exact: true}).click();
  for (const plot of ['request.time, p95', 'request.time, cumulative distribution, % of all values'])
    for (const colour of ['run-1', 'run-2']) assert.notEqual((await drawnIn(page, plot, colour)).length, 0, `${plot} ${colour}`);
  assert.deepEqual(await page.locator('.card[data-name="request.time"] .marks').first().locator('span').evaluateAll((all) => all.map(({textContent}) => textContent.split(' ')[0])),
    ['p50', 'p90', 'p95', 'p99', 'p99.9', 'max']);
});

test('runs that are as good say so', async (t) => {
  const {page} = await opened(t, [twoRuns[0], await runOf(t, {start: START + 9})]);
  assert.match(await page.locator('#verdicts').textContent(), /^No difference between A and B foundnone of 6 names is marked/);
});

test('a run that did more is not called better', async (t) => {
  const more = new Journal(t, START + 9);
  more.showDistributions('request.time', 'login.time');
  for (let slice = 1; slice <= SLICES; ++slice) await more.slice({...work(slice), 'responses.2xx': ['Counter', 30]});
  await more.end();
  const {page} = await opened(t, [twoRuns[0], more.path]);
  assert.equal(await page.locator('#verdicts strong').textContent(), 'B did more than A');
});

test('a large change that chance may make is told', async (t) => {
  const broken = new Journal(t, START + 9);
  broken.showDistributions('request.time', 'login.time');
  for (let slice = 1; slice <= SLICES; ++slice) await broken.slice(work(slice, {errors: slice > SLICES / 2 ? 20 : 0}));
  await broken.end();
  const {page} = await opened(t, [twoRuns[0], broken.path]);
  assert.match(await page.locator('#verdicts').textContent(), /^B may differ from A.*large, but not certain: .*error share \+33.33 pp/);
});

test('too few slices are told as the reason why nothing is marked', async (t) => {
  const {page} = await opened(t, [await runOf(t, {}, 10), await runOf(t, {time: 50, start: START + 9}, 10)]);
  assert.match(await page.locator('#verdicts').textContent(), /nothing is marked: that takes at least 30 slices a side, and there are 10 and 10$/);
});

test('each of more than two runs is compared with the first', async (t) => {
  const {page} = await opened(t, [...twoRuns, await runOf(t, {time: 5, start: START + 9})]);
  assert.deepEqual(await page.locator('#verdicts strong').allTextContents(), ['B is worse than A', 'C is better than A']);
  const row = (await rowsOf(page)).find(({name}) => name === 'request.time');
  assert.deepEqual([row['change B'], row['change C']], ['+41.67 % *', '-41.67 % *']);
});

test('several runs a side are samples, each a curve in the colour of its side', async (t) => {
  const runs = [];
  for (const [i, time] of [10, 10.5, 20, 20.5].entries()) runs.push(await runOf(t, {time, start: START + i}, 5));
  const {page, file} = await opened(t, [...runs.slice(0, 2), '--', ...runs.slice(2)]);
  assert.equal(await page.locator('#state').textContent(), '2 and 2 runs compared');
  assert.deepEqual(await page.locator('#runs .swatch').allTextContents(), ['A1', 'A2', 'B1', 'B2']);
  assert.equal(await page.locator('#verdicts strong').textContent(), 'B is worse than A');
  assert.equal(dataOf(file).comparisons[0].samples_are, 'runs');
});

for (const colorScheme of ['light', 'dark']) {
  test(`nothing bars a screen reader, ${colorScheme}`, async (t) => {
    const {page} = await opened(t, twoRuns, {...SCREEN, colorScheme});
    await page.getByRole('button', {name: 'Unfold all'}).click();
    await page.waitForSelector('.card canvas');
    await page.addScriptTag({path: AXE});
    const {violations} = await page.evaluate(() => axe.run());
    assert.deepEqual(violations.map(({id, nodes}) => [id, nodes.map(({target}) => target.join(' '))]), []);
  });
}

test('a narrow screen has a name and three numbers and does not scroll sideways', async (t) => {
  const {page} = await opened(t, twoRuns, {viewport: {width: 420, height: 900}});
  const sizes = await page.evaluate(() => [document.documentElement, document.querySelector('#differences .scroll')].map(({scrollWidth, clientWidth}) => scrollWidth - clientWidth));
  assert.deepEqual(sizes, [0, 0]);
  const shown = await page.locator('#table tbody tr').first().locator('th:visible, td:visible').evaluateAll((cells) => cells.map(({dataset}) => dataset.column));
  assert.deepEqual(shown, ['name', 'A', 'B', 'change']);
});

// Runs of these names, the same in each slice.
async function runsOf(t, ...reports) {
  const paths = [];
  for (const reported of reports) {
    const journal = new Journal(t, START + paths.length);
    for (let slice = 1; slice <= 5; ++slice) await journal.slice(reported);
    await journal.end();
    paths.push(journal.path);
  }
  return paths;
}

test('names that are escaped alike have rows and curves of their own', async (t) => {
  const counted = (control, literal) => ({'clients': ['LoadSize', 8], 'a\x01b': ['Counter', control], 'a\\x01b': ['Counter', literal]});
  const {page} = await opened(t, await runsOf(t, counted(1, 100), counted(2, 300)));
  assert.deepEqual((await rowsOf(page)).map(({name, A, B}) => [name, A, B]).sort(), [['a\\x01b', '1', '2'], ['a\\x5cx01b', '100', '300'], ['clients', '8', '8']]);
  await page.getByRole('button', {name: 'Unfold all'}).click();
  assert.equal(await page.locator('.card').count(), 3);
});

// Lacks five of its slices, and stood still for two seconds, from the begin of its load on.
async function interruptedRun(t, loadBegin) {
  const journal = new Journal(t, START + 9);
  if (loadBegin > 0) journal.tell('load', loadBegin);
  for (let slice = 1; slice <= SLICES; ++slice) {
    if (slice === 30) journal.tell('measured', 3);
    for (const [name, [type, ...values]] of Object.entries(work(slice))) journal.tell('value', name, type, ...values);
    if (slice > 15 && slice <= 20) journal.lose();
    else await journal.slice({});
  }
  await journal.end();
  return journal.path;
}

test('times without figures are told as kzstat compare tells them, and hatched', async (t) => {
  const runs = [twoRuns[0], await interruptedRun(t, 2)];
  const {page} = await opened(t, runs);
  const told = JSON.parse(kzstat('compare', ...runs, '--format', 'json').stdout).second.runs[0].interruptions;
  assert.deepEqual(told, ['no slices from 0:15 to 0:20', 'the generator stood still from 0:30 to 0:32']);
  assert.deepEqual(await page.locator('#warnings p').allTextContents(), [`B ${runs[1]}: ${told.join(', ')}; compared from 0:02 on`]);
  const plot = page.getByRole('img', {name: 'overview, requests/s', exact: true}).locator('.u-over');
  const {width, height} = await plot.boundingBox();
  await plot.hover({position: {x: (width * 15) / SLICES, y: height / 2}});
  assert.deepEqual((await page.locator('.tooltip dt').allTextContents()).slice(-1), ['B no slices']);
  assert.deepEqual((await page.locator('.tooltip dd').allTextContents()).slice(-1), ['0:13 – 0:18']);
});

// How much is drawn in a plot over the seconds [from, to] of its `all`, in pixels that are not transparent.
const inkIn = (page, plot, [from, to], all) => page.getByRole('img', {name: plot, exact: true}).evaluate((place, [begin, end]) => {
  const canvas = place.querySelector('canvas');
  const [outer, inner] = [canvas, place.querySelector('.u-over')].map((each) => each.getBoundingClientRect());
  const at = (part) => Math.round(((inner.left - outer.left + part * inner.width) * canvas.width) / outer.width);
  const {data} = canvas.getContext('2d').getImageData(at(begin), 0, at(end) - at(begin), canvas.height);
  return data.filter((value, i) => i % 4 === 3 && value > 0).length;
}, [from / all, to / all]);

test('a run that lacks slices is hatched there, and not where it has some', async (t) => {
  const {page} = await opened(t, [await interruptedRun(t, 0), twoRuns[0]]);
  const [gap, rest] = [await inkIn(page, 'overview, requests/s', [15.5, 19.5], SLICES), await inkIn(page, 'overview, requests/s', [5.5, 9.5], SLICES)];
  assert.ok(gap > 2 * rest, `${gap} pixels, ${rest}`);
});

test('of runs that count and time nothing, the rates are compared', async (t) => {
  const counted = (pages) => ({'pages': ['Counter', pages], 'errors': ['Counter', 1]});
  const {page} = await opened(t, await runsOf(t, counted(20), counted(30)));
  assert.deepEqual(await linesOf(page, 'pages/s'), [['A', '20'], ['B', '30', '+50 %']]);
  assert.deepEqual(await linesOf(page, 'errors/s'), [['A', '1'], ['B', '1', '0 %']]);
  assert.deepEqual(await page.locator('#lanes h3').allTextContents(), ['pages/s', 'errors/s']);
  assert.equal(await page.locator('#work').textContent(), 'nothing was timed');
});

test('what the first run and another one both lack has not changed', async (t) => {
  const errors = {'clients': ['LoadSize', 8], 'errors': ['Counter', 1]};
  const {page} = await opened(t, await runsOf(t, errors, {...errors, 'responses.2xx': ['Counter', 20]}, errors));
  const [ofB, ofC] = await page.locator('#verdicts li').allTextContents();
  assert.match(ofB, /large, but not certain: responses\.2xx\/s \+20$/);
  assert.doesNotMatch(ofC, /large/);
});

test('runs that neither time nor count anything say so', async (t) => {
  const levels = {'clients': ['LoadSize', 8], 'queue.length': ['Measurement', 3]};
  const {page} = await opened(t, await runsOf(t, levels, levels));
  assert.deepEqual(await page.locator('#tiles > *').allTextContents(), ['Nothing was timed or counted.', 'peak loadA8B80 %']);
});

test('a part of the time is looked at in all charts, and told by the address', async (t) => {
  const {page} = await opened(t, twoRuns);
  const box = await page.getByRole('img', {name: 'overview, p95', exact: true}).locator('.u-over').boundingBox();
  await page.mouse.move(box.x + box.width / 4, box.y + 20);
  await page.mouse.down();
  await page.mouse.move(box.x + box.width / 2, box.y + 20);
  await page.mouse.up();
  const [from, to] = new URL(page.url()).hash.slice(1).split('-').map(Number);
  assert.ok(Math.abs(from - 10) < 0.2 && Math.abs(to - 20) < 0.2, `${from} to ${to}`);
  await page.getByRole('button', {name: 'Show all'}).click();
  assert.equal(new URL(page.url()).hash, '');
});
