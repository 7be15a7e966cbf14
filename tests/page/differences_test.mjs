// What of a comparison is worse, what is better, and in which order the table has it.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {judged, rowsOf} from '../../tools/kzstat/page/src/comparison/differences.js';

const [A, B] = [{letter: 'A'}, {letter: 'B'}];

// As JSON tells a name: a marked difference, unless it says otherwise.
function named(name, first, second, more = {}) {
  const isTimer = name.endsWith('.time');
  return {
    name, type: isTimer ? 'Timer' : 'Counter', tested: isTimer ? 'mean' : 'rate', quantity: isTimer ? 'mean ms' : 'rate/s', first, second,
    difference: second - first, relative_difference: first === 0 ? null : (second - first) / Math.abs(first),
    samples: {first: 40, second: 40}, p_value: 0, is_significant: true, finding: 'marked', percentiles: {}, ...more,
  };
}

const comparing = (names, {work = [100, 100], load = [8, 8], only = []} = {}) =>
  ({names, samples_are: 'slices', least_difference: 0.03, before: A, after: B, only: new Map(only), followed: {work, load}});

const verdictsOf = (...args) => rowsOf([comparing(...args)]).map(({title, cells: [{verdict}]}) => [title, verdict]);

test('what hurts comes first, then what is better, then what else is marked, then the rest', () => {
  const unclear = named('a.time', 10, 10.1, {is_significant: false, finding: 'unclear'});
  assert.deepEqual(verdictsOf([unclear, named('bytes', 1, 9), named('b.time', 10, 5), named('x.failed.timeout', 1, 90), named('c.time', 10, 11), named('d.time', 10, 20)]),
    [['d.time', 'worse'], ['c.time', 'worse'], ['x.failed.timeout', 'worse'], ['b.time', 'better'], ['bytes', 'changed'], ['a.time', '']]);
});

test('twice the failures of twice the work are no worse, and four times are', () => {
  const doubled = {work: [100, 200]};
  assert.deepEqual(verdictsOf([named('x.failed.timeout', 2, 4)], doubled), [['x.failed.timeout', 'changed']]);
  assert.deepEqual(verdictsOf([named('responses.5xx', 2, 10)], doubled), [['responses.5xx', 'worse']]);
});

test('how much was done is neither better nor worse', () => {
  for (const after of [200, 20]) assert.equal(judged('successes', [100, after], {work: [100, after], load: [8, 8]}), '', after);
  assert.deepEqual(verdictsOf([named('responses.2xx', 100, 20)]), [['responses.2xx', 'changed']]);
});

test('new failures are worse, and work that one side alone did is other work', () => {
  assert.deepEqual(verdictsOf([named('x.failed.timeout', 0, 2), named('responses.2xx', 0, 2)], {only: [['x.failed.timeout', B], ['responses.2xx', B]]}),
    [['x.failed.timeout', 'worse'], ['responses.2xx', 'changed']]);
});

test('what is closed in the end is no failure, and what timed out is', () => {
  assert.deepEqual(verdictsOf([named('connections.closed', 1, 9), named('reasons.login.timeout', 1, 5)]), [['reasons.login.timeout', 'worse'], ['connections.closed', 'changed']]);
});

test('what is not marked says why', () => {
  const texts = (finding) => rowsOf([comparing([named('a.time', 10, 20, {is_significant: false, finding})])])[0].cells[0].text;
  assert.deepEqual(['unclear', 'below_least', 'too_few_samples', 'not_comparable'].map(texts), ['unclear', 'below 3 %', 'too few slices', 'not comparable']);
});

test('a name that comparisons test by different quantities has a row of each', () => {
  const ofValues = named('a.time', 4, 0, {tested: 'rate', quantity: 'values/s'});
  const rows = rowsOf([comparing([named('a.time', 10, 20)]), comparing([ofValues])]);
  assert.deepEqual(rows.map(({quantity, first, cells}) => [quantity, first, cells.map(Boolean)]), [['mean ms', 10, [true, false]], ['values/s', 4, [false, true]]]);
});
