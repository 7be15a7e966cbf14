// The fields in which a reader chooses a part of the run by its times.

import {elapsed, secondsAtTime, secondsIn, timeOfRun} from './format.js';

const MIN_FIELD_SIZE = 7;  // characters

const FORMS = {clock: 'h:mm:ss of the clock', elapsed: 'seconds or h:mm:ss of the run'};

export class SpanForm {
  // `fault` is the element that says why a part cannot be shown; `onChosen` gets a span of seconds of the run, or
  // null for the whole run.
  constructor(form, {whole, fault}, onChosen) {
    this.fields = [form.elements.from, form.elements.to];
    this.whole = whole;
    this.fault = fault;
    this.onChosen = onChosen;
    whole.addEventListener('click', () => this.choose(null));
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      if (this.view) this.submit();
    });
  }

  submit() {
    const span = this.fields.map((field) => this.momentIn(field.value));
    const fault = this.faultOf(span);
    this.complain(fault);
    if (fault) return;
    document.activeElement.blur();
    this.choose(span);
  }

  choose(span) {
    this.complain(null);
    this.onChosen(span);
  }

  // What is wrong, as {text, field}, or null.
  faultOf([from, to]) {
    const [first, second] = this.fields;
    for (const [field, moment] of [[first, from], [second, to]])
      if (Number.isNaN(moment)) return {text: `“${field.value}” is no time: enter ${FORMS[this.view.axis]}.`, field};
    const {run} = this.view;
    if (from >= run.elapsed) return {text: `The run ends at ${this.momentText(run.elapsed)}.`, field: first};
    if (!(from < to)) return {text: 'The part ends before it begins.', field: second};
    if (to <= run.grid.first * run.run.sliceLength) return {text: `Drawn from ${this.momentText(run.grid.first * run.run.sliceLength)} on.`, field: second};
    return null;
  }

  // What the reader has entered stays there to be corrected.
  complain(fault) {
    this.isFaulty = fault !== null;
    this.fault.textContent = fault?.text ?? '';
    for (const field of this.fields) field.ariaInvalid = field === fault?.field ? 'true' : null;
  }

  // A moment of the run as the axis tells it, and the moment of a text.
  momentText(moment) {
    const {axis, run} = this.view;
    return axis === 'clock' ? timeOfRun(moment, run.run.startTime) : elapsed(moment);
  }

  momentIn(text) {
    const {axis, run} = this.view;
    return axis === 'clock' ? secondsAtTime(text, run.run.startTime) : secondsIn(text);
  }

  show(view) {
    // What was entered as the one kind of time is none of the other.
    if (this.view?.axis !== view.axis) this.complain(null);
    this.view = view;
    const {run, zoom} = view;
    this.whole.hidden = zoom === null;
    this.fields.forEach((field, i) => { field.ariaLabel = `${['From', 'To'][i]}, ${FORMS[view.axis]}`; });
    if (this.isFaulty) return;
    const span = zoom ?? [run.grid.first * run.run.sliceLength, run.elapsed];
    this.fields.forEach((field, i) => {
      if (document.activeElement === field) return;
      field.value = this.momentText(span[i]);
      field.size = Math.max(MIN_FIELD_SIZE, field.value.length);
    });
  }

  // The part that is shown; empty for the whole run.
  partText() {
    return this.view.zoom ? this.view.zoom.map((moment) => this.momentText(moment)).join(' – ') : '';
  }
}
