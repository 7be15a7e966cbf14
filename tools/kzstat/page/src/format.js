// Numbers and times for people.

const MOST_READABLE = 1e15;
const LEAST_READABLE = 1e-6;
const LEAST_LABELLED = 1e-4;
const DIGITS_OF_TICKS = 4;
const TICKS = new Intl.NumberFormat('en', {notation: 'compact', maximumSignificantDigits: DIGITS_OF_TICKS});

function decimalsOf(size) {
  if (Number.isInteger(size) || size >= 1000) return 0;
  if (size >= 100) return 1;
  if (size >= 1) return 2;
  let decimals = 3;
  for (let limit = 0.01; size < limit; limit /= 10) ++decimals;
  return decimals;
}

// Of two decimals that are as near, the even one; `toFixed` takes the larger. Percentiles are the
// middles of buckets, which are between two decimals often.
function fixed(size, decimals) {
  const isBetween = (size * 2 ** (decimals + 1)) % 2 === 1;
  const lower = Math.floor(size * 10 ** decimals);
  return isBetween ? ((lower + (lower % 2)) / 10 ** decimals).toFixed(decimals) : size.toFixed(decimals);
}

// As `kzstat show` writes them: as many decimals as the size deserves.
export function number(value) {
  if (value === null || value === undefined) return '–';
  const size = Math.abs(value);
  if (size === Infinity) return value < 0 ? '-∞' : '∞';
  const isReadable = size === 0 || (size >= LEAST_READABLE && size < MOST_READABLE);
  if (!isReadable) return value.toExponential(3).replace(/e-(\d)$/, 'e-0$1');
  return (value < 0 ? '-' : '') + fixed(size, decimalsOf(size));
}

// Of an axis, where round numbers stand: as short as it can be.
export function tick(value) {
  const size = Math.abs(value);
  const isShort = size === 0 || (size >= LEAST_LABELLED && size < MOST_READABLE);
  return isShort ? TICKS.format(value) : String(Number(value.toPrecision(DIGITS_OF_TICKS)).toExponential()).replace('+', '');
}

export function withUnit(value, unit) {
  return unit && value !== null && value !== undefined ? `${number(value)} ${unit}` : number(value);
}

// A share of one as a percentage.
export function percent(share) {
  return share === null || share === undefined ? number(null) : `${number(100 * share)} %`;
}

const two = (value) => String(value).padStart(2, '0');

const fraction = (milliseconds) => (milliseconds > 0 ? `.${String(milliseconds).padStart(3, '0').replace(/0+$/, '')}` : '');

// 3725 is 1:02:05.
export function elapsed(seconds) {
  const milliseconds = Math.round(seconds * 1000);
  const whole = Math.floor(milliseconds / 1000);
  const rest = milliseconds % 1000;
  const hours = Math.floor(whole / 3600);
  const minutes = Math.floor(whole / 60) % 60;
  const text = hours > 0 ? `${hours}:${two(minutes)}:${two(whole % 60)}` : `${minutes}:${two(whole % 60)}`;
  return text + fraction(rest);
}

const SECONDS = {s: 1, m: 60, h: 3600};

// "10s" and "1.5m", as the programs take them; NaN for anything else.
function secondsWithUnit(text) {
  const found = /^(\d+(?:\.\d+)?) *([smh])$/.exec(text);
  return found ? Number(found[1]) * SECONDS[found[2]] : NaN;
}

// What `elapsed` writes, plain seconds or those with a unit; NaN for anything else.
export function secondsIn(text) {
  const parts = text.trim().split(':');
  if (parts.length === 1 && !/\d$/.test(parts[0])) return secondsWithUnit(parts[0]);
  const areNumbers = parts.length <= 3 && parts.every((part) => /^\d+(\.\d+)?$/.test(part)) && parts.slice(1).every((part) => Number(part) < 60);
  return areNumbers ? parts.reduce((seconds, part) => seconds * 60 + Number(part), 0) : NaN;
}

export function duration(seconds) {
  if (seconds < 60) return `${number(seconds)} s`;
  const parts = [[Math.floor(seconds / 3600), 'h'], [Math.floor(seconds / 60) % 60, 'm'], [Math.floor(seconds % 60), 's']];
  const first = parts.findIndex(([amount]) => amount > 0);
  return parts.slice(first).map(([amount, unit]) => `${amount}${unit}`).join(' ');
}

export function clock(secondsSince1970) {
  const moment = new Date(secondsSince1970 * 1000);
  return `${moment.getFullYear()}-${two(moment.getMonth() + 1)}-${two(moment.getDate())} ` +
    `${two(moment.getHours())}:${two(moment.getMinutes())}:${two(moment.getSeconds())}`;
}

const DAY = 86400;

// The time of the clock at that moment of a run, to the millisecond; behind the first day with its date.
export function timeOfRun(seconds, start) {
  const milliseconds = Math.round((start + seconds) * 1000);
  const text = clock(milliseconds / 1000) + fraction(milliseconds % 1000);
  return seconds < DAY ? text.split(' ')[1] : text;
}

// Whether the clock shows it. The date may be missing.
function isOfClock([year, month, day, hours, minutes, seconds], hasDate) {
  const date = new Date(year, month - 1, day);
  return hours < 24 && minutes < 60 && seconds < 60 && (!hasDate || (date.getMonth() === month - 1 && date.getDate() === day));
}

// The moment of the run that `timeOfRun` writes so, or `secondsWithUnit` reads, in seconds; NaN for anything else.
export function secondsAtTime(text, start) {
  const found = /^(?:(\d{4})-(\d\d?)-(\d\d?) )?(\d\d?):(\d\d)(?::(\d\d(?:\.\d+)?))?$/.exec(text.trim());
  if (!found) return secondsWithUnit(text.trim());
  const [year, month, day, hours, minutes, seconds] = found.slice(1).map((part) => Number(part ?? 0));
  if (!isOfClock([year, month, day, hours, minutes, seconds], found[1])) return NaN;
  const first = new Date(start * 1000);
  const secondsOn = (...date) => Math.round((new Date(...date, hours, minutes).getTime() / 1000 + seconds - start) * 1000) / 1000;
  if (found[1]) return secondsOn(year, month - 1, day);
  const onDay = (number) => secondsOn(first.getFullYear(), first.getMonth(), first.getDate() + number);
  // Without its seconds, or a fraction of them, the start seems to be before itself.
  const precision = found[6] ? 1 : 60;
  return onDay(0) > -precision ? Math.max(0, onDay(0)) : onDay(1);
}

// A mark on an axis of the clock, `step` seconds from the next one. A day begins with its date.
export function clockTick(secondsSince1970, step) {
  const [date, time] = clock(secondsSince1970).split(' ');
  if (time === '00:00:00') return date.slice(5);
  if (step >= 60) return time.slice(0, 5);
  const fraction = secondsSince1970 % 1;
  return fraction > 0 && step < 1 ? time + fraction.toFixed(3).slice(1).replace(/0+$/, '') : time;
}

// A moment of an axis in full.
export const momentOf = (axis, value) => (axis === 'clock' ? clock(value) : elapsed(value));
