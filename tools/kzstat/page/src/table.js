// A table of rows that have a name: sorted by a column, in place as its figures change.
//
// A column has: `key`; `title`; `value(row)`, which it sorts by; `text(row)`; optionally `hint(row)`; `state(row)`, which
// colours the cell; `csv(row)`, if that is not the value; `isText` if it holds no numbers; `hasUnit` if they have the unit of the table; `isMinor` if a
// narrow screen does without it. The first one heads the rows.

import {csvOf} from './exports.js';

// step.9 comes before step.10.
const texts = new Intl.Collator('en', {numeric: true});

export const compare = (a, b) => (typeof a === 'string' ? texts.compare(a, b) : a - b);

const isNothing = (value) => value === null || value === undefined;

function markCell(cell, {key, isText, isMinor, kind}) {
  cell.dataset.column = key;
  cell.classList.toggle('text', Boolean(isText));
  cell.classList.toggle('minor', Boolean(isMinor));
  if (kind) cell.classList.add(kind);
}

class Row {
  constructor(name, columns, onChosen) {
    this.element = document.createElement('tr');
    this.element.dataset.name = name;
    this.columns = columns;
    this.cells = columns.map((column, i) => this.addCell(column, i === 0));
    if (onChosen) this.link = this.addLink(onChosen);
  }

  addCell(column, isHeading) {
    const cell = document.createElement(isHeading ? 'th' : 'td');
    if (isHeading) cell.scope = 'row';
    markCell(cell, column);
    this.element.append(cell);
    return cell;
  }

  addLink(onChosen) {
    const link = document.createElement('a');
    link.href = '#details';
    link.addEventListener('click', (event) => {
      event.preventDefault();
      onChosen(this.row);
    });
    this.cells[0].append(link);
    return link;
  }

  show(row) {
    this.row = row;
    this.cells[0].dataset.unit = row.unit ?? '';
    this.columns.forEach((column, i) => {
      const place = i === 0 && this.link ? this.link : this.cells[i];
      const text = column.text(row);
      if (place.textContent !== text) place.textContent = text;
      const hint = column.hint?.(row) ?? '';
      if (this.cells[i].title !== hint) this.cells[i].title = hint;
      if (column.state) this.cells[i].dataset.state = column.state(row);
    });
  }
}

export class Table {
  // `order` is what it is sorted by until the reader chooses a column.
  constructor(table, columns, {column = null, order = null, onSorted = () => this.arrange(), onChosen = null} = {}) {
    this.table = table;
    this.columns = columns;
    this.head = table.tHead.rows[0];
    this.body = table.tBodies[0];
    this.rows = new Map();
    this.column = columns.find(({key}) => key === column) ?? null;
    this.order = order;
    this.isDescending = false;
    this.onSorted = onSorted;
    this.onChosen = onChosen;
    this.shown = [];
    for (const each of columns) this.head.append(this.heading(each));
    this.showOrder();
  }

  heading(column) {
    const cell = document.createElement('th');
    cell.scope = 'col';
    markCell(cell, column);
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = column.title;
    button.addEventListener('click', () => this.sortBy(column));
    cell.append(button);
    return cell;
  }

  // The first click on a number puts the largest on top.
  sortBy(column) {
    this.isDescending = column === this.column ? !this.isDescending : !column.isText;
    this.column = column;
    this.showOrder();
    this.onSorted();
  }

  showOrder() {
    for (const cell of this.head.cells) cell.removeAttribute('aria-sort');
    if (this.column) this.head.querySelector(`[data-column="${this.column.key}"]`).ariaSort = this.isDescending ? 'descending' : 'ascending';
  }

  // Rows without a value come last either way.
  sorted(rows) {
    if (!this.column) return [...rows].sort(this.order);
    const {value} = this.column;
    const has = (row) => !isNothing(value(row));
    const order = (a, b) => compare(value(a), value(b)) * (this.isDescending ? -1 : 1);
    return [...rows.filter(has).sort(order), ...rows.filter((row) => !has(row))];
  }

  show(rows) {
    this.shown = rows;
    for (const row of rows) {
      if (!this.rows.has(row.name)) this.rows.set(row.name, new Row(row.name, this.columns, this.onChosen));
      this.rows.get(row.name).show(row);
    }
  }

  // Shows these rows in this order. Rows that stay where they are keep the reader's focus and place.
  arrange(rows = this.sorted(this.shown)) {
    let next = this.body.firstElementChild;
    for (const {name} of rows) {
      const {element} = this.rows.get(name);
      if (element === next) next = next.nextElementSibling;
      else this.body.insertBefore(element, next);
    }
    while (next) {
      const gone = next;
      next = next.nextElementSibling;
      gone.remove();
    }
  }

  // Tells the unit of all rows in the headings.
  tellUnit(unit) {
    for (const {key, title, hasUnit} of this.columns)
      this.head.querySelector(`[data-column="${key}"] button`).textContent = hasUnit && unit ? `${title}, ${unit}` : title;
  }

  // Shows columns of this kind, or hides them.
  offer(kind, isOffered) {
    this.table.classList.toggle(`without-${kind}`, !isOffered);
  }

  // The rows as they stand, with unrounded numbers; approximate ones are marked.
  csv() {
    const shown = [...this.body.rows].map(({dataset}) => this.rows.get(dataset.name).row);
    return csvOf([this.columns.map(({key}) => key), ...shown.map((row) => this.columns.map(({value, csv = value}) => csv(row)))]);
  }
}
