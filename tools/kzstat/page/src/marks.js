// What is marked on the time axis of the overview: time outside of the load, gaps, notes.

import {bucketBegin} from './run.js';

const FLAG = 7;  // pixels

// Where a note is on the axis.
const positionOf = ({run, origin}, time) => origin + time - run.run.startTime;

// Those made while the slices of a bucket lasted, and those whose flags are at this place of the chart.
export function notesAt(chart, view, bucket, left) {
  const {run} = view;
  const [from, to] = [bucket, bucket + 1].map((each) => bucketBegin(run, 'clock', each));
  const isNear = (time) => Math.abs(chart.valToPos(positionOf(view, time), 'x') - left) <= FLAG;
  return run.notes.filter(({time}) => (time >= from && time < to) || isNear(time));
}

// Runs of buckets without slices, as [from, to).
function gapsOf({grid: {slices}}) {
  const gaps = [];
  slices.forEach((count, i) => {
    if (count > 0) return;
    if (gaps.at(-1)?.[1] === i) gaps.at(-1)[1] = i + 1;
    else gaps.push([i, i + 1]);
  });
  return gaps;
}

// What lies outside of the load and what the run has no slices of, as spans of seconds of the run.
function shadedSpans({run}) {
  const moment = (bucket) => bucketBegin(run, 'elapsed', bucket);
  const {loadBegin, loadEnd} = run.run;
  const isKnown = (value) => value !== null && value !== undefined;
  return [
    ...gapsOf(run).map((gap) => gap.map(moment)),
    ...(isKnown(loadBegin) ? [[-Infinity, loadBegin]] : []),
    ...(isKnown(loadEnd) ? [[loadEnd, Infinity]] : []),
  ];
}

function shade({ctx, bbox}, colour, from, to) {
  const [left, right] = [Math.max(from, bbox.left), Math.min(to, bbox.left + bbox.width)];
  if (right <= left) return;
  ctx.fillStyle = colour;
  ctx.fillRect(left, bbox.top, right - left, bbox.height);
}

function flag({ctx, bbox}, colour, x, isFirst) {
  ctx.strokeStyle = ctx.fillStyle = colour;
  ctx.beginPath();
  ctx.moveTo(x, bbox.top);
  ctx.lineTo(x, bbox.top + bbox.height);
  ctx.stroke();
  if (!isFirst) return;
  const size = FLAG * devicePixelRatio;
  ctx.beginPath();
  ctx.moveTo(x, bbox.top);
  ctx.lineTo(x + size, bbox.top + size / 2);
  ctx.lineTo(x, bbox.top + size);
  ctx.fill();
}

// Where a moment of the run is, in pixels of the canvas.
const positionIn = (chart, view) => (seconds) => (Number.isFinite(seconds) ? chart.valToPos(view.origin + seconds, 'x', true) : seconds);

// The time under load in which the generator was the bottleneck.
export function paintSaturation(chart, view) {
  const {saturatedFrom, run} = view.run;
  if (saturatedFrom === null) return;
  chart.ctx.save();
  shade(chart, `${view.colours.bad}30`, ...[saturatedFrom, run.loadEnd ?? Infinity].map(positionIn(chart, view)));
  chart.ctx.restore();
}

// `isFirst` for the uppermost plot, where the flags are.
export function paintMarks(chart, view, isFirst) {
  const {ctx, bbox} = chart;
  const position = positionIn(chart, view);
  ctx.save();
  for (const span of shadedSpans(view)) shade(chart, view.colours.outside, ...span.map(position));
  ctx.lineWidth = devicePixelRatio;
  ctx.setLineDash([]);  // the chart leaves that of the line which it drew last
  for (const {time} of view.run.notes) {
    const x = Math.round(chart.valToPos(positionOf(view, time), 'x', true)) + 0.5;
    if (x >= bbox.left && x <= bbox.left + bbox.width) flag(chart, view.colours.flag, x, isFirst);
  }
  ctx.restore();
}
