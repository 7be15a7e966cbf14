import assert from 'node:assert/strict';
import {test} from 'node:test';
import {clockTick, elapsed, number, secondsAtTime, secondsIn, tick, timeOfRun} from '../../tools/kzstat/page/src/format.js';
import {boundOf, logTicks} from '../../tools/kzstat/page/src/scale.js';

test('numbers are as the command line writes them', () => {
  const values = [0, 1454, 0.25, -6.4412, 12345.678, 1e18, 0.001234, -0.0001234, 1.234e-7, 1e-300, Infinity, -Infinity];
  assert.deepEqual(values.map(number), ['0', '1454', '0.250', '-6.44', '12346', '1.000e+18', '0.0012', '-0.00012', '1.234e-07', '1.000e-300', '∞', '-∞']);
});

test('marks on an axis differ where their values do', () => {
  assert.deepEqual([0, 0.0005, 0.001, 0.0015].map(tick), ['0', '0.0005', '0.001', '0.0015']);
  assert.deepEqual([1e-300, 3 * 1e-5, 2e-4, 1e300].map(tick), ['1e-300', '3e-5', '0.0002', '1e300']);
  assert.deepEqual([250, 1500, -2e6].map(tick), ['250', '1.5K', '-2M']);
});

test('marks of the clock are as precise as they are close', () => {
  const moment = (...fields) => new Date(2026, 2, 1, ...fields).getTime() / 1000;
  assert.equal(clockTick(moment(22, 13), 60), '22:13');
  assert.equal(clockTick(moment(22, 13, 5), 5), '22:13:05');
  assert.equal(clockTick(moment(22, 13, 5, 250), 0.05), '22:13:05.25');
  assert.equal(clockTick(moment(0), 3600), '03-01');
});

test('a moment that rounds to a second is that second', () => {
  assert.deepEqual([56.9996, 59.9999, 3599.9996, 56.25, 3725].map(elapsed), ['0:57', '1:00', '1:00:00', '0:56.25', '1:02:05']);
});

test('the largest numbers have marks', () => {
  assert.ok(logTicks(1, boundOf(2047 * 128), 5).length > 2);
});

test('a moment of a run is found again by its time', () => {
  const start = new Date(2026, 2, 1, 22, 13, 20, 412.3).getTime() / 1000 + 0.0003;
  assert.equal(timeOfRun(0, start), '22:13:20.412');
  assert.equal(timeOfRun(86400, start), '2026-03-02 22:13:20.412');
  for (const moment of [0, 5, 7200, 86399, 86400, 200000]) assert.ok(secondsAtTime(timeOfRun(moment, start), start) === moment, moment);
  assert.equal(secondsAtTime('1:00', start), 3 * 3600 - 13 * 60 - 20.412);
  assert.ok(Math.abs(secondsAtTime('22:13:20', start)) < 1);
  assert.equal(secondsAtTime('22:13', start), 0);
  assert.equal(secondsAtTime('1.5m', start), 90);
  for (const text of ['', '5', '25', '10:5', 'x', '22:99', '25:00', '22:13:60', '2026-02-31 22:13', '2026-13-01 22:13']) assert.ok(Number.isNaN(secondsAtTime(text, start)), text);
});

test('a time of a run is read as the programs read it', () => {
  assert.deepEqual(['90', '1:30', '0:01:30.5', '10s', '1.5m', ' 2 h '].map(secondsIn), [90, 90, 90.5, 10, 90, 7200]);
  for (const text of ['', 's', '10d', '1:2m', '1:60', '1:2:3:4', '-1']) assert.ok(Number.isNaN(secondsIn(text)), text);
});
