// Follows a run through the server's events.

import {stateOf} from './summary.js';

const PATIENCE = 1000;  // milliseconds before the next try
const SILENCE = 15000;  // the server says something more often than that

export function follow(onData, onState) {
  let source;
  let timer;
  // What the server calls the last event that has come: it goes on from there.
  let lastId = '';
  // The names of the parts that have come of an update.
  let names = [];
  // What the last whole update says of the run.
  let state = 'live';

  const connect = () => {
    clearTimeout(timer);
    source?.close();
    source = new EventSource(`api/events?after=${encodeURIComponent(lastId)}`);
    source.onmessage = heard;
    source.addEventListener('alive', stillThere);
    source.onopen = stillThere;
    source.onerror = away;
    listen();
  };

  const listen = () => {
    clearTimeout(timer);
    timer = setTimeout(away, SILENCE);
  };
  const stillThere = () => {
    onState(state);
    listen();
  };
  const heard = (event) => {
    const update = JSON.parse(event.data);
    names = update.part === 0 ? update.names : names.concat(update.names);
    if (update.isLastPart) {
      state = stateOf(update, 'live');
      lastId = event.lastEventId;
      onData({...update, names});
    }
    stillThere();
  };
  // The browser gives up on some errors, so that this does not leave it to the browser.
  const away = () => {
    onState('away');
    source.close();
    clearTimeout(timer);
    timer = setTimeout(connect, PATIENCE);
  };

  connect();
}
