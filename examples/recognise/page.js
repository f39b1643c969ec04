'use strict';
// Values under the pointer: the pictures keep palette numbers, so a colour tells the value that it stands for.
const page = JSON.parse(document.getElementById('page').textContent);
const palettes = Object.fromEntries(Object.entries(page.palettes).map(([name, hex]) =>
  [name, hex.match(/../g).map(pair => parseInt(pair, 16))]));
const tip = document.getElementById('tip');

function pixels(image) {
  if (image.pixels) return image.pixels;
  const source = image.source ??= Object.assign(new Image(), {src: image.getAttribute('href')});
  if (!source.complete || !source.naturalWidth) return null;
  const canvas = document.createElement('canvas');
  canvas.width = source.naturalWidth;
  canvas.height = source.naturalHeight;
  const context = canvas.getContext('2d');
  context.drawImage(source, 0, 0);
  return image.pixels = context.getImageData(0, 0, canvas.width, canvas.height);
}

function valueAt(data, column, row, plot) {
  const at = 4 * (row * data.width + column);
  if (data.data[at + 3] < 128) return null;
  const palette = palettes[plot.palette];
  let best = 1, least = Infinity;
  for (let entry = 1; entry < 256; ++entry) {
    let distance = 0;
    for (let channel = 0; channel < 3; ++channel)
      distance += (palette[3 * entry + channel] - data.data[at + channel]) ** 2;
    if (distance < least) { least = distance; best = entry; }
  }
  return plot.low + (plot.high - plot.low) * (best - 1) / 254;
}

function describe(image, event) {
  const plot = JSON.parse(image.dataset.plot);
  const box = image.getBoundingClientRect();
  const x = Math.min(Math.max((event.clientX - box.left) / box.width, 0), 0.999999);
  const y = Math.min(Math.max((event.clientY - box.top) / box.height, 0), 0.999999);
  const data = pixels(image);
  const value = data && valueAt(data, Math.floor(x * data.width), Math.floor(y * data.height), plot);
  if (plot.kind === 'scores') {
    const said = page.rows[Math.floor(y * page.rows.length)], with_ = page.columns[Math.floor(x * page.columns.length)];
    return `said ${said}, compared with ${with_}\n` + (value === null ? 'not comparable' : `distance ${value.toFixed(2)} per frame`);
  }
  const time = (plot.from + x * (plot.to - plot.from)).toFixed(2) + ' s';
  if (plot.kind === 'states')
    return `${time}, state ${Math.floor((1 - y) * plot.count) + 1}` + (value === null ? '' : `\ncosts ${value.toFixed(2)}${value >= plot.low ? ' or more' : ''}`);
  if (plot.kind === 'spectrum')
    return `${time}, ${Math.round(4000 * (1 - y))} Hz` + (value === null ? '' : `\n${value.toFixed(0)} dB`);
  return `${time}, coefficient ${Math.floor((1 - y) * plot.count)}` + (value === null ? '' : `\n${value.toFixed(2)}`);
}

document.addEventListener('pointermove', event => {
  const image = event.target.closest && event.target.closest('image[data-plot]');
  if (!image) { tip.style.opacity = 0; return; }
  tip.textContent = describe(image, event);
  tip.style.left = Math.min(event.clientX + 14, innerWidth - tip.offsetWidth - 8) + 'px';
  tip.style.top = Math.min(event.clientY + 16, innerHeight - tip.offsetHeight - 8) + 'px';
  tip.style.opacity = 1;
});

const filter = document.getElementById('filter');
if (filter) filter.addEventListener('input', () => {
  const words = filter.value.toLowerCase().split(/\s+/);
  for (const row of document.querySelectorAll('#results tbody tr')) {
    const text = row.textContent.toLowerCase();
    row.hidden = !words.every(word => text.includes(word));
  }
});
