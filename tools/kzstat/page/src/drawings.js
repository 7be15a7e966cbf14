// What is drawn of the names: a card each, but counters of one kind over each other in one card, and equal drawings once.

const MOST_STACKED = 8;
const COUNTERS = new Set(['Counter', 'TransactionCounter', 'TransactionReasonCounter']);

export const prefixOf = (name) => name.split('.', 1)[0] || name;

const parentOf = (name) => name.slice(0, Math.max(0, name.lastIndexOf('.')));

// The counters whose names differ in their last part only, where they are few enough to tell apart.
function stacksOf(names) {
  const families = new Map();
  for (const name of names.filter(({type}) => COUNTERS.has(type))) {
    const parent = parentOf(name.name);
    if (parent) families.set(parent, [...(families.get(parent) ?? []), name]);
  }
  return new Map([...families].filter(([, members]) => members.length > 1 && members.length <= MOST_STACKED));
}

// Cheap to compare before the courses themselves are.
const fingerprint = ({type, unit, isLevel, figures}) => [unit, isLevel, type === 'LoadSize', figures.count, figures.rate, figures.max, figures.mean].join();

// Compares what is drawn of names; what it made of a name serves for all others.
function comparison() {
  const texts = new Map();
  const textOf = (name) => {
    if (!texts.has(name)) texts.set(name, JSON.stringify([name.course, name.heat]));
    return texts.get(name);
  };
  return (a, b) => textOf(a) === textOf(b);
}

// A drawing is {key, names, isStack}. The names of one that is no stack look alike.
export function drawingsOf(names) {
  const stacks = stacksOf(names);
  const stacked = new Set([...stacks.values()].flat());
  const drawings = [...stacks].map(([parent, members]) => ({key: `${parent}.*`, prefix: parent, names: members, isStack: true}));
  const alike = new Map();
  const looksEqual = comparison();
  for (const name of names) {
    if (stacked.has(name)) continue;
    const mark = fingerprint(name);
    const equal = alike.get(mark)?.find((drawing) => looksEqual(drawing.names[0], name));
    if (equal) {
      equal.names.push(name);
      continue;
    }
    const drawing = {key: name.name, prefix: parentOf(name.name), names: [name], isStack: false};
    alike.set(mark, [...(alike.get(mark) ?? []), drawing]);
    drawings.push(drawing);
  }
  return drawings;
}
