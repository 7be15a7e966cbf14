// A browser, and what a reader sees in it.

import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {after, before} from 'node:test';
import {lastRecords} from './runs.mjs';

const {chromium} = createRequire(`${process.env.PACKAGES}/package.json`)('playwright-core');

const PATIENCE = 15_000;  // milliseconds

// One browser for all tests of a file, since it takes seconds to start.
let browser;
before(async () => { browser = await chromium.launch({executablePath: process.env.CHROMIUM}); });
after(() => browser.close());

// A page whose errors fail the test. It is high, since charts are drawn near the screen only.
export async function newPage(test, options = {}) {
  const page = await browser.newPage({viewport: {width: 1280, height: 3500}, ...options});
  page.setDefaultTimeout(PATIENCE);
  page.on('pageerror', (error) => { throw error; });
  test.after(() => page.close());
  return page;
}

// The page with all of its charts unfolded, once it has drawn some.
export async function open(test, url, options) {
  const page = await newPage(test, options);
  await page.goto(url);
  await page.waitForSelector('.group');
  await page.getByRole('button', {name: 'Unfold all'}).click();
  await page.waitForSelector('.card canvas');
  return page;
}

// Waits until the page has the slice, which it counts.
export async function hasSlices(page, count) {
  await page.locator('#subtitle').getByText(new RegExp(`· ${count} slices? `)).waitFor();
}

// What a tile says.
export const tile = (page, label) => page.locator('.tile').filter({has: page.getByText(label, {exact: true})}).locator('b').textContent();

export function cell(page, name, column) {
  return page.locator('#table tbody tr').filter({has: page.getByRole('link', {name, exact: true})}).locator(`[data-column="${column}"]`);
}

// The value behind a cell, in full.
export async function figure(page, name, column) {
  const text = await cell(page, name, column).getAttribute('title');
  return text ? Number(text) : null;
}

export async function assertFiguresOf(page, path) {
  for (const [name, record] of lastRecords(path)) {
    if (record.type === 'Counter') {
      for (const column of ['count', 'sum']) assert.equal(await figure(page, name, column), record.sum, `${column} of ${name}`);
      assert.equal(await figure(page, name, 'max'), null, `max of ${name}`);
      continue;
    }
    assert.equal(await figure(page, name, 'min'), record.minimum, `min of ${name}`);
    assert.equal(await figure(page, name, 'max'), record.maximum, `max of ${name}`);
    assert.equal(await figure(page, name, 'mean'), record.average, `mean of ${name}`);
    if (record.type === 'Timer') assert.equal(await figure(page, name, 'count'), record.count, `count of ${name}`);
  }
}

export function plot(page, name, title) {
  return page.getByRole('img', {name: `${name}, ${title}`, exact: true});
}

// What the tooltip says where the pointer is at these parts of the plot's width and height.
export async function tooltip(page, name, title, [right, down]) {
  const area = plot(page, name, title).locator('.u-over');
  await area.scrollIntoViewIfNeeded();
  const {width, height} = await area.boundingBox();
  const inside = (part, size) => Math.max(1, Math.min(part * size, size - 1));
  await area.hover({position: {x: inside(right, width), y: inside(down, height)}});
  const element = page.locator('.tooltip');
  await element.waitFor();
  const [labels, values] = [await element.locator('dt').allTextContents(), await element.locator('dd').allTextContents()];
  return {title: await element.locator('b').textContent(), ...Object.fromEntries(labels.map((label, i) => [label, values[i]]))};
}

// The file that a click saves.
export async function saved(page, click) {
  const [download] = await Promise.all([page.waitForEvent('download'), click()]);
  return {name: download.suggestedFilename(), bytes: readFileSync(await download.path())};
}

// How many different colours the plot's canvas has.
export function coloursOf(page, name, title) {
  return plot(page, name, title).locator('canvas').evaluate((canvas) => {
    const {data} = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    return new Set(new Uint32Array(data.buffer)).size;
  });
}

// How many pixels of the card's first canvas are of the colour of the lines, within these parts of
// its width.
export function drawnPixels(page, name, from = 0, to = 1) {
  return page.locator('.card').filter({has: page.getByRole('heading', {name})}).locator('canvas').first().evaluate((canvas, [first, last]) => {
    const probe = document.createElement('canvas').getContext('2d');
    probe.fillStyle = getComputedStyle(document.documentElement).getPropertyValue('--accent');
    probe.fillRect(0, 0, 1, 1);
    const [red, green, blue] = probe.getImageData(0, 0, 1, 1).data;
    const left = Math.round(first * canvas.width);
    const {data} = canvas.getContext('2d').getImageData(left, 0, Math.round(last * canvas.width) - left, canvas.height);
    let count = 0;
    for (let i = 0; i < data.length; i += 4) {
      if (data[i] === red && data[i + 1] === green && data[i + 2] === blue && data[i + 3] === 255) ++count;
    }
    return count;
  }, [from, to]);
}
