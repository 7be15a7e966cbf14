import {replaceAddress, spanInAddress, tellAddress} from './address.js';
import {ALL_NAMES, tabled} from './allnames.js';
import {Charts} from './charts.js';
import {drawingsOf} from './drawings.js';
import {save} from './exports.js';
import {FirstScreen} from './firstscreen.js';
import {follow} from './live.js';
import {keepingPlace} from './place.js';
import {plotsOf} from './plots.js';
import {jsonOf, updated, withInfinities} from './run.js';
import {faultOfSpan, SpanForm} from './spanform.js';
import {showState, stateOf} from './summary.js';
import {Table} from './table.js';
import {offerPrinting, offerThemes} from './theme.js';
import {viewOf} from './view.js';

const byId = (id) => document.getElementById(id);
const charts = new Charts(byId('charts'), drawingsOf, plotsOf);
const firstScreen = new FirstScreen((name) => charts.reveal(name));
const table = new Table(byId('table'), ALL_NAMES, {column: 'name', onSorted: arrange, onChosen: ({name}) => charts.reveal(name)});
const spanForm = new SpanForm(byId('span'), {whole: byId('whole'), fault: byId('span-fault')}, setZoom);
let run = null;
let axis = 'elapsed';
let zoom = null;

function matches(name) {
  const words = byId('search').value.toLowerCase().split(/\s+/);
  const text = name.name.toLowerCase();
  const type = byId('type').value;
  return (type === '' || name.type === type) && words.every((word) => text.includes(word));
}

function arrange() {
  const chosen = run.names.filter(matches);
  const isSearch = chosen.length < run.names.length;
  table.arrange(table.sorted(table.shown.filter(matches)));
  charts.filter(chosen.map(({name}) => name));
  byId('shown').textContent = isSearch ? `${chosen.length} of ${run.names.length} names` : '';
  byId('nothing').hidden = chosen.length > 0;
  byId('nothing').textContent = run.names.length === 0 ? 'Nothing was reported yet.' : 'No name matches.';
}

function search() {
  arrange();
  charts.unfoldForSearch(byId('shown').textContent !== '');
}

function offerTypes() {
  const types = [...new Set(run.names.map(({type}) => type))].sort();
  const chosen = byId('type').value;
  if (byId('type').options.length === types.length + 1) return;
  byId('type').replaceChildren(new Option('All types', ''), ...types.map((type) => new Option(type, type)));
  byId('type').value = types.includes(chosen) ? chosen : '';
}

function showFigures(view) {
  firstScreen.show(view);
  table.offer('percentile', run.names.some(({figures}) => Number.isFinite(tabled(figures).p50)));
  table.show(run.names.map((name) => ({...name, shownFigures: tabled(view.figuresOf(name))})));
  spanForm.show(view);
  byId('part').textContent = spanForm.partText();
}

// Why the address shows no part of the run, or null. It may lead to a place of the page.
function faultOfAddress(span) {
  if (location.hash === '' || byId(location.hash.slice(1))) return null;
  return span ? (faultOfSpan({axis, run}, span)?.text ?? null) : `“${location.hash}” is no part of the run, such as #10-20 for its seconds.`;
}

function followAddress() {
  const span = spanInAddress();
  const fault = faultOfAddress(span);
  zoom = fault ? null : span;
  spanForm.forget();
  if (!fault) return;
  replaceAddress(null);
  spanForm.complain({text: `${fault} All of it is shown.`});
}

function show(data) {
  // Another run is served at the same address now. What was looked at is a part of this one.
  if (run && run.run.id !== data.run.id) {
    replaceAddress(null);
    return location.reload();
  }
  const isFirst = run === null;
  run = data;
  if (isFirst) followAddress();
  const view = viewOf(run, axis, zoom, setZoom);
  keepingPlace(() => {
    showFigures(view);
    charts.show(view);
    offerTypes();
    arrange();
  });
}

// The same data, looked at in another way.
function showAgain() {
  if (!run) return;
  const view = viewOf(run, axis, zoom, setZoom);
  showFigures(view);
  arrange();
  charts.redraw(view);
}

// A span of seconds of the run; null for the whole run.
function setZoom(span) {
  zoom = span && viewOf(run, axis, span, setZoom).zoom;
  tellAddress(zoom);
  spanForm.forget();
  showAgain();
}

function setAxis(chosen) {
  axis = chosen;
  // What was entered as the one kind of time is none of the other.
  spanForm.forget();
  showAxis();
  showAgain();
}

function showAxis() {
  for (const button of document.querySelectorAll('[data-axis]')) button.ariaPressed = String(button.dataset.axis === axis);
}

function offerControls() {
  byId('search').addEventListener('input', search);
  byId('type').addEventListener('change', search);
  byId('unfold').addEventListener('click', () => charts.unfold(true));
  byId('fold').addEventListener('click', () => charts.unfold(false));
  byId('csv').addEventListener('click', () => save('figures.csv', [table.csv()], 'text/csv'));
  byId('json').addEventListener('click', () => save(`${run.run.generator}.json`, [jsonOf(run)], 'application/json'));
  for (const button of document.querySelectorAll('[data-axis]')) button.addEventListener('click', () => setAxis(button.dataset.axis));
  showAxis();
  addEventListener('hashchange', () => {
    if (run) followAddress();
    showAgain();
  });
  offerThemes(byId('theme'), showAgain);
  offerPrinting(charts, showAgain);
}

const inlined = JSON.parse(byId('data').textContent);
offerControls();
if (inlined) {
  show(withInfinities(inlined));
  showState(stateOf(inlined, 'open'));
  byId('note').textContent = 'Drag over a chart to look closer; double-click for the whole run.';
} else {
  follow((update) => {
    const news = withInfinities(update);
    show(run && news.grid.from > 0 ? updated(run, news) : news);
  }, showState);
}
