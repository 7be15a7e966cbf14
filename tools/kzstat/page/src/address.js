// The span that a reader looks at, in the address as #FROM-TO in seconds of the run: a link to it shows the same.

const number = (value) => String(Number(value.toFixed(3)));

export function spanInAddress() {
  const found = /^#(\d+(?:\.\d+)?)-(\d+(?:\.\d+)?)$/.exec(location.hash);
  if (!found) return null;
  const [from, to] = [Number(found[1]), Number(found[2])];
  return from < to ? [from, to] : null;
}

export function tellAddress(span) {
  const hash = span ? `#${span.map(number).join('-')}` : '';
  if (hash !== location.hash) history.replaceState(null, '', hash || location.pathname + location.search);
}
