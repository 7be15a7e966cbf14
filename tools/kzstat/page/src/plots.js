// The plots of a drawing of one run.

import {CumulativePlot} from './cumulativeplot.js';
import {StackPlot} from './stackplot.js';
import {timePlots} from './timeplots.js';

const plotsOfName = (name, isPart) => [...timePlots(name), ...(name.cumulative ? [new CumulativePlot(isPart)] : [])];

export function plotsOf({isStack, prefix, names}, view) {
  return isStack ? [new StackPlot(prefix)] : plotsOfName(names[0], Boolean(view?.zoom));
}
