import assert from 'node:assert/strict';
import {spawn, spawnSync} from 'node:child_process';
import {once} from 'node:events';
import {writeFileSync} from 'node:fs';
import http from 'node:http';
import net from 'node:net';
import {join} from 'node:path';
import {test} from 'node:test';
import {setTimeout as pause} from 'node:timers/promises';
import {Journal, kzstat, lastRecords, NASTY, Server, shop, shopRun, temporaryFolder} from './runs.mjs';

const SLICES = 12;
const MOST_CONNECTIONS = 64;
const PATIENCE = 60_000;

async function serving(test, ...args) {
  return Server.start(test, await shopRun(test, SLICES), '--port', '0', ...args);
}

async function assertServes(server) {
  const response = await fetch(`${server.url}/metrics`);
  assert.equal(response.status, 200);
  assert.match(await response.text(), /^kzstat_slices_total \d+$/m);
}

function connect(server) {
  const socket = net.connect(server.port, '127.0.0.1');
  socket.on('error', () => {});
  return socket;
}

// Sends the bytes as they are and returns all that comes back until the end of the connection.
async function exchange(server, bytes) {
  const socket = connect(server);
  let answer = '';
  socket.on('data', (data) => { answer += data.toString('latin1'); });
  socket.end(bytes);
  await once(socket, 'close');
  return answer;
}

const statusOf = (answer) => Number(/^HTTP\/1\.1 (\d+)/.exec(answer)?.[1] ?? 0);

// One that asks and then reads as little as it can.
async function sleepingReader(server, request) {
  const socket = connect(server);
  await once(socket, 'connect');
  socket.pause();
  socket.write(request);
  return socket;
}

async function until(condition) {
  for (const deadline = Date.now() + PATIENCE; !await condition(); await pause(50))
    assert.ok(Date.now() < deadline, `never: ${condition}`);
}

async function freePort() {
  const holder = net.createServer().listen(0, '127.0.0.1');
  await once(holder, 'listening');
  const {port} = holder.address();
  holder.close();
  return port;
}

const metricsOf = async (server) => (await fetch(`${server.url}/metrics`)).text();

// Times with a long tail, some of them exactly on the bounds of histograms.
const times = [...Array(2000).keys()].map((i) => i % 10 === 0 ? [1, 50, 100, 250, 1000][i / 10 % 5] : 20 * Math.exp(2 * Math.sin(i * i)) + i / 100);

// A run that goes on and shows the distributions of its values.
async function distributedRun(test) {
  const journal = new Journal(test);
  journal.tell('distributions');
  await journal.slice({...shop(1), 'page.time': ['Timer', ...times.slice(0, 500)]});
  return journal;
}

// [le, count] of the timer, in seconds.
async function bucketsOf(server) {
  const lines = (await metricsOf(server)).matchAll(/^kzstat_time_distribution_seconds_bucket{name="page.time",type="Timer",le="(.*)"} (\d+)$/gm);
  return [...lines].map(([, le, count]) => [le === '+Inf' ? Infinity : Number(le), Number(count)]);
}

// Prometheus, which scrapes the server; returns what gives the first value that answers a query.
async function prometheusFor(test, server) {
  const folder = temporaryFolder(test);
  const port = await freePort();
  writeFileSync(join(folder, 'prometheus.yml'),
    `global: {scrape_interval: 200ms}\nscrape_configs: [{job_name: run, static_configs: [{targets: ['127.0.0.1:${server.port}']}]}]\n`);
  const prometheus = spawn(process.env.PROMETHEUS, [`--config.file=${folder}/prometheus.yml`, `--storage.tsdb.path=${folder}/data`, `--web.listen-address=127.0.0.1:${port}`], {stdio: 'ignore'});
  test.after(async () => {
    prometheus.kill('SIGKILL');
    await once(prometheus, 'exit');
  });
  return async (query) => {
    const response = await fetch(`http://127.0.0.1:${port}/api/v1/query?query=${encodeURIComponent(query)}`).catch(() => null);
    return response?.ok ? (await response.json()).data.result[0]?.value[1] : undefined;
  };
}

test('metrics satisfy the checker', async (t) => {
  const journal = await distributedRun(t);
  for (const server of [await serving(t), await Server.start(t, journal.path, '--port', '0')]) {
    const {status, stdout, stderr} = spawnSync(process.env.PROMTOOL, ['check', 'metrics'], {input: await metricsOf(server), encoding: 'utf8'});
    assert.deepEqual([status, stdout, stderr], [0, '', '']);
  }
});

test('a run without distributions has no histogram', async (t) => {
  assert.doesNotMatch(await metricsOf(await serving(t)), /histogram|_bucket/);
});

test('a histogram counts what is at most its bounds and grows with the run', async (t) => {
  const journal = await distributedRun(t);
  const server = await Server.start(t, journal.path, '--port', '0');
  const assertCounts = async (values) => {
    const buckets = await bucketsOf(server);
    assert.equal(buckets.length, 38);
    assert.deepEqual(buckets, buckets.map(([le]) => [le, values.filter((value) => value / 1000 <= le).length]));
  };
  await assertCounts(times.slice(0, 500));
  await journal.slice({'page.time': ['Timer', ...times.slice(500)]});
  await until(async () => /^kzstat_slices_total 2$/m.test(await metricsOf(server)));
  await assertCounts(times);
});

test('quantiles of Prometheus are in the same buckets as those of the run', async (t) => {
  const journal = await distributedRun(t);
  const server = await Server.start(t, journal.path, '--port', '0');
  const ask = await prometheusFor(t, server);
  const untilCounted = (count) => until(async () => await ask('kzstat_time_distribution_seconds_count{name="page.time"}') === count);
  await untilCounted('500');
  await journal.slice({'page.time': ['Timer', ...times.slice(500)]});
  await untilCounted('2000');
  const report = JSON.parse(kzstat('compare', journal.path, journal.path, '--format', 'json', '--percentiles', '10,50,90,95,99,99.9').stdout);
  const {percentiles} = report.names.find(({name}) => name === 'page.time');
  const bounds = [0, ...(await bucketsOf(server)).map(([le]) => le)];
  for (const [title, {first}] of Object.entries(percentiles)) {
    const ours = first / 1000;
    const theirs = Number(await ask(`histogram_quantile(${title.slice(1) / 100}, kzstat_time_distribution_seconds_bucket{name="page.time"})`));
    const bucket = bounds.findIndex((bound) => ours <= bound);
    assert.ok(bounds[bucket - 1] <= theirs && theirs <= bounds[bucket], `${title}: ${ours} and ${theirs}`);
  }
});

test('metrics are those of the journal', async (t) => {
  const path = await shopRun(t, SLICES);
  const server = await Server.start(t, path, '--port', '0');
  const lines = (await (await fetch(`${server.url}/metrics`)).text()).split('\n');
  const value = (start) => Number(lines.find((line) => line.startsWith(start)).split(' ').at(-1));
  const records = lastRecords(path);
  assert.equal(value('kzstat_sum_total{name="pages.sent"'), records.get('pages.sent').sum);
  assert.equal(value('kzstat_time_seconds_count{name="page.time"'), records.get('page.time').count);
  assert.equal(value('kzstat_time_max_seconds{name="page.time"'), records.get('page.time').maximum / 1000);
  assert.equal(value('kzstat_value_sum{name="queue.length"'), records.get('queue.length').sum);
  assert.equal(value('kzstat_load_size{name="clients"'), records.get('clients').last_sum);
});

test('Prometheus scrapes a run as it goes on', async (t) => {
  const journal = new Journal(t);
  await journal.slice(shop(1));
  const server = await Server.start(t, journal.path, '--port', '0');
  const scraped = await prometheusFor(t, server);
  await until(async () => await scraped('kzstat_sum_total{name="pages.sent"}') === '4');
  await journal.slice(shop(2));
  await until(async () => await scraped('kzstat_sum_total{name="pages.sent"}') === '9');
  assert.equal(await scraped('count(kzstat_sum_total)'), '2');
});

test('slices are the records of the export', async (t) => {
  const path = await shopRun(t, SLICES);
  const server = await Server.start(t, path, '--port', '0');
  const records = kzstat('export', path, '--format', 'json').stdout.trim().split('\n').map((line) => JSON.parse(line));
  const slices = async (query) => (await fetch(`${server.url}/api/slices${query}`)).json();
  assert.deepEqual(await slices(''), records);
  assert.deepEqual(await slices('?after=3&limit=2'), records.filter(({slice_id}) => slice_id === 4 || slice_id === 5));
  assert.deepEqual(await slices('?after=99'), []);
});

test('a parameter that is no number is named', async (t) => {
  const server = await serving(t);
  for (const query of ['after=x', 'limit=-1', 'after=99999999999999', 'after=']) {
    const response = await fetch(`${server.url}/api/slices?${query}`);
    assert.equal(response.status, 400, query);
    assert.match(await response.text(), /^(after|limit) must be a whole number\n$/);
  }
});

test('no path leads to the file system', async (t) => {
  const server = await serving(t);
  const paths = ['/../../../../etc/passwd', '/..%2f..%2f..%2fetc%2fpasswd', '/%2e%2e/%2e%2e/etc/passwd', '//etc/passwd', '/etc/passwd',
    '/....//....//etc/passwd', '/..\\..\\etc\\passwd', '/%00/etc/passwd', '/metrics/../../etc/passwd', '/%252e%252e/etc/passwd', 'file:///etc/passwd'];
  for (const path of paths) {
    const answer = await exchange(server, `GET ${path} HTTP/1.1\r\nHost: localhost\r\n\r\n`);
    assert.ok([400, 404].includes(statusOf(answer)), `${path}: ${answer}`);
    assert.doesNotMatch(answer, /root:/);
  }
  await assertServes(server);
});

test('garbage is survived', async (t) => {
  const server = await serving(t);
  const digits = [...Array(20000).keys()].map((i) => i * 7919 % 256);
  const garbage = [Buffer.from(digits), Buffer.alloc(70000), 'GET\r\n\r\n', '\r\n\r\n\r\n\r\n', 'GET / HTTP/9.9\r\n\r\n', 'GET  HTTP/1.1\r\n\r\n',
    'GET / HTTP/1.1\r\nHost\r\n: x\r\n\r\n', 'GET /%zz%u12 HTTP/1.1\r\nHost: localhost\r\n\r\n', 'GET /api/events?after=%ff/%00/// HTTP/1.0\r\nHost: x\r\n\r\n',
    `GET /api/slices?${'a&'.repeat(3000)} HTTP/1.1\r\nHost: localhost\r\n\r\n`, 'PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n', '\x16\x03\x01\x02\x00\x01\x00\x01'];
  for (const bytes of garbage) {
    const status = statusOf(await exchange(server, bytes));
    assert.ok(status === 0 || status >= 400 || String(bytes).includes('/api/slices'), `${status} for ${String(bytes).slice(0, 60)}`);
  }
  await assertServes(server);
});

test('a huge head is refused', async (t) => {
  const server = await serving(t);
  assert.equal(statusOf(await exchange(server, `GET / HTTP/1.1\r\nHost: localhost\r\nX: ${'x'.repeat(20000)}\r\n\r\n`)), 431);
  assert.equal(statusOf(await exchange(server, `GET / HTTP/1.1\r\nHost: localhost\r\n${'X: x\r\n'.repeat(4000)}\r\n`)), 431);
  assert.equal(statusOf(await exchange(server, `GET /${'x'.repeat(20000)} HTTP/1.1\r\nHost: localhost\r\n\r\n`)), 431);
  await assertServes(server);
});

test('ranges, bodies and expectations have no effect', async (t) => {
  const server = await serving(t);
  const ranges = `Range: bytes=${'0-,'.repeat(2000)}0-`;
  for (const line of [ranges, 'Range: bytes=5-1', 'Content-Length: 99999999999', 'Transfer-Encoding: chunked', 'Expect: 100-continue', 'Accept-Encoding: gzip']) {
    const answer = await exchange(server, `GET /metrics HTTP/1.1\r\nHost: localhost\r\n${line}\r\n\r\n`);
    assert.equal(statusOf(answer), 200, line);
    assert.match(answer, /kzstat_slices_total 12\n/);
  }
});

test('only reading is allowed', async (t) => {
  const server = await serving(t);
  for (const method of ['POST', 'PUT', 'DELETE', 'OPTIONS', 'PATCH'])
    assert.equal((await fetch(`${server.url}/metrics`, {method})).status, 405, method);
  assert.equal((await fetch(server.url, {method: 'HEAD'})).status, 200);
});

test('only a name of this machine is answered, as it is and not as it begins', async (t) => {
  const server = await serving(t);
  const statusFor = async (...hosts) => statusOf(await exchange(server, `GET /metrics HTTP/1.1\r\n${hosts.map((host) => `Host: ${host}\r\n`).join('')}\r\n`));
  for (const host of ['localhost', 'LOCALHOST', 'localhost.', `localhost:${server.port}`, '127.0.0.1', '127.0.0.2:80', '[::1]', '[::1]:8080'])
    assert.equal(await statusFor(host), 200, host);
  for (const host of ['evil.example', '127.attacker.example', '127.0.0.1.evil.com', 'localhost.evil.com:80', '128.0.0.1', '127.1', '[::2]', '0.0.0.0'])
    assert.equal(await statusFor(host), 403, host);
  for (const host of ['[::1].evil.com', '[::1', '[localhost]', 'localhost:80:80', 'localhost:x', 'local host', ''])
    assert.equal(await statusFor(host), 400, host);
  assert.equal(await statusFor(), 400);
  assert.equal(await statusFor('localhost', 'localhost'), 400);
  assert.equal(statusOf(await exchange(server, 'GET /metrics HTTP/1.0\r\n\r\n')), 400);
});

test('only this machine is let in unless told otherwise', async (t) => {
  const server = await serving(t);
  const [error] = await once(net.connect(server.port, '127.0.0.2'), 'error');
  assert.equal(error.code, 'ECONNREFUSED');
});

test('slow clients are cut off and keep nobody out', async (t) => {
  const server = await serving(t);
  let cut = 0;
  const crowd = await Promise.all([...Array(MOST_CONNECTIONS)].map(async () => {
    const socket = connect(server);
    socket.once('close', () => ++cut);
    await once(socket, 'connect');
    socket.write('GET / HTTP/1.1\r\nX: ');
    return socket;
  }));
  // Each goes on a byte at a time, and would do so for ever.
  const drip = setInterval(() => crowd.forEach((socket) => socket.write('x')), 500);
  t.after(() => clearInterval(drip));
  for (let probe = 0; probe < 11; ++probe) await assertServes(server);
  await until(() => cut === crowd.length);
  await assertServes(server);
});

test('readers that read nothing cost the others nothing', async (t) => {
  const server = await serving(t);
  const sleepers = await Promise.all([...Array(40)].map(() => sleepingReader(server, 'GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n')));
  // Streams are fewer than connections, so that there is room for those who ask only once.
  await assertServes(server);
  sleepers.forEach((socket) => socket.destroy());
});

test('ends at once however many follow', async (t) => {
  const server = await serving(t);
  const followers = await Promise.all([...Array(10)].map(() => sleepingReader(server, 'GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n')));
  const idle = connect(server);
  await once(idle, 'connect');
  const begin = process.hrtime.bigint();
  assert.equal(await server.stop(), 0);
  assert.ok(process.hrtime.bigint() - begin < 4_000_000_000n);
  followers.forEach((socket) => socket.destroy());
});

test('a name of any bytes is a label', async (t) => {
  const server = await serving(t);
  const text = await (await fetch(`${server.url}/metrics`)).text();
  assert.ok(text.includes(`{name="${NASTY.replace('\\', '\\\\').replace('"', '\\"')}",type="Counter"} ${SLICES}\n`), text);
});

test('mistakes are one line that says what to do', async (t) => {
  const path = await shopRun(t, 1);
  const server = await Server.start(t, path, '--port', '0');
  const complaintOf = (...args) => {
    const {status, stderr} = kzstat('serve', ...args);
    assert.equal(status, 2);
    return stderr;
  };
  assert.equal(complaintOf(path, '--port', String(server.port)),
    `kzstat: cannot listen on 127.0.0.1 port ${server.port}: Address already in use; choose others with --bind and --port\n`);
  assert.match(complaintOf(path, '--bind', '203.0.113.9', '--port', '0'), /^kzstat: cannot listen on 203\.0\.113\.9 .*--port\n$/);
  assert.match(complaintOf('nowhere.kzj'), /^kzstat: cannot .*nowhere\.kzj.*\n$/);
  assert.match(complaintOf(path, '--port', '70000'), /^kzstat: --port: .*\(see kzstat serve --help\)\n$/);
});
