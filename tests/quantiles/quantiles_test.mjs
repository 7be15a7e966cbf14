import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {createRequire} from 'node:module';
import {test} from 'node:test';

const {build} = createRequire(`${process.env.PACKAGES}/`)('hdr-histogram-js');

const QUANTILES = [0.001, 0.01, 0.1, 0.5, 0.9, 0.95, 0.99, 0.999, 1];
// The bound of ours, and that of three significant digits.
const OURS = 1 / 256;
const THEIRS = 1 / 1000;

// The same numbers in each run: a 32 bit xorshift.
function* chances(seed) {
  for (let state = seed; ;) {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    yield ((state >>> 0) + 0.5) / 2 ** 32;
  }
}

// Whole microseconds, since that histogram holds whole numbers.
function draw(count, valueOf) {
  const chance = chances(20261122);
  const next = () => chance.next().value;
  return Array.from({length: count}, () => Math.max(1, Math.round(valueOf(next))));
}

const DATA = {
  normal: draw(20000, (next) => 5000 + 800 * Math.sqrt(-2 * Math.log(next())) * Math.cos(2 * Math.PI * next())),
  exponential: draw(20000, (next) => -20000 * Math.log(next())),
  Pareto: draw(20000, (next) => 300 * next() ** (-1 / 1.5)),
  bimodal: draw(20000, (next) => (next() < 0.7 ? 900 + 100 * next() : 800000 + 50000 * next())),
  constant: draw(1000, () => 4711),
  'one value': [123456],
};

function ours(parts) {
  const input = parts.map((values) => values.map((value) => `${value}\n`).join('')).join('-\n');
  return execFileSync(process.env.QUANTILES, QUANTILES.map(String), {input, encoding: 'utf8'}).trim().split('\n').map(Number);
}

function theirs(values) {
  const histogram = build({numberOfSignificantValueDigits: 3, highestTrackableValue: 2 ** 53 - 1, bitBucketSize: 32});
  for (const value of values) histogram.recordValue(value);
  return QUANTILES.map((q) => histogram.getValueAtPercentile(100 * q));
}

function assertWithin(found, expected, bound, what) {
  found.forEach((value, i) => assert.ok(Math.abs(value - expected[i]) <= bound * expected[i], `${what}, ${QUANTILES[i]}: ${value} for ${expected[i]}`));
}

for (const [name, values] of Object.entries(DATA)) {
  const sorted = values.toSorted((a, b) => a - b);
  // The value of rank ceil(q * n), which both define.
  const exact = QUANTILES.map((q) => sorted[Math.max(Math.ceil(Number((q * sorted.length).toFixed(6))), 1) - 1]);

  test(`quantiles of ${name} data are those of a histogram of three digits, as close as both promise`, () => {
    const found = ours([values]);
    assertWithin(found, exact, OURS, 'from the sorted values');
    assertWithin(theirs(values), exact, THEIRS, 'the other from the sorted values');
    assertWithin(found, theirs(values), OURS + 2 * THEIRS, 'from the other');
  });

  test(`${name} data in three parts have the quantiles of the whole, to the bit`, () => {
    const third = Math.ceil(values.length / 3);
    assert.deepEqual(ours([values.slice(0, third), values.slice(third, 2 * third), values.slice(2 * third)]), ours([values]));
  });
}
