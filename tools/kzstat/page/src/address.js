// The span that a reader looks at, in the address as #FROM-TO in seconds of the run: a link to it shows the same.

const number = (value) => String(Number(value.toFixed(3)));

export function spanInAddress() {
  const found = /^#(\d+(?:\.\d+)?)-(\d+(?:\.\d+)?)$/.exec(location.hash);
  if (!found) return null;
  const [from, to] = [Number(found[1]), Number(found[2])];
  return from < to ? [from, to] : null;
}

const addressOf = (span) => (span ? `#${span.map(number).join('-')}` : location.pathname + location.search);

// The way back leads to what was looked at before.
export function tellAddress(span) {
  if (span ? addressOf(span) !== location.hash : location.hash) history.pushState(null, '', addressOf(span));
}

export function replaceAddress(span) {
  history.replaceState(null, '', addressOf(span));
}
