// Charts, in groups of cards that the reader unfolds. A chart exists only while its card is near the screen:
// hundreds of canvases would take more memory than a browser has.

import {Card} from './card.js';
import {prefixOf} from './drawings.js';
import {compare} from './table.js';

const NEAR_THE_SCREEN = '400px';
// Cards of a run that is printed although all are folded.
const MOST_PRINTED_FOLDED = 24;

class Group {
  constructor(prefix) {
    this.prefix = prefix;
    this.element = document.createElement('details');
    this.element.className = 'group';
    this.element.dataset.group = prefix;
    const summary = document.createElement('summary');
    this.title = document.createElement('b');
    this.title.textContent = prefix;
    this.content = document.createElement('span');
    summary.append(this.title, this.content);
    this.cards = document.createElement('div');
    this.cards.className = 'charts';
    this.element.append(summary, this.cards);
  }

  describe(names) {
    const rests = names.map((name) => name.slice(this.prefix.length)).join(' ');
    const text = names.length > 1 ? `${names.length} names: ${rests}` : rests;
    if (this.content.textContent !== text) this.content.textContent = text;
  }
}

export class Charts {
  // `drawingsOf(names)` tells what a card each is of; `plotsOf(drawing, view)` makes the plots of one.
  constructor(container, drawingsOf, plotsOf) {
    this.container = container;
    this.drawingsOf = drawingsOf;
    this.plotsOf = plotsOf;
    this.groups = new Map();
    this.cards = new Map();
    this.cardOf = new Map();
    this.near = new Set();
    this.ids = 0;
    this.foldingBeforeSearch = null;
    this.observer = new IntersectionObserver((entries) => this.moved(entries), {rootMargin: NEAR_THE_SCREEN});
    new ResizeObserver(() => this.resize()).observe(container);
  }

  // Cards that are all in one group need no folding.
  show(view) {
    const isFirst = this.cards.size === 0;
    this.view = view;
    const drawings = this.drawingsOf(view.run.names).sort((a, b) => compare(a.key, b.key));
    const keys = new Set(drawings.map(({key}) => key));
    for (const key of [...this.cards.keys()]) if (!keys.has(key)) this.remove(key);
    this.cardOf.clear();
    for (const drawing of drawings) {
      const card = this.cards.get(drawing.key) ?? this.add(drawing);
      card.show(drawing);
      for (const {name} of drawing.names) this.cardOf.set(name, card);
    }
    if (isFirst && this.groups.size === 1) this.unfold(true);
    this.describe(view.run.names);
    this.update();
  }

  update() {
    for (const card of this.near) card.update(this.view);
  }

  describe(names) {
    const byGroup = new Map();
    for (const {name} of names) byGroup.set(prefixOf(name), [...(byGroup.get(prefixOf(name)) ?? []), name]);
    for (const [prefix, group] of this.groups) group.describe(byGroup.get(prefix) ?? []);
  }

  // Behind those that are there, so that these stay where they are.
  add(drawing) {
    const card = new Card(drawing, `card-${++this.ids}`, this.plotsOf);
    this.cards.set(drawing.key, card);
    this.groupOf(drawing.names[0].name).cards.append(card.element);
    this.observer.observe(card.element);
    return card;
  }

  remove(key) {
    const card = this.cards.get(key);
    card.erase();
    this.observer.unobserve(card.element);
    this.near.delete(card);
    card.element.remove();
    this.cards.delete(key);
  }

  groupOf(name) {
    const prefix = prefixOf(name);
    if (!this.groups.has(prefix)) {
      const group = new Group(prefix);
      this.groups.set(prefix, group);
      this.container.append(group.element);
    }
    return this.groups.get(prefix);
  }

  // Shows the cards that have any of these names.
  filter(names) {
    const chosen = new Set(names);
    for (const card of this.cards.values()) card.element.hidden = !card.drawing.names.some(({name}) => chosen.has(name));
    for (const {element, cards} of this.groups.values()) element.hidden = [...cards.children].every(({hidden}) => hidden);
  }

  unfold(areOpen) {
    for (const {element} of this.groups.values()) element.open = areOpen;
  }

  // Which groups are folded, for `foldAs`.
  folding() {
    return [...this.groups.values()].map(({element}) => [element, element.open]);
  }

  foldAs(folding) {
    for (const [element, wasOpen] of folding) element.open = wasOpen;
  }

  // What is searched for is not folded; afterwards all is as it was before.
  unfoldForSearch(isSearching) {
    if (isSearching) {
      this.foldingBeforeSearch ??= this.folding();
      this.unfold(true);
    } else if (this.foldingBeforeSearch) {
      this.foldAs(this.foldingBeforeSearch);
      this.foldingBeforeSearch = null;
    }
  }

  // Brings the card of a name before the reader.
  reveal(name) {
    const {element} = this.cardOf.get(name);
    element.closest('details').open = true;
    element.scrollIntoView({block: 'start'});
    element.focus({preventScroll: true});
  }

  moved(entries) {
    for (const {target, isIntersecting} of entries) {
      const card = this.cards.get(target.dataset.name);
      if (!card) continue;
      if (isIntersecting && !this.near.has(card)) card.draw(this.view);
      if (!isIntersecting) card.erase();
      if (isIntersecting) this.near.add(card);
      else this.near.delete(card);
    }
  }

  redraw(view) {
    this.view = view;
    for (const card of this.near) card.draw(view);
  }

  resize() {
    for (const card of this.near) card.resize();
  }

  // Draws every card that is shown and unfolded, wherever it is, until `drawNear` is called; those of a small run also
  // where all are folded. Returns the names that are left out. Widths are asked for at once, since each question after
  // a change lays the page out.
  drawForPaper() {
    this.observer.disconnect();
    this.foldingBefore = this.folding();
    const offered = [...this.cards.values()].filter(({element}) => !element.hidden);
    const isUnfolded = ({element}) => element.closest('details').open;
    if (offered.length <= MOST_PRINTED_FOLDED && !offered.some(isUnfolded)) this.unfold(true);
    const printed = new Set(offered.filter(isUnfolded));
    const widths = [...printed].map((card) => card.width());
    [...printed].forEach((card, i) => card.draw(this.view, widths[i]));
    const leftOut = [...this.cards.values()].filter((card) => !printed.has(card));
    return leftOut.flatMap(({drawing}) => drawing.names);
  }

  drawNear() {
    this.near.clear();
    this.foldAs(this.foldingBefore);
    for (const card of this.cards.values()) {
      card.erase();
      this.observer.observe(card.element);
    }
  }
}
