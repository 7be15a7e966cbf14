// What answers at first glance: the tiles, the overview, what was timed, why it failed.

import {byCount, causeColumns, causeRows} from './causes.js';
import {save} from './exports.js';
import {momentOf, number} from './format.js';
import {byHurt, operationRow, OPERATIONS, withUnits} from './operations.js';
import {mainCounters, mainOperation, nounOf, operationsOf, tellsFailures} from './outcomes.js';
import {Overview} from './overview.js';
import {showRemarks} from './remarks.js';
import {showConditions, showTiles, showTitle, showWarning} from './summary.js';
import {Table} from './table.js';

const byId = (id) => document.getElementById(id);

function offerCsv(id, name, table) {
  byId(id).addEventListener('click', () => save(`${name}.csv`, [table.csv()], 'text/csv'));
}

export class FirstScreen {
  // `onChosen` gets the name whose charts are wanted.
  constructor(onChosen) {
    this.overview = new Overview(byId('lanes'));
    const choose = ({operation, source}) => onChosen((source ?? operation.times ?? operation.failed).name);
    this.operations = new Table(byId('operations-table'), OPERATIONS, {order: byHurt, onChosen: choose});
    this.causes = new Table(byId('causes-table'), causeColumns((moment) => this.momentText(moment)), {order: byCount, onChosen: choose});
    offerCsv('operations-csv', 'timed', this.operations);
    offerCsv('causes-csv', 'errors', this.causes);
  }

  momentText(moment) {
    return moment === null ? number(null) : momentOf(this.view.axis, moment).split(' ').at(-1);
  }

  show(view) {
    this.view = view;
    const operations = operationsOf(view.run.names);
    const areFailuresTold = tellsFailures(operations);
    const rows = operations.map((operation) => operationRow(operation, view.figuresOf, areFailuresTold));
    const work = mainOperation(operations);
    const noun = work ? nounOf(work) : '';
    showTitle(view);
    const counters = work ? [] : mainCounters(view.run.names);
    showTiles(view, rows.find(({operation}) => operation === work) ?? null, noun, counters);
    showWarning(view);
    showConditions(view);
    byId('work').textContent = work?.name ?? '';
    this.overview.show(view, {work, noun, counters, areFailuresTold: areFailuresTold && Boolean(work)});
    showRemarks(byId('remarks'), view);
    this.showOperations(rows, areFailuresTold);
    this.showCauses(causeRows(rows, view), operations, view);
  }

  showOperations(rows, areFailuresTold) {
    byId('operations').hidden = rows.length === 0;
    const hasPercentiles = rows.some(({operation: {times, failed}}) => ((times ?? failed).figures.p50 ?? null) !== null);
    this.operations.offer('failures', areFailuresTold);
    this.operations.offer('percentile', hasPercentiles);
    const slowest = hasPercentiles ? 'the slowest p95' : 'the slowest mean';
    byId('order').textContent = areFailuresTold ? `the largest error share first, then ${slowest}` : `${slowest} first`;
    const {unit, rows: shown} = withUnits(rows);
    this.operations.tellUnit(unit);
    this.operations.show(shown);
    this.operations.arrange();
  }

  showCauses(rows, operations, {figuresOf}) {
    byId('causes').hidden = rows.length === 0;
    this.causes.show(rows);
    this.causes.arrange();
    const abandoned = operations.reduce((sum, {abandoned: name}) => sum + (name ? (figuresOf(name).sum ?? 0) : 0), 0);
    byId('abandoned').hidden = abandoned === 0;
    byId('abandoned').textContent = `${number(abandoned)} cut off by the generator itself, which count as neither.`;
  }
}
