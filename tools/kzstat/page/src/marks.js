// What is marked on the time axis of the overview: time outside of the load, times without figures, notes.

import {bucketBegin} from './run.js';

const FLAG = 7;  // pixels
const HATCH = 5;  // pixels between lines
const LEAST_WIDTH = 3;  // pixels of a time without figures, so that a short one is seen

// Where a note is on the axis.
const positionOf = ({run, origin}, time) => origin + time - run.run.startTime;

// Those made while the slices of a bucket lasted, and those whose flags are at this place of the chart.
export function notesAt(chart, view, bucket, left) {
  const {run} = view;
  const [from, to] = [bucket, bucket + 1].map((each) => bucketBegin(run, 'clock', each));
  const isNear = (time) => Math.abs(chart.valToPos(positionOf(view, time), 'x') - left) <= FLAG;
  return run.notes.filter(({time}) => (time >= from && time < to) || isNear(time));
}

// The times without figures that are at this place of the chart.
export function interruptionsAt(chart, {run, origin}, left) {
  const [from, to] = [left - LEAST_WIDTH, left + LEAST_WIDTH].map((place) => chart.posToVal(place, 'x') - origin);
  return run.interruptions.filter((each) => each.from <= to && each.to >= from);
}

// What lies outside of the load, as spans of seconds of the run.
function shadedSpans({run}) {
  const {loadBegin, loadEnd} = run.run;
  const isKnown = (value) => value !== null && value !== undefined;
  return [
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

// The chart leaves those of the line which it drew last.
function useThinLines(ctx) {
  ctx.lineWidth = devicePixelRatio;
  ctx.setLineDash([]);
}

function hatch({ctx, bbox}, colour, from, to) {
  const [left, right] = [Math.max(from, bbox.left), Math.min(Math.max(to, from + LEAST_WIDTH * devicePixelRatio), bbox.left + bbox.width)];
  if (right <= left) return;
  ctx.save();
  ctx.beginPath();
  ctx.rect(left, bbox.top, right - left, bbox.height);
  ctx.clip();
  useThinLines(ctx);
  ctx.strokeStyle = colour;
  ctx.beginPath();
  for (let x = left - bbox.height; x < right; x += HATCH * devicePixelRatio) {
    ctx.moveTo(x, bbox.top + bbox.height);
    ctx.lineTo(x + bbox.height, bbox.top);
  }
  ctx.stroke();
  ctx.restore();
}

function flag({ctx, bbox}, colour, x, isFirst) {
  useThinLines(ctx);
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

export function hatchInterruptions(chart, view, colour) {
  const position = positionIn(chart, view);
  for (const {from, to} of view.run.interruptions) hatch(chart, colour, position(from), position(to));
}

// `isFirst` for the uppermost plot, where the flags are.
export function paintMarks(chart, view, isFirst) {
  const {ctx, bbox} = chart;
  const position = positionIn(chart, view);
  ctx.save();
  for (const span of shadedSpans(view)) shade(chart, view.colours.outside, ...span.map(position));
  hatchInterruptions(chart, view, view.colours.gap);
  for (const {time} of view.run.notes) {
    const x = Math.round(chart.valToPos(positionOf(view, time), 'x', true)) + 0.5;
    if (x >= bbox.left && x <= bbox.left + bbox.width) flag(chart, view.colours.flag, x, isFirst);
  }
  ctx.restore();
}
