// How names belong together. Work X that is timed has the times of its failures as X.failed, how
// often each cause made it fail as X.failed.CAUSE, and how often it was cut off as X.abandoned.

const TIMERS = new Set(['Timer', 'TransactionTimer']);
const FAILED = '.failed';
const ABANDONED = '.abandoned';
const RUNNING = '.running';

const isTimer = ({type}) => TIMERS.has(type);
const workOf = (name) => (name.endsWith(FAILED) ? name.slice(0, -FAILED.length) : name);

function causesByWork(names) {
  const causes = new Map();
  for (const name of names) {
    const at = name.name.indexOf(`${FAILED}.`);
    if (at < 0) continue;
    const work = name.name.slice(0, at);
    causes.set(work, [...(causes.get(work) ?? []), name]);
  }
  return causes;
}

// All work that is timed; one of `times` and `failed` may be null.
export function operationsOf(names) {
  const byName = new Map(names.map((name) => [name.name, name]));
  const causes = causesByWork(names);
  const works = new Set(names.filter(isTimer).map(({name}) => workOf(name)));
  const timer = (name) => (byName.has(name) && isTimer(byName.get(name)) ? byName.get(name) : null);
  return [...works].map((name) => ({
    name,
    times: timer(name),
    failed: timer(name + FAILED),
    abandoned: byName.get(name + ABANDONED) ?? null,
    causes: causes.get(name) ?? [],
    isWatched: byName.has(name + RUNNING),
  }));
}

const valuesOf = ({times, failed}) => (times?.figures.count ?? 0) + (failed?.figures.count ?? 0);

// Whether failures have names of their own; otherwise nothing is known about them.
export const tellsFailures = (operations) => operations.some(({failed, abandoned, isWatched}) => failed || abandoned || isWatched);

// What the tiles call it.
export const nounOf = ({name}) => (/^requests?(\.|$)/.test(name) ? 'requests' : 'values');

// A run of requests to one page has as many under the name of the page.
const byImportance = (one, other) => valuesOf(one) - valuesOf(other) || Number(nounOf(one) === 'requests') - Number(nounOf(other) === 'requests');

// What the run was about: the work that was done most often, of that whose outcome is told if there is any.
export function mainOperation(operations) {
  const told = operations.filter((operation) => tellsFailures([operation]));
  const candidates = told.length > 0 ? told : operations;
  return candidates.reduce((most, each) => (most && byImportance(most, each) >= 0 ? most : each), null);
}

const MOST_COUNTERS = 3;

// What a run that times nothing was about: the counters that counted most. There are more bytes than anything.
export function mainCounters(names) {
  const byImportance = (a, b) => Number(a.unit !== '') - Number(b.unit !== '') || b.figures.sum - a.figures.sum;
  return names.filter(({figures}) => figures.sum > 0).sort(byImportance).slice(0, MOST_COUNTERS);
}

export const counterLabel = ({name, unit}) => (unit ? `${name}, ${unit}` : name);

// Outcomes that everybody reads alike have a colour of their own. The bad ones come first, at the bottom of a stack,
// where their size is seen best.
const MEANINGS = [
  ['server-error', /^(https?-)?5(xx|\d\d)$/i],
  ['no-answer', /^(timeout|connect|closed|exception)$/i],
  ['client-error', /^(https?-)?4(xx|\d\d)$/i],
  ['redirect', /^(https?-)?3(xx|\d\d)$/i],
  ['ok', /^(ok|(https?-)?2(xx|\d\d))$/i],
];

// The place of an outcome in a stack, -1 for one without a meaning, and what it means.
export const rankOf = (label) => MEANINGS.findIndex(([, pattern]) => pattern.test(label));
export const meaningOf = (label) => MEANINGS[rankOf(label)]?.[0];
