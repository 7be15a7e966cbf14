// The logarithmic scale of distributions: 128 buckets of equal width per power of two, and ticks on
// a scale of any kind.

const BUCKETS_PER_POWER = 128;
const EXPONENT_BIAS = 1023;
// From the fewest ticks to the most, within a power of ten.
const STEPS_OF_TEN = [[1], [1, 3], [1, 2, 5], [1, 1.5, 2, 3, 5, 7], [1, 1.5, 2, 2.5, 3, 4, 5, 6, 7, 8, 9]];

// The lower bound of a bucket above zero; finite behind the last one too.
export function boundOf(bucket) {
  const power = Math.floor(bucket / BUCKETS_PER_POWER);
  const bound = 2 ** (power - EXPONENT_BIAS) * (1 + (bucket % BUCKETS_PER_POWER) / BUCKETS_PER_POWER);
  return Math.min(bound, Number.MAX_VALUE);
}

// The bucket of a value above zero, and how far into it the value lies.
export function bucketOf(value) {
  let power = Math.floor(Math.log2(value));
  if (2 ** power > value) --power;
  return (power + EXPONENT_BIAS + value / 2 ** power - 1) * BUCKETS_PER_POWER;
}

function linearTicks(low, high, most) {
  const rough = (high - low) / most;
  const magnitude = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].find((factor) => factor * magnitude >= rough) * magnitude;
  const ticks = [];
  for (let i = Math.ceil(low / step); i * step <= high; ++i) ticks.push(Number((i * step).toPrecision(12)));
  return ticks;
}

function decadeTicks(low, high, steps) {
  const ticks = [];
  for (let power = Math.floor(Math.log10(low)); 10 ** power <= high; ++power) {
    for (const step of steps) {
      const value = Number(`${step}e${power}`);
      if (value >= low && value <= high) ticks.push(value);
    }
  }
  return ticks;
}

// Round values on a logarithmic axis from `low`, which is above zero, to `high`.
export function logTicks(low, high, most) {
  const fitting = STEPS_OF_TEN.map((steps) => decadeTicks(low, high, steps)).filter((ticks) => ticks.length <= most);
  const ticks = fitting.at(-1);
  // Many powers of ten: some of them; less than one: a linear axis in all but name.
  if (!ticks) return decadeTicks(low, high, [1]).filter((_, i, all) => i % Math.ceil(all.length / most) === 0);
  return ticks.length < 3 ? linearTicks(low, high, most) : ticks;
}
