// The charts of each name, with a curve for each run.

import {flowLines, valueLines} from './curves.js';
import {CumulativeCurvesPlot, CurvePlot} from './runplot.js';

const VALUE_HEIGHT = 170;
const FLOW_HEIGHT = 110;

export const drawingsOf = (names) => names.map((name) => ({key: name.name, names: [name], isStack: false}));

// `runs` are those of the page.
export function plotsOfRuns(runs) {
  return ({names: [name]}) => {
    const plots = [];
    const values = valueLines(runs, name);
    if (values.lines.length > 0) plots.push(new CurvePlot({title: values.label, height: VALUE_HEIGHT, unit: name.unit, linesOf: (each) => valueLines(runs, each).lines}));
    if (flowLines(runs, name).length > 0) {
      const height = plots.length > 0 ? FLOW_HEIGHT : VALUE_HEIGHT;
      const [title, unit] = name.isLevel ? ['level', ''] : ['per second', '/s'];
      plots.push(new CurvePlot({title, height, unit, linesOf: (each) => flowLines(runs, each)}));
    }
    if (runs.some((run) => run.curveOf.get(name.name)?.cumulative)) plots.push(new CumulativeCurvesPlot());
    return plots;
  };
}
