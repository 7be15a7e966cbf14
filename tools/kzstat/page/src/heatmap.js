// The heat map of a name: how many values lie where, through time.

import {boundOf, bucketOf, logTicks} from './scale.js';

const FEWEST_ROWS = 12;
// That of infinite values, and its negative one. It lies beyond all others, and no map shows it.
const INFINITE_ROW = 2 ** 24;
const isDrawn = ([row]) => Math.abs(row) < INFINITE_ROW;

// The cells of a column as [row, count]: the first number is a row, a negative one skips rows.
export function cellsOf(column) {
  if (!column || column.length === 0) return [];
  const cells = [];
  let row = column[0];
  for (const number of column.slice(1)) {
    if (number > 0) cells.push([row, number]);
    row += number > 0 ? 1 : -number;
  }
  return cells;
}

function extent(rows) {
  return rows.length === 0 ? null : [Math.min(...rows), Math.max(...rows)];
}

const range = ([first, last]) => [...Array(last - first + 1).keys()].map((i) => first + i);

// All rows from the lowest to the highest, without those between zero and the values next to it.
// A few rows are not blown up to the whole height.
function rowsOf(cells) {
  const used = [...new Set(cells.flat().map(([row]) => row))];
  const below = extent(used.filter((row) => row < 0));
  const above = extent(used.filter((row) => row > 0));
  const rows = [...(below ? range(below) : []), ...(used.includes(0) ? [0] : []), ...(above ? range(above) : [])];
  const missing = Math.ceil(Math.max(0, FEWEST_ROWS - rows.length) / 2);
  if (above && !below) {
    const first = Math.max(1, above[0] - missing);
    return [...(used.includes(0) ? [0] : []), ...range([first, above[1] + missing])];
  }
  return rows;
}

// The values of a row; both bounds are 0 for zero.
export function boundsOfRow(row, rowHeight) {
  if (Math.abs(row) === INFINITE_ROW) return [row * Infinity, row * Infinity];
  const inner = boundOf((Math.abs(row) - 1) * rowHeight);
  const outer = boundOf(Math.abs(row) * rowHeight);
  if (row === 0) return [0, 0];
  return row > 0 ? [inner, outer] : [-outer, -inner];
}

export class HeatMap {
  constructor({rowHeight, columns}) {
    this.rowHeight = rowHeight;
    const cells = columns.map((column) => cellsOf(column).filter(isDrawn));
    this.columns = cells.map((column) => new Map(column));
    this.totals = cells.map((column) => column.reduce((sum, [, count]) => sum + count, 0));
    this.most = cells.flat().reduce((most, [, count]) => Math.max(most, count), 0);
    this.rows = rowsOf(cells);
    this.positions = new Map(this.rows.map((row, i) => [row, i]));
  }

  boundsOf(row) {
    return boundsOfRow(row, this.rowHeight);
  }

  // Where a value lies between the rows, which have a height of 1.
  positionOf(value) {
    if (value === 0) return this.positions.get(0) + 0.5;
    const distance = bucketOf(Math.abs(value)) / this.rowHeight;
    if (value < 0) return -distance - this.rows[0];
    const first = this.rows.find((row) => row > 0);
    return this.positions.get(first) + distance - (first - 1);
  }

  // At most so many round values, as [value, position]. None is near zero, which comes first.
  ticks(most) {
    const all = [...(this.positions.has(0) ? [0] : []), ...this.ticksBeside(1, most), ...this.ticksBeside(-1, most)];
    const distance = this.rows.length / most;
    const kept = [];
    for (const value of all) {
      const position = this.positionOf(value);
      if (kept.every(([, other]) => Math.abs(position - other) >= distance / 2)) kept.push([value, position]);
    }
    return kept.sort(([a], [b]) => a - b);
  }

  // Those above zero, or below it.
  ticksBeside(sign, most) {
    const distances = this.rows.map((row) => sign * row).filter((row) => row > 0);
    if (distances.length === 0) return [];
    const [low, high] = [Math.min(...distances), Math.max(...distances)].map((row, i) => this.boundsOf(row)[i]);
    const share = Math.max(2, Math.round((most * distances.length) / this.rows.length));
    return logTicks(low, high, share).map((value) => sign * value);
  }

  // A picture of a pixel per cell. The colours are those of counts on a logarithmic scale, since a
  // single slow value must be seen beside thousands of ordinary ones.
  picture(colours) {
    const canvas = document.createElement('canvas');
    canvas.width = Math.max(1, this.columns.length);
    canvas.height = Math.max(1, this.rows.length);
    const context = canvas.getContext('2d');
    const image = context.createImageData(canvas.width, canvas.height);
    this.columns.forEach((column, x) => {
      for (const [row, count] of column) {
        const y = canvas.height - 1 - this.positions.get(row);
        image.data.set(colours[this.shade(count, colours.length)], (y * canvas.width + x) * 4);
      }
    });
    context.putImageData(image, 0, 0);
    return canvas;
  }

  shade(count, shades) {
    const height = this.most > 1 ? Math.log(count) / Math.log(this.most) : 1;
    return Math.round(height * (shades - 1));
  }
}

// 256 colours between those of the theme, as [red, green, blue, opacity].
export function shadesOf(colours) {
  const strip = document.createElement('canvas');
  strip.width = 256;
  strip.height = 1;
  const context = strip.getContext('2d', {willReadFrequently: true});
  const gradient = context.createLinearGradient(0, 0, 255, 0);
  colours.forEach((colour, i) => gradient.addColorStop(i / (colours.length - 1), colour));
  context.fillStyle = gradient;
  context.fillRect(0, 0, 256, 1);
  const {data} = context.getImageData(0, 0, 256, 1);
  return [...Array(256).keys()].map((i) => [...data.slice(4 * i, 4 * i + 4)]);
}
