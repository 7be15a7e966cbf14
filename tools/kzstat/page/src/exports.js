// What a reader takes away: tables as CSV, charts as PNG, the data as JSON.

const fileName = (text) => text.replace(/[^\w.-]+/g, '_').slice(0, 80);

export function save(name, parts, type) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob(parts, {type}));
  link.download = fileName(name);
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
}

// A spreadsheet takes a text that begins like a formula for one.
function csvField(value) {
  if (value === null || value === undefined) return '';
  const text = typeof value === 'string' && /^[=+\-@\t]/.test(value) ? `'${value}` : String(value);
  return /[",\r\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

export const csvOf = (lines) => lines.map((line) => `${line.map(csvField).join(',')}\r\n`).join('');

function paintMark(context, {left, top, height}, colour) {
  context.fillStyle = colour;
  context.fillRect(left - 14, top + height / 2 - 4, 9, 9);
}

// What stands before a label as its mark.
function markOf(element) {
  const marker = element.previousElementSibling;
  if (marker?.classList.contains('u-marker')) return getComputedStyle(marker).backgroundColor;
  return element.style.getPropertyValue('--mark') || null;
}

// The canvases and the texts of an element as they stand on the screen.
function paint(context, element, canvas) {
  const origin = element.getBoundingClientRect();
  const placeOf = (each) => {
    const {left, top, width, height} = each.getBoundingClientRect();
    return {left: left - origin.left, top: top - origin.top, width, height};
  };
  context.fillStyle = getComputedStyle(document.documentElement).getPropertyValue('--panel');
  context.fillRect(0, 0, canvas.width, canvas.height);
  for (const each of element.querySelectorAll('canvas')) {
    const {left, top, width, height} = placeOf(each);
    if (width > 0) context.drawImage(each, left, top, width, height);
  }
  context.textBaseline = 'middle';
  for (const each of element.querySelectorAll('h2, h3, h4, .u-label, .marks span')) {
    const place = placeOf(each);
    const mark = markOf(each);
    if (mark) paintMark(context, place, mark);
    const {font, color} = getComputedStyle(each);
    context.font = font;
    context.fillStyle = color;
    context.fillText(each.textContent, place.left, place.top + place.height / 2);
  }
}

function pictureOf(element) {
  const canvas = document.createElement('canvas');
  const {width, height} = element.getBoundingClientRect();
  canvas.width = Math.ceil(width * devicePixelRatio);
  canvas.height = Math.ceil(height * devicePixelRatio);
  const context = canvas.getContext('2d');
  context.scale(devicePixelRatio, devicePixelRatio);
  paint(context, element, canvas);
  return canvas;
}

// A button that saves the element as a picture. `what` says it in a sentence.
export function offerPicture(element, name, what = name) {
  const button = document.createElement('button');
  button.type = 'button';
  button.className = 'save';
  button.textContent = 'PNG';
  button.title = 'Save as a picture';
  button.setAttribute('aria-label', `PNG of ${what}`);
  button.addEventListener('click', () => pictureOf(element).toBlob((blob) => save(`${name}.png`, [blob], 'image/png')));
  return button;
}
