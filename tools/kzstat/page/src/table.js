// The table of figures: a row per name.

import {number} from './format.js';

const PERCENTILES = ['p50', 'p95', 'p99'];
const NUMBERS = ['count', 'rate', 'min', 'mean', ...PERCENTILES, 'max', 'stddev', 'sum', 'last'];
const TITLES = {name: 'name', type: 'type', unit: 'unit', rate: 'rate/s'};
const COLUMNS = ['name', 'type', 'unit', ...NUMBERS];

// What rounding has left nothing of is told as a bound, as `kzstat show` does.
function deviation({stddev, stddevError}) {
  return stddev !== null && stddev <= stddevError ? `<${number(stddevError)}` : number(stddev);
}

function text(name, column) {
  return column === 'stddev' ? deviation(name.figures) : number(name.figures[column]);
}

function valueOf(name, column) {
  return NUMBERS.includes(column) ? name.figures[column] : name[column];
}

// step.9 comes before step.10.
const texts = new Intl.Collator('en', {numeric: true});

const compare = (a, b) => (typeof a === 'string' ? texts.compare(a, b) : a - b);

function markCell(cell, column) {
  cell.dataset.column = column;
  cell.classList.toggle('text', !NUMBERS.includes(column));
  cell.classList.toggle('percentile', PERCENTILES.includes(column));
}

class Row {
  constructor(name, link) {
    this.element = document.createElement('tr');
    this.element.dataset.name = name.name;
    const heading = document.createElement('th');
    heading.scope = 'row';
    heading.className = 'text';
    const anchor = document.createElement('a');
    anchor.href = `#${link}`;
    anchor.textContent = name.name;
    heading.append(anchor);
    this.element.append(heading);
    this.cells = new Map(COLUMNS.slice(1).map((column) => [column, this.addCell(column)]));
  }

  addCell(column) {
    const cell = document.createElement('td');
    markCell(cell, column);
    this.element.append(cell);
    return cell;
  }

  show(name) {
    this.cells.get('type').textContent = name.type;
    this.cells.get('unit').textContent = name.unit;
    for (const column of NUMBERS) {
      const cell = this.cells.get(column);
      const value = name.figures[column];
      cell.textContent = text(name, column);
      cell.title = value === null ? '' : String(value);
    }
  }
}

export class Table {
  constructor(table, onSorted) {
    this.table = table;
    this.head = table.tHead.rows[0];
    this.body = table.tBodies[0];
    this.rows = new Map();
    this.column = 'name';
    this.isDescending = false;
    this.onSorted = onSorted;
    for (const column of COLUMNS) this.head.append(this.heading(column));
    this.showOrder();
  }

  heading(column) {
    const cell = document.createElement('th');
    cell.scope = 'col';
    markCell(cell, column);
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = TITLES[column] ?? column;
    button.addEventListener('click', () => this.sortBy(column));
    cell.append(button);
    return cell;
  }

  // The first click on a number puts the largest on top.
  sortBy(column) {
    this.isDescending = column === this.column ? !this.isDescending : NUMBERS.includes(column);
    this.column = column;
    this.showOrder();
    this.onSorted();
  }

  showOrder() {
    for (const cell of this.head.cells) cell.removeAttribute('aria-sort');
    this.head.querySelector(`[data-column="${this.column}"]`).ariaSort = this.isDescending ? 'descending' : 'ascending';
  }

  // Names without a value come last either way.
  sorted(names) {
    const has = (name) => valueOf(name, this.column) !== null;
    const order = (a, b) => compare(valueOf(a, this.column), valueOf(b, this.column)) * (this.isDescending ? -1 : 1);
    return [...names.filter(has).sort(order), ...names.filter((name) => !has(name))];
  }

  show(names, linkOf) {
    const hasPercentiles = names.some(({figures}) => figures.p50 !== null);
    this.table.classList.toggle('without-percentiles', !hasPercentiles);
    for (const name of names) {
      let row = this.rows.get(name.name);
      if (!row) {
        row = new Row(name, linkOf(name.name));
        this.rows.set(name.name, row);
        this.body.append(row.element);
      }
      row.show(name);
    }
  }

  // Shows the rows of these names, in this order. Rows that stay keep the reader's focus.
  arrange(names) {
    const rows = names.map((name) => this.rows.get(name).element);
    const isArranged = rows.length === this.body.rows.length && rows.every((row, i) => row === this.body.rows[i]);
    if (!isArranged) this.body.replaceChildren(...rows);
  }
}
