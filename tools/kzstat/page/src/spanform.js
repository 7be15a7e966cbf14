// The fields in which a reader chooses a part of the run by its times.

import {elapsed, secondsAtTime, secondsIn, timeOfRun} from './format.js';

const MIN_FIELD_SIZE = 7;  // characters

const FORMS = {clock: 'h:mm:ss of the clock', elapsed: 'seconds or h:mm:ss of the run'};

const firstMoment = ({grid, run}) => grid.first * run.sliceLength;

// A moment of the run as the axis tells it.
const momentText = ({axis, run}, moment) => (axis === 'clock' ? timeOfRun(moment, run.run.startTime) : elapsed(moment));

// Why a span of seconds is no part of what is drawn, as {text, at}, `at` 0 for its begin and 1 for its end; null if it is one.
export function faultOfSpan(view, [from, to]) {
  const {run} = view;
  if (run.grid.slices.length === 0) return {text: 'There are no slices to show.', at: 0};
  if (from >= run.elapsed) return {text: `The run ends at ${momentText(view, run.elapsed)}.`, at: 0};
  if (!(from < to)) return {text: 'The part ends before it begins.', at: 1};
  if (to <= firstMoment(run)) return {text: `Drawn from ${momentText(view, firstMoment(run))} on.`, at: 1};
  return null;
}

export class SpanForm {
  // `fault` is the element that says why a part cannot be shown; `onChosen` gets a span of seconds of the run, or
  // null for the whole run.
  constructor(form, {whole, fault}, onChosen) {
    this.fields = [form.elements.from, form.elements.to];
    this.whole = whole;
    this.fault = fault;
    this.onChosen = onChosen;
    this.typed = new Set();  // fields whose texts the reader has not yet had shown
    for (const field of this.fields) field.addEventListener('input', () => this.typed.add(field));
    whole.addEventListener('click', () => this.onChosen(null));
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      if (this.view) this.submit();
    });
  }

  // What the reader has entered stays there to be corrected.
  submit() {
    const span = this.fields.map((field) => this.momentIn(field.value));
    const fault = this.faultOf(span);
    if (fault) this.complain(fault);
    else this.onChosen(span);
  }

  // What is shown is another part or told by another axis, so that the fields have to tell it.
  forget() {
    this.complain(null);
    this.typed.clear();
    for (const field of this.fields) field.blur();
  }

  // What is wrong, as {text, field}, or null.
  faultOf(span) {
    const field = this.fields.find((_, i) => Number.isNaN(span[i]));
    if (field) return {text: `“${field.value}” is no time: enter ${FORMS[this.view.axis]}.`, field};
    const fault = faultOfSpan(this.view, span);
    return fault && {text: fault.text, field: this.fields[fault.at]};
  }

  // `fault` may lack a field.
  complain(fault) {
    this.fault.textContent = fault?.text ?? '';
    for (const field of this.fields) field.ariaInvalid = field === fault?.field ? 'true' : null;
  }

  momentIn(text) {
    const {axis, run} = this.view;
    return axis === 'clock' ? secondsAtTime(text, run.run.startTime) : secondsIn(text);
  }

  show(view) {
    this.view = view;
    const {run, zoom} = view;
    this.whole.hidden = zoom === null;
    this.fields.forEach((field, i) => { field.ariaLabel = `${['From', 'To'][i]}, ${FORMS[view.axis]}`; });
    const span = zoom ?? [firstMoment(run), Math.max(firstMoment(run), run.elapsed)];
    this.fields.forEach((field, i) => {
      if (this.typed.has(field) || document.activeElement === field) return;
      field.value = momentText(view, span[i]);
      field.size = Math.max(MIN_FIELD_SIZE, field.value.length);
    });
  }

  // The part that is shown; empty for the whole run.
  partText() {
    return this.view.zoom ? this.view.zoom.map((moment) => momentText(this.view, moment)).join(' – ') : '';
  }
}
