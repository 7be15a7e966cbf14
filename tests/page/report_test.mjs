import assert from 'node:assert/strict';
import {join} from 'node:path';
import {test} from 'node:test';
import {assertFiguresOf, cell, drawnPixels, newPage, open, tooltip} from './browser.mjs';
import {dataOf, Journal, kzstat, NASTY, reportOf, shop, shopRun, START, temporaryFolder} from './runs.mjs';

const SLICES = 60;

async function runOfManyNames(test, names) {
  const journal = new Journal(test);
  const reported = Object.fromEntries([...Array(names).keys()].map((i) => [`step.${i}`, ['Timer', i]]));
  await journal.slice(reported);
  await journal.slice(reported);
  await journal.end();
  return journal.path;
}

test('lists every name and draws its charts', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, SLICES))}`);
  const names = await page.locator('#table tbody th').allTextContents();
  assert.deepEqual(names.sort(), ['clients', 'page.time', 'pages.sent', 'queue.length', NASTY].sort());
  for (const name of ['clients', 'page.time']) assert.ok(await drawnPixels(page, name) > 100, name);
});

test('shows the figures of the journal', async (t) => {
  const path = await shopRun(t, SLICES);
  await assertFiguresOf(await open(t, `file://${reportOf(path)}`), path);
});

test('shows markup in a name as text', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, 3))}`);
  assert.equal(await page.locator('img').count(), 0);
  assert.equal(await page.getByRole('heading', {name: NASTY}).count(), 1);
});

test('shows what would steer the text escaped', async (t) => {
  const journal = new Journal(t);
  await journal.slice({'pay\u202etxt\u009b': ['Counter', 1]});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.deepEqual(await page.locator('#table tbody th').allTextContents(), ['pay\\u202etxt\\u009b']);
});

test('asks for nothing but itself', async (t) => {
  const page = await newPage(t);
  const asked = [];
  page.on('request', (request) => asked.push(request.url()));
  const url = `file://${reportOf(await shopRun(t, 3))}`;
  await page.goto(url);
  await page.waitForSelector('#lanes canvas');
  assert.deepEqual(asked.filter((each) => !each.startsWith('data:')), [url]);
});

test('finds one of 500 names and draws only what is near', async (t) => {
  const page = await open(t, `file://${reportOf(await runOfManyNames(t, 500))}`);
  assert.equal(await page.locator('.card').count(), 500);
  assert.ok(await page.locator('canvas').count() < 70);
  await page.getByRole('searchbox').fill('step.417');
  assert.deepEqual(await page.locator('.card:visible h3').allTextContents(), ['step.417']);
  assert.equal(await page.locator('#shown').textContent(), '1 of 500 names');
  await page.waitForSelector('.card:visible canvas');
});

test('sorts names by a column', async (t) => {
  const page = await open(t, `file://${reportOf(await runOfManyNames(t, 12))}`);
  await page.locator('#table').getByRole('button', {name: 'max', exact: true}).click();
  assert.equal(await page.locator('#table tbody th').first().textContent(), 'step.11');
});

test('keeps a single slow value of a long run', async (t) => {
  const journal = new Journal(t);
  for (let slice = 1; slice <= 1100; ++slice) await journal.slice({wait: ['Timer', slice === 777 ? 987.5 : 10]});
  await journal.end();
  const {names: [{course}], grid} = dataOf(reportOf(journal.path));
  assert.equal(grid.width, 2);
  assert.equal(course.maximum.length, 550);
  assert.equal(course.maximum[388], 987.5);
  assert.equal(Math.min(...course.minimum), 10);
});

test('draws no level before it was reported', async (t) => {
  const journal = new Journal(t);
  for (let slice = 1; slice <= 1001; ++slice) await journal.slice({wait: ['Timer', 5], ...(slice > 500 ? {clients: ['LoadSize', 20]} : {})});
  await journal.end();
  const {names, load} = dataOf(reportOf(journal.path));
  for (const {flow} of [names.find(({name}) => name === 'clients').course, load]) {
    assert.deepEqual(flow.slice(249, 252), [null, 20, 20]);
  }
});

test('shows a chosen part of the run', async (t) => {
  const path = await shopRun(t, SLICES);
  const {names, grid, slices} = dataOf(reportOf(path, '--from', '50'));
  assert.deepEqual([grid.first, slices], [50, 10]);
  assert.equal(names.find(({name}) => name === 'page.time').figures.count, 30);
});

test('is dark where the system is, and light where the reader wants it', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, 3))}`, {colorScheme: 'dark'});
  const brightness = () => page.evaluate(() => Number(/\d+/.exec(getComputedStyle(document.body).backgroundColor)[0]));
  assert.ok(await brightness() < 60);
  await page.getByRole('button', {name: 'Theme'}).click();
  assert.ok(await brightness() > 200);
  assert.ok(await drawnPixels(page, 'page.time') > 0);
});

test('looks closer where the reader drags', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, SLICES))}`);
  const plot = await page.locator('.u-over').first();
  await plot.scrollIntoViewIfNeeded();
  const {x, y, width} = await plot.boundingBox();
  await page.mouse.move(x + width / 4, y + 20);
  await page.mouse.down();
  await page.mouse.move(x + width / 2, y + 20, {steps: 4});
  await page.mouse.up();
  const whole = page.getByRole('button', {name: 'Show the whole run'});
  await whole.click();
  assert.equal(await whole.isVisible(), false);
});

test('names the moments by the clock', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, 10))}`, {timezoneId: 'UTC'});
  await page.getByRole('button', {name: 'Clock'}).click();
  assert.equal((await tooltip(page, 'page.time', 'ms', [1, 0.5])).title, '2023-11-14 22:13:30');
});

test('is printed with all of its charts', async (t) => {
  const page = await open(t, `file://${reportOf(await runOfManyNames(t, 40))}`);
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  assert.equal(await page.locator('.card canvas').count(), 80);
  await page.evaluate(() => dispatchEvent(new Event('afterprint')));
  assert.ok(await page.locator('.card canvas').count() < 80);
  assert.equal(await page.getByText('Slice length').isVisible(), false);
});

test('is printed without the charts that are folded, and says so', async (t) => {
  const journal = new Journal(t);
  await journal.slice({'login.time': ['Timer', 99], ...Object.fromEntries([...Array(30).keys()].map((i) => [`step.${i}`, ['Timer', i]]))});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  await page.locator('.group[data-group="step"] summary').click();
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  assert.deepEqual(await page.locator('.card:visible h3').allTextContents(), ['login.time']);
  assert.match(await page.locator('#left-out').textContent(), /^Left out: the charts of 30 names, which were folded/);
  await page.evaluate(() => dispatchEvent(new Event('afterprint')));
  assert.equal(await page.locator('#left-out').isVisible(), false);
});

test('of a small run is printed with all charts although they are folded', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, 5))}`);
  await page.getByRole('button', {name: 'Fold all', exact: true}).click();
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  assert.ok(await page.locator('.card canvas').count() >= 5);
  assert.equal(await page.locator('#left-out').isVisible(), false);
});

test('of a part of a run that was asked for says so', async (t) => {
  const path = await shopRun(t, 20);
  const subtitle = async (...args) => {
    const page = await open(t, `file://${reportOf(path, ...args)}`);
    return page.locator('#subtitle').textContent();
  };
  assert.match(await subtitle('--from', '5', '--to', '10'), / made of 0:05 – 0:10 of the run only$/);
  assert.match(await subtitle('--to', '10'), / made of the run up to 0:10 only$/);
  assert.doesNotMatch(await subtitle(), /made of/);
});

test('of a part behind the end does not end before it begins', async (t) => {
  const page = await newPage(t);
  await page.goto(`file://${reportOf(await shopRun(t, 5), '--from', '200')}`);
  const fields = await page.locator('#span input').evaluateAll((all) => all.map(({value}) => value));
  assert.deepEqual(fields, ['3:20', '3:20']);
});

test('shows infinite values', async (t) => {
  const journal = new Journal(t);
  await journal.slice({'ratio': ['Measurement', 1, Infinity], 'depth': ['Measurement', -Infinity]});
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.equal(await cell(page, 'ratio', 'max').textContent(), '∞');
  assert.equal(await cell(page, 'depth', 'min').textContent(), '-∞');
});

test('shows infinite values of a part', async (t) => {
  const journal = new Journal(t);
  journal.showDistributions('wait');
  for (let slice = 1; slice <= 10; ++slice) await journal.slice({
    'wait': ['Timer', 1, 2, slice === 5 ? Infinity : 3],
    'ratio': ['Measurement', slice === 5 ? -Infinity : 1],
    'odd': ['Measurement', 1, ...(slice === 5 ? [Infinity, -Infinity] : [])],
  });
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}#3-7`);
  const texts = (name, ...columns) => Promise.all(columns.map((column) => cell(page, name, column).textContent()));
  assert.deepEqual(await texts('wait', 'mean', 'p95', 'p99', 'max'), ['∞', '∞', '∞', '∞']);
  assert.match((await texts('wait', 'p50'))[0], /^≈ 2/);
  assert.deepEqual([await texts('ratio', 'min', 'mean', 'max'), await texts('odd', 'mean')], [['-∞', '-∞', '1'], ['–']]);
  await page.getByRole('button', {name: 'Show the whole run'}).click();
  assert.match(await page.locator('.marks').filter({hasText: 'p99.9'}).textContent(), /p99 ∞/);
});

test('of a merged run names the runs that have slices', async (t) => {
  const folder = temporaryFolder(t);
  const merged = (name, ...runs) => {
    const path = join(folder, name);
    assert.equal(kzstat('merge', ...runs, '-o', path).status, 0);
    return path;
  };
  const [one, two, three] = [await shopRun(t, 3), await shopRun(t, 3), await shopRun(t, 3)];
  const report = reportOf(merged('all.kzj', merged('both.kzj', one, two), three));
  assert.deepEqual(dataOf(report).sources.map(({generator}) => generator), ['shop', 'shop', 'shop']);
  const page = await open(t, `file://${report}`);
  assert.equal(await page.locator('dt', {hasText: 'Merged from'}).count(), 3);
});

test('draws no line through a gap and tells of it', async (t) => {
  const later = new Journal(t, START + 100);
  for (let slice = 1; slice <= 10; ++slice) await later.slice(shop(slice));
  await later.end();
  const merged = join(temporaryFolder(t), 'merged.kzj');
  assert.equal(kzstat('merge', await shopRun(t, 10), later.path, '-o', merged).status, 0);
  const report = reportOf(merged);
  const {grid} = dataOf(report);
  assert.deepEqual(grid.slices, [...Array(10).fill(1), ...Array(90).fill(0), ...Array(10).fill(1)]);
  const page = await open(t, `file://${report}`);
  for (const name of ['page.time', 'pages.sent', 'clients']) {
    assert.ok(await drawnPixels(page, name, 0.85, 1) > 0, name);
    assert.equal(await drawnPixels(page, name, 0.2, 0.8), 0, name);
  }
  assert.match(await page.locator('dt:text-is("Note") + dd').first().textContent(), /gap: no run has slices 11 to 100 \(90 s\)/);
  const remarks = () => page.locator('#remarks li').allTextContents();
  assert.deepEqual((await remarks()).filter((text) => /slices/.test(text)), ['0:10 gap: no run has slices 11 to 100 (90 s)']);
  await page.evaluate(() => { location.hash = '#20-30'; });
  await page.getByRole('button', {name: 'Show the whole run'}).waitFor();
  assert.deepEqual(await remarks(), ['no slices from 0:10 to 1:40']);
});

test('draws the slice behind a gap from its begin on, and no line through the gap', async (t) => {
  const journal = new Journal(t);
  for (let slice = 1; slice <= 10; ++slice) {
    if (slice === 3 || (slice >= 6 && slice <= 8)) journal.lose();
    else await journal.slice({'page.time': ['Timer', 10]});
  }
  await journal.end();
  const page = await open(t, `file://${reportOf(journal.path)}`);
  const drawnAt = (second) => drawnPixels(page, 'page.time', ...[second - 0.1, second + 0.1].map((at) => (58 + at * 112.2) / 1210));
  const drawn = [];
  for (const second of [1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5]) drawn.push(await drawnAt(second) > 0);
  assert.deepEqual(drawn, [true, false, true, true, false, false, false, true, true]);
});

test('is printed with the signs of its remarks', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, 3))}`);
  assert.equal(await page.evaluate(() => {
    const list = document.getElementById('remarks');
    list.hidden = false;
    list.append(document.createElement('li'));
    return getComputedStyle(list.firstChild, '::before').printColorAdjust;
  }), 'exact');
});

test('says of a run that has not ended that it has not', async (t) => {
  const journal = new Journal(t);
  await journal.slice(shop(1));
  const page = await open(t, `file://${reportOf(journal.path)}`);
  assert.match(await page.locator('#subtitle').textContent(), /1 slice of 1 s, not ended/);
});

test('fits a narrow screen', async (t) => {
  const page = await open(t, `file://${reportOf(await shopRun(t, 10))}`, {viewport: {width: 380, height: 800}});
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth) <= 380);
});

test('of an empty run says that nothing was reported', async (t) => {
  const journal = new Journal(t);
  await journal.end();
  const page = await newPage(t);
  await page.goto(`file://${reportOf(journal.path)}`);
  assert.equal(await page.locator('#nothing').textContent(), 'Nothing was reported yet.');
});

test('that cannot be written is one line of complaint', async (t) => {
  const {status, stderr} = kzstat('report', await shopRun(t, 1), '-o', '/nowhere/report.html');
  assert.equal(status, 2);
  assert.equal(stderr, 'kzstat: cannot write /nowhere/report.html: No such file or directory\n');
});
