import {spanInAddress, tellAddress} from '../address.js';
import {Charts} from '../charts.js';
import {save} from '../exports.js';
import {elapsed, number} from '../format.js';
import {mainCounters} from '../outcomes.js';
import {jsonOf, withInfinities} from '../run.js';
import {Table} from '../table.js';
import {offerPrinting, offerThemes} from '../theme.js';
import {coloursNow} from '../view.js';
import {drawingsOf, plotsOfRuns} from './cards.js';
import {byHurt, columnsOf, rowsOf} from './differences.js';
import {Overview} from './overview.js';
import {COLOURS_OF_RUNS, comparedRuns, namesOf} from './runs.js';
import {followWork, mainWork, noteUncertain, showFacts, showRuns, showTiles, showVerdicts, showWarnings} from './summary.js';

const byId = (id) => document.getElementById(id);
const data = JSON.parse(byId('data').textContent);
data.sides.forEach(withInfinities);
const compared = comparedRuns(data);
const names = namesOf(compared.sides);
const main = mainWork(compared, names);
compared.counters = main ? [] : mainCounters(names);
followWork(compared, main);
const rows = rowsOf(compared.comparisons);
noteUncertain(compared, main, rows);
const wholeSpan = [0, Math.max(...compared.runs.map(({seconds}) => seconds))];
const sliceLength = Math.min(...compared.runs.map(({curves}) => curves.run.sliceLength));

const charts = new Charts(byId('charts'), drawingsOf, plotsOfRuns(compared.runs));
const overview = new Overview(byId('lanes'), compared, main);
const table = new Table(byId('table'), columnsOf(compared.comparisons), {order: byHurt, onSorted: arrange, onChosen: ({title}) => charts.reveal(title)});
let zoom = spanInAddress();

function viewOf() {
  return {
    run: {names, run: {sliceLength}},
    runs: compared.runs,
    areThin: compared.sides.some((side) => side.runs.length > 1),
    axis: 'elapsed',
    span: zoom ?? wholeSpan,
    colours: coloursNow([...COLOURS_OF_RUNS, 'faint', 'grid']),
    onZoom: setZoom,
  };
}

// Within what was measured; null for all of it.
function setZoom(span) {
  zoom = span && [Math.max(span[0], 0), Math.min(span[1], wholeSpan[1])];
  tellAddress(zoom);
  showAgain();
}

function showAgain() {
  const view = viewOf();
  byId('whole').hidden = zoom === null;
  byId('part').textContent = zoom ? zoom.map((moment) => elapsed(Math.round(moment * 10) / 10)).join(' – ') : '';
  overview.draw(view);
  charts.redraw(view);
}

function arrange() {
  const words = byId('search').value.toLowerCase().split(/\s+/);
  const matches = (name) => words.every((word) => name.toLowerCase().includes(word));
  const chosen = names.filter(({name}) => matches(name));
  table.arrange(table.sorted(rows.filter(({title}) => matches(title))));
  charts.filter(chosen.map(({name}) => name));
  byId('shown').textContent = chosen.length < names.length ? `${chosen.length} of ${names.length} names` : '';
  byId('nothing').hidden = chosen.length > 0;
  byId('nothing').textContent = names.length === 0 ? 'Nothing was reported.' : 'No name matches.';
}

function search() {
  arrange();
  charts.unfoldForSearch(byId('shown').textContent !== '');
}

function offerControls() {
  byId('search').addEventListener('input', search);
  byId('unfold').addEventListener('click', () => charts.unfold(true));
  byId('fold').addEventListener('click', () => charts.unfold(false));
  byId('whole').addEventListener('click', () => setZoom(null));
  byId('csv').addEventListener('click', () => save('comparison.csv', [table.csv()], 'text/csv'));
  byId('json').addEventListener('click', () => save('comparison.json', [jsonOf(data)], 'application/json'));
  addEventListener('hashchange', () => {
    zoom = spanInAddress();
    showAgain();
  });
  offerThemes(byId('theme'), showAgain);
  offerPrinting(charts, showAgain);
}

function tellTest() {
  const {least_difference: least, samples_are: samples, significance} = compared.comparisons[0];
  byId('test').textContent = `* is at least ${number(100 * least)} %, and rarer than ${number(100 * significance)} % by chance over ${samples}`;
}

offerControls();
showRuns(compared);
showVerdicts(compared, rows);
showWarnings(compared);
showTiles(compared, main, rows);
showFacts(compared);
tellTest();
byId('table').classList.toggle('many', compared.comparisons.length > 1);
byId('work').textContent = main?.work.name ?? 'nothing was timed';
table.show(rows);
charts.show(viewOf());
arrange();
showAgain();
