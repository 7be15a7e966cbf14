import {Charts} from './charts.js';
import {follow} from './live.js';
import {updated} from './run.js';
import {showState, showSummary} from './summary.js';
import {Table} from './table.js';
import {offerPrinting, offerThemes} from './theme.js';

const byId = (id) => document.getElementById(id);
const charts = new Charts(byId('charts'));
const table = new Table(byId('table'), arrange);
let run = null;

function matches(name) {
  const words = byId('search').value.toLowerCase().split(/\s+/);
  const text = name.name.toLowerCase();
  const type = byId('type').value;
  return (type === '' || name.type === type) && words.every((word) => text.includes(word));
}

const chosenNames = () => table.sorted(run.names.filter(matches)).map(({name}) => name);

function arrange() {
  const chosen = chosenNames();
  table.arrange(chosen);
  charts.arrange(chosen);
  byId('shown').textContent = chosen.length === run.names.length ? '' : `${chosen.length} of ${run.names.length} names`;
  byId('nothing').hidden = chosen.length > 0;
  byId('nothing').textContent = run.names.length === 0 ? 'Nothing was reported yet.' : 'No name matches.';
}

function offerTypes() {
  const types = [...new Set(run.names.map(({type}) => type))].sort();
  const chosen = byId('type').value;
  byId('type').replaceChildren(new Option('All types', ''), ...types.map((type) => new Option(type, type)));
  byId('type').value = types.includes(chosen) ? chosen : '';
}

function show(data) {
  // Another run is served at the same address now.
  if (run && run.run.id !== data.run.id) return location.reload();
  const known = run?.names.length;
  run = data;
  showSummary(run);
  charts.show(run);
  table.show(run.names, (name) => charts.idOf(name));
  // Rows stay in order as their figures change. Charts stay where the reader looks at them.
  if (run.names.length === known) return table.arrange(chosenNames());
  offerTypes();
  arrange();
}

function showAxis() {
  for (const button of document.querySelectorAll('[data-axis]')) button.ariaPressed = String(button.dataset.axis === charts.axis);
}

function offerControls() {
  byId('search').addEventListener('input', arrange);
  byId('type').addEventListener('change', arrange);
  byId('whole').addEventListener('click', () => charts.setZoom(null));
  charts.onZoomed = (isZoomed) => { byId('whole').hidden = !isZoomed; };
  for (const button of document.querySelectorAll('[data-axis]')) {
    button.addEventListener('click', () => {
      charts.setAxis(button.dataset.axis);
      showAxis();
    });
  }
  showAxis();
  offerThemes(byId('theme'), () => charts.redraw());
  offerPrinting(charts);
}

const inlined = JSON.parse(byId('data').textContent);
offerControls();
if (inlined) {
  show(inlined);
  showState(inlined.hasEnded ? 'ended' : 'open');
  byId('note').textContent = 'Drag over a chart to look closer; double-click for the whole run.';
} else {
  follow((update) => show(run && update.grid.from > 0 ? updated(run, update) : update), showState);
}
