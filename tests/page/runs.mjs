// Journals to show, and the program that shows them.

import assert from 'node:assert/strict';
import {spawn, spawnSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {dirname, join} from 'node:path';
import {createInterface} from 'node:readline';

const {KZSTAT, JOURNALMAKER} = process.env;
export const START = 1.7e9;

// What would break out of a page, a label or a cell that does not take care.
export const NASTY = '</script><img src=x onerror=alert(1)>"\'\\ é';

export function temporaryFolder(test) {
  const folder = mkdtempSync(join(tmpdir(), 'page.'));
  test.after(() => rmSync(folder, {recursive: true}));
  return folder;
}

// A run that is being written.
export class Journal {
  constructor(test, start = START, conditions = []) {
    this.path = join(temporaryFolder(test), 'run.kzj');
    this.process = spawn(JOURNALMAKER, [this.path, 'shop', String(start), '1', ...conditions], {stdio: ['pipe', 'pipe', 'inherit']});
    this.lines = createInterface({input: this.process.stdout})[Symbol.asyncIterator]();
    test.after(() => this.process.kill());
  }

  // Keeps a slice of {name: [type, ...values]}; returns once it is on the disk.
  async slice(reported) {
    for (const [name, [type, ...values]] of Object.entries(reported)) this.tell('value', name, type, ...values);
    this.tell('slice');
    return Number((await this.lines.next()).value);
  }

  // Ends a slice that is not kept.
  lose() {
    this.tell('lose');
  }

  // From now on slices show the distributions of these names, of all if there are none.
  showDistributions(...names) {
    this.tell('distributions', ...names);
  }

  async end() {
    this.tell('end');
    this.process.stdin.end();
    await new Promise((resolve) => this.process.once('exit', resolve));
  }

  tell(...fields) {
    this.process.stdin.write(`${fields.join('\t')}\n`);
  }
}

export const shop = (slice) => ({
  'clients': ['LoadSize', Math.min(20, slice)],
  'page.time': ['Timer', 20 + slice % 7, 35.5, 60.25 + slice % 11],
  'pages.sent': ['Counter', slice, 3],
  'queue.length': ['Measurement', Math.abs(30 * Math.sin(slice / 5))],
  [NASTY]: ['Counter', 1],
});

export async function shopRun(test, slices) {
  const journal = new Journal(test);
  for (let slice = 1; slice <= slices; ++slice) await journal.slice(shop(slice));
  await journal.end();
  return journal.path;
}

// Response times that spread, more with each slice; those of `background.time` come without
// distributions, and nobody signs in before slice 5 and after slice 20.
export const spread = (slice) => ({
  'clients': ['LoadSize', Math.min(20, slice)],
  'page.time': ['Timer', ...[...Array(100).keys()].map((i) => 10 + slice + (i * i) / 50)],
  'background.time': ['Timer', 5, 6, 7],
  ...(slice < 5 || slice > 20 ? {} : {'sign.in': ['TransactionTimer', 0, 40 + slice]}),
});

// A run that goes on, with distributions.
export async function spreading(test, slices) {
  const journal = new Journal(test);
  journal.showDistributions('page.time', 'sign.in');
  for (let slice = 1; slice <= slices; ++slice) await journal.slice(spread(slice));
  return journal;
}

export function kzstat(...args) {
  return spawnSync(KZSTAT, args, {encoding: 'utf8', maxBuffer: 1 << 28});
}

// The path of the report of a journal.
export function reportOf(path, ...args) {
  const page = join(dirname(path), 'report.html');
  const {status, stdout, stderr} = kzstat('report', path, '-o', page, ...args);
  assert.deepEqual([status, stdout], [0, '']);
  assert.match(stderr, /^\S+: (not ended, at least )?\d+ slices?\n$/);
  return page;
}

export const dataOf = (page) => JSON.parse(/<script id="data"[^>]*>(.*?)<\/script>/.exec(readFileSync(page, 'utf8'))[1]);

// The figures that `kzstat show` prints of a name, by column.
export function shown(path, name, ...args) {
  const lines = kzstat('show', path, ...args).stdout.split('\n');
  const [heading, ...rows] = lines.slice(lines.findIndex((line) => line.startsWith('name ')));
  // Numbers end below the ends of their titles; a column without a value has a dash or is empty.
  const row = rows.find((line) => line.startsWith(`${name} `));
  const ends = [...heading.matchAll(/\S+/g)].map((match) => [match[0], match.index + match[0].length]);
  return Object.fromEntries(ends.map(([title, end]) => [title, row.slice(0, end).trim().split(/\s+/).at(-1)]));
}

// The records of the last slice, by name.
export function lastRecords(path) {
  const records = kzstat('export', path, '--format', 'json').stdout.trim().split('\n').map((line) => JSON.parse(line));
  const last = records.at(-1).slice_id;
  return new Map(records.filter(({slice_id}) => slice_id === last).map((record) => [record.name, record]));
}

// A server that is running. `url` has no slash at its end.
export class Server {
  static async start(test, path, ...args) {
    const server = new Server();
    server.process = spawn(KZSTAT, ['serve', path, ...args], {stdio: ['ignore', 'pipe', 'inherit']});
    test.after(() => server.process.kill('SIGKILL'));
    for await (const line of createInterface({input: server.process.stdout})) {
      server.url = /https?:\S+(?=\/)/.exec(line)[0];
      server.port = Number(new URL(server.url).port);
      server.token = /\?token=(\S+)/.exec(line)?.[1];
      return server;
    }
    throw new Error('the server ended at once');
  }

  // Returns the exit status.
  stop() {
    const ended = new Promise((resolve) => this.process.once('exit', resolve));
    this.process.kill('SIGTERM');
    return ended;
  }
}
