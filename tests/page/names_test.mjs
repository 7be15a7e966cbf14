import assert from 'node:assert/strict';
import {test} from 'node:test';
import {drawingsOf} from '../../tools/kzstat/page/src/drawings.js';
import {byHurt, operationRow, OPERATIONS, withUnits} from '../../tools/kzstat/page/src/operations.js';
import {mainOperation, nounOf, operationsOf, tellsFailures} from '../../tools/kzstat/page/src/outcomes.js';
import {bucketsOf, spanOf} from '../../tools/kzstat/page/src/run.js';

const timer = (name, count, p95 = 1) => ({name, type: 'Timer', unit: 'ms', figures: {count, rate: count, p95}});
const counter = (name, sum) => ({name, type: 'Counter', unit: '', figures: {count: null, sum}});
const figuresOf = ({figures}) => figures;

test('failures and causes belong to the work whose name they begin with', () => {
  const [login] = operationsOf([timer('login', 9), timer('login.failed', 1), counter('login.failed.http-500.late', 1), counter('login.abandoned', 2)]);
  assert.deepEqual([login.name, login.failed.name, login.abandoned.name], ['login', 'login.failed', 'login.abandoned']);
  assert.deepEqual(login.causes.map(({name}) => name), ['login.failed.http-500.late']);
});

test('work that always failed is work', () => {
  const [login] = operationsOf([timer('login.failed', 3)]);
  const row = operationRow(login, figuresOf, true);
  assert.deepEqual([row.name, row.count, row.errors, row.share], ['login', 3, 3, 1]);
});

test('the share of errors is unknown where no name tells of failures', () => {
  const operations = operationsOf([timer('login', 3), counter('login.failed', 1)]);
  assert.equal(tellsFailures(operations), false);
  assert.equal(operationRow(operations[0], figuresOf, false).share, null);
});

test('a run is about the work that was done most, of that whose outcome is told', () => {
  const names = [timer('parse', 1000), timer('request.time', 80), timer('request.time.failed', 30), timer('login', 100), counter('login.running', 1)];
  const main = mainOperation(operationsOf(names));
  assert.deepEqual([main.name, nounOf(main)], ['request.time', 'requests']);
  assert.equal(mainOperation(operationsOf(names.slice(0, 1))).name, 'parse');
  assert.equal(mainOperation([]), null);
});

test('of work that was done as often, a run is about its requests', () => {
  for (const names of [['GET /.time', 'request.time'], ['request.time', 'GET /.time']])
    assert.equal(mainOperation(operationsOf(names.map((name) => timer(name, 8)))).name, 'request.time');
});

test('where units differ, each time has its own', () => {
  const rowOf = (name) => operationRow(operationsOf([name])[0], figuresOf, true);
  const {unit, rows} = withUnits([rowOf(timer('login', 1, 40)), rowOf({...timer('wait', 1, 2), unit: 's'})]);
  const {text} = OPERATIONS.find(({key}) => key === 'p95');
  assert.deepEqual([unit, ...rows.map(text)], ['', '40 ms', '2 s']);
});

test('errors hurt more than slowness, slowness more than a name', () => {
  const row = (name, share, p95) => ({name, share, figures: {p95}});
  const rows = [row('b', 0, 5), row('a', 0, 5), row('slow', 0, 9), row('failing', 0.1, 1)];
  assert.deepEqual(rows.sort(byHurt).map(({name}) => name), ['failing', 'slow', 'a', 'b']);
});

test('a part of a run is whole columns of its heat maps', () => {
  const run = {run: {sliceLength: 2, startTime: 0}, elapsed: 40, grid: {first: 0, width: 2, columnWidth: 2, slices: Array(10).fill(2)}};
  assert.deepEqual(bucketsOf(run, null), [0, 10]);
  assert.deepEqual(bucketsOf(run, [9, 15]), [2, 4]);
  assert.deepEqual(spanOf(run, [2, 4]), [8, 16]);
  assert.deepEqual(bucketsOf(run, [8, 16]), [2, 4]);
  assert.deepEqual(bucketsOf(run, [15, 17]), [2, 6]);
  assert.deepEqual(bucketsOf(run, [900, 1000]), [8, 10]);
});

test('up to eight counters of one kind are drawn over each other', () => {
  const counters = (many) => [...Array(many).keys()].map((i) => ({...counter(`responses.${i}`, i + 1), course: {flow: [i]}}));
  assert.deepEqual(drawingsOf(counters(8)).map(({key, names}) => [key, names.length]), [['responses.*', 8]]);
  assert.equal(drawingsOf(counters(9)).length, 9);
  assert.deepEqual(drawingsOf(counters(1)).map(({key}) => key), ['responses.0']);
});

test('names are drawn once only if all that is drawn of them is equal', () => {
  const drawn = (name, flow) => ({...counter(name, 3), type: 'Accumulator', course: {flow}});
  const drawings = drawingsOf([drawn('a', [1, 2]), drawn('b', [1, 2]), drawn('c', [2, 1])]);
  assert.deepEqual(drawings.map(({names}) => names.map(({name}) => name)), [['a', 'b'], ['c']]);
});
