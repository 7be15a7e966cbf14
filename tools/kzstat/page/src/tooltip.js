// The figures under the pointer, beside it.

const DISTANCE = 14;

const element = document.createElement('div');
element.className = 'tooltip';
element.setAttribute('role', 'tooltip');
element.hidden = true;
document.body.append(element);

function row([label, value, colour]) {
  const term = document.createElement('dt');
  term.textContent = label;
  if (colour) term.style.setProperty('--mark', colour);
  const text = document.createElement('dd');
  text.textContent = value;
  return [term, text];
}

function show({title, rows}, {clientX, clientY}) {
  const heading = document.createElement('b');
  heading.textContent = title;
  const list = document.createElement('dl');
  list.append(...rows.flatMap(row));
  element.replaceChildren(heading, list);
  element.hidden = false;
  const {width, height} = element.getBoundingClientRect();
  const left = clientX + DISTANCE + width < innerWidth ? clientX + DISTANCE : clientX - DISTANCE - width;
  const top = Math.min(clientY + DISTANCE, innerHeight - height - 4);
  element.style.left = `${Math.max(4, left)}px`;
  element.style.top = `${Math.max(4, top)}px`;
}

export function hideTooltip() {
  element.hidden = true;
}

// `describe(left, top)` gets pixels of the plot and returns {title, rows}, or null where there is
// nothing to tell. A row is [label, value, colour].
export function offerTooltip(plot, describe) {
  plot.addEventListener('mousemove', (event) => {
    const {left, top} = plot.getBoundingClientRect();
    const figures = describe(event.clientX - left, event.clientY - top);
    if (figures) show(figures, event);
    else hideTooltip();
  });
  plot.addEventListener('mouseleave', hideTooltip);
}
