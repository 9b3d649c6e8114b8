// SPDX-License-Identifier: Apache-2.0
// Shows a recording of camsim, or compares two. A recording is kept as columns, from which a run of any length is drawn
// per column of pixels. The line of a request is parsed again when the request is selected.
'use strict';

const VERSION = 1;  // of the recordings that this page reads
const FIGURES = [
  {key: 'gender', high: 1, digits: 3, hint: '0 to 1; below 0.5 a woman'},
  {key: 'age', high: 100, digits: 1, hint: 'years'},
  {key: 'score', high: 100, digits: 1, hint: '0 to 100; how good the picture of the face is'},
  {key: 'prop', high: 1, digits: 2, hint: '0 to 1; how sure the model is of the gender'}];
const [UNKNOWN, NOT_OFFERED, SKIPPED, TAKEN, DROPPED] = [0, 1, 2, 3, 4];  // the higher, the more a pointer prefers it
const OUTCOMES = [
  {key: '?', css: 'other', hint: 'nothing was seen of the frame'},
  {key: 'not offered', css: 'other', hint: 'not handed over: five requests in six keep their frame'},
  {key: 'skipped', css: 'skipped', hint: 'handed over, but the worker considers one in four'},
  {key: 'taken', css: 'taken', hint: 'handed over and copied for the worker, which analyses it'},
  {key: 'dropped', css: 'dropped', hint: 'handed over while the worker was busy'}];
const NOT_HANDED_OVER = 'not handed over';
const REASONS = {
  [NOT_HANDED_OVER]: 'the request is none of the one in six',
  'off': 'another role, both switches off, or a property without the bit of the node',
  'no face': 'the request carried no face for the slot',
  'not analysed yet': 'no pass had ended',
  'no match': 'the last pass saw no face there',
  'too small': 'the face is not wider than a sixth of the frame’s shorter side'};
// The defaults of camsim: of the device's state, by short names, and of keys of the header.
const DEFAULT_STATE = {MultiCameraIdRole: '0 1 0', faceGenderAndAge: '1', faceScore: '1', sensorSize: '4000 3000',
  quadcfa: '0', orientation: '270'};
const DEFAULT_HEADER = {raw: 'false', stride: '0', upright: 'false', crop: '[]', node_caps: '0', models: 'fake',
  realtime: 'false'};
const CAVEATS = {fake: 'The figures are those of fake models and say nothing about a person.',
  real: 'The figures are estimates by small networks, and no basis for decisions about people.',
  unknown: 'The figures are those of fake models, or estimates by small networks: no basis for decisions.'};
const SLOTS = [0, 1, 2], SHOWN_PASSES = 12, LEFT = 46, RIGHT = 14, TOP = 22, FRAME_HEIGHT = 22, FIGURE_HEIGHT = 72;

let run, other, shown;                    // the recordings, and the text of the first
let width, bottom, view, curves, blocks;  // the plot as drawn: size, range, scales, passes by request
let selected = 0, pinned = false;

// ---- Text and shapes ----------------------------------------------------------------------------
const $ = id => document.getElementById(id);
const list = value => Array.isArray(value) ? value : [];
const esc = text => String(text).replace(/[&<>"]/g, c => `&#${c.charCodeAt(0)};`);
const show = value => typeof value === 'string' ? value : value == null ? 'none' : JSON.stringify(value);
const base = path => String(path).replace(/.*\//, '');
const count = n => n.toLocaleString('en-US');
const time = us => us < 1e6 ? (us / 1000).toFixed(us < 1e4 ? 2 : 1) + ' ms' : (us / 1e6).toFixed(2) + ' s';
const fixed = (value, digits) => value || value === 0 ? value.toFixed?.(digits) ?? esc(value) : '–';
const clamp = (value, low, high) => Math.max(low, Math.min(high, value));
const abbr = (text, hint) => hint ? `<abbr title="${esc(hint)}">${esc(text)}</abbr>` : esc(text);
const reason = why => abbr(why, REASONS[why.replace(/^(score|estimates) /, '')]);
const link = number => `<button data-request="${number}">${count(number)}</button>`;
const pairs = rows => rows.map(([key, html]) => `<dt>${esc(key)}</dt><dd>${html}</dd>`).join('');
const path = (css, d) => d && `<path class="${css}" d="${d}"/>`;
const inside = html => `<g clip-path="url(#inside)">${html}</g>`;
const box = (x, y, w, h) => `M${x.toFixed(1)} ${y.toFixed(1)}h${w.toFixed(1)}v${h.toFixed(1)}h${(-w).toFixed(1)}z`;
const label = (x, y, text, css = '', anchor = 'start') =>
  `<text x="${x}" y="${y}" class="${css}" text-anchor="${anchor}">${esc(text)}</text>`;
const icon = (css, size, d) =>
  `<svg class="key ${css}" viewBox="${-size} ${-size} ${2 * size} ${2 * size}" aria-hidden="true">${path('', d)}</svg>`;
const slotKey = (slot, text = slot) => icon(`slot${slot}`, 5, dot(slot, 0, 0, 4)) + text;

// Returns the mark of a slot: a circle, a square or a diamond.
function dot(slot, x, y, r) {
  if (slot === 0) return `M${x - r} ${y}a${r} ${r} 0 1 0 ${2 * r} 0a${r} ${r} 0 1 0 ${-2 * r} 0z`;
  if (slot === 1) return box(x - .9 * r, y - .9 * r, 1.8 * r, 1.8 * r);
  const s = 1.2 * r;
  return `M${x} ${y - s}l${s} ${s}l${-s} ${s}l${-s} ${-s}z`;
}

function table(heads, rows) {
  const isNumber = html => /^[-–\d.,]*$/.test(html.replace(/<[^>]*>/g, ''));
  const css = heads.map((_, i) => rows.every(row => isNumber(row[i])) ? 'number' : '');
  const line = (tag, row) => `<tr>${row.map((html, i) => `<${tag} class="${css[i]}">${html}</${tag}>`).join('')}</tr>`;
  return `<div class="scroll"><table><thead>${line('th', heads)}</thead>` +
    `<tbody>${rows.map(row => line('td', row)).join('')}</tbody></table></div>`;
}

// ---- Reading ------------------------------------------------------------------------------------
// Returns whether a slot with this reason has the figure: it may lack its score alone, or all but its score.
const isFigure = (why, key) => why === null || why.startsWith(key === 'score' ? 'estimates ' : 'score ');
const whyOf = (json, slot) => json.why?.[slot] == null ? null : String(json.why[slot]);
// Returns the request whose frame gave the figures.
const sourceOf = json => Number.isSafeInteger(json.figures_age) ? json.request - json.figures_age : null;

// Returns the tags of a request by short names, without the rectangles.
function stateOf(tags) {
  const state = {};
  for (const [tag, value] of Object.entries(tags ?? {})) {
    if (tag === 'faces' || tag.endsWith('.faceRectangles')) continue;
    state[tag.replace(/\.(enabled|size)$/, '').split('.').pop()] = list(value).join(' ') || show(value);
  }
  return state;
}

// Parses a recording. The result has a column per key, events with the index of the request that follows, and passes by
// their request with the first and the last index that published each slot.
function parse(text) {
  const run = {head: {}, lines: [], number: [], outcome: [], at: [], took: [], states: [], events: [], first: [],
    settings: [], pending: [], broken: 0, reasons: [null, NOT_HANDED_OVER], why: [[], [], []],
    values: FIGURES.map(() => [[], [], []]), passes: new Map()};
  for (const line of text.split('\n')) if (line.trim()) parseLine(run, line);
  run.length = run.lines.length;
  run.paced = run.length > 0 && run.at.every(Number.isSafeInteger) && run.took.every(Number.isSafeInteger);
  run.index = new Map(run.number.map((number, i) => [number, i]));
  return run;
}

function parseLine(run, line) {
  let json = null;
  try { json = JSON.parse(line); } catch { /* is counted below */ }
  if (Number.isSafeInteger(json?.request)) parseRequest(run, json, line);
  else if (Number.isSafeInteger(json?.pass?.request)) passOf(run, json.pass.request).told = json.pass;
  else if (json?.recording) run.head = json;
  else if (json?.pipeline ?? json?.device ?? json?.property) parseEvent(run, json);
  else run.broken++;
}

function parseEvent(run, {pipeline, device, property}) {
  const texts = pipeline ? ['restart'] : Object.entries(device ?? property).map(([name, value]) =>
    `${name.split('.').pop()} ${show(value)}`);
  run.pending.push(...texts);
  run.settings.push(...texts.map(text => (run.lines.length ? `after request ${run.number.at(-1)}: ` : '') + text));
}

function passOf(run, request) {
  if (!run.passes.has(request)) run.passes.set(request, {request, slots: []});
  return run.passes.get(request);
}

function parseRequest(run, json, line) {
  const i = run.lines.push(line) - 1, state = stateOf(json.in), before = run.states[i - 1];
  for (const name in before && state) if (state[name] !== before[name]) run.pending.push(`${name} ${state[name]}`);
  run.states[i] = before && !run.pending.length ? before : state;
  if (i === 0) run.first = run.pending;
  else if (run.pending.length) run.events.push({i, text: run.pending.join(', ')});
  run.pending = [];
  run.outcome[i] = Math.max(UNKNOWN, OUTCOMES.findIndex(({key}) => key === json.outcome));
  [run.number[i], run.at[i], run.took[i]] = [json.request, json.at_us, json.took_us];
  if (run.outcome[i] === TAKEN) passOf(run, json.request).i = i;
  const source = sourceOf(json) === null ? null : passOf(run, sourceOf(json));
  if (source) [source.first, source.last] = [source.first ?? i, i];
  for (const slot of SLOTS) parseSlot(run, json, i, slot, source);
}

function parseSlot(run, json, i, slot, source) {
  const why = whyOf(json, slot), known = run.reasons.indexOf(why);
  run.why[slot][i] = known < 0 ? run.reasons.push(why) - 1 : known;
  for (const [f, {key}] of FIGURES.entries()) {
    const value = isFigure(why, key) ? json.out?.[key]?.[slot] : undefined;
    run.values[f][slot][i] = typeof value === 'number' ? value : NaN;
    if (source && value !== undefined) source.slots[slot] = {first: source.slots[slot]?.first ?? i, last: i};
  }
}

// Returns the text of a block of the page, which is compressed where it is large.
async function embedded(id) {
  const text = $(id)?.textContent;
  if (!text || $(id).type !== 'application/zlib') return text;
  const {body} = await fetch('data:;base64,' + text);
  return new Response(body.pipeThrough(new DecompressionStream('deflate'))).text();
}

// ---- Head ---------------------------------------------------------------------------------------
const analysedPasses = () => [...run.passes.values()].filter(pass => pass.told ?? pass.first !== undefined);

function resultHtml(counts) {
  const part = code => `${count(counts[code])} ${abbr(OUTCOMES[code].key, OUTCOMES[code].hint)}`;
  const [first, handedOver] = [run.number[0], run.length - counts[NOT_OFFERED] - counts[UNKNOWN]];
  return `${count(run.length)} request${run.length === 1 ? '' : 's'}${first > 1 ? ` from ${count(first)} on` : ''}, ` +
    `${count(handedOver)} ${abbr('handed over', 'their frames were offered to the worker')}: ${part(TAKEN)}, ` +
    `<span class="${counts[DROPPED] ? 'bad' : ''}">${part(DROPPED)}</span>, ${part(SKIPPED)}; ` +
    `${count(analysedPasses().length)} ${abbr('analysed', 'a pass of the worker over the frame has ended')}` +
    (counts[UNKNOWN] ? `; of ${count(counts[UNKNOWN])} nothing was seen` : '');
}

// Finds the late requests, and describes how well the rate was kept. The most punctual request shows when each was due.
function paceHtml() {
  const took = Float64Array.from(run.took).sort(), at = percent => time(took[~~((run.length - 1) * percent / 100)]);
  const rate = +run.head.fps || Math.round((run.length - 1) * 1e6 / (run.at.at(-1) - run.at[0])), period = 1e6 / rate;
  const due = run.at.reduce((least, us, i) => Math.min(least, us - i * period), Infinity);
  const reached = run.at.at(-1) > due ? (run.length - 1) * 1e6 / (run.at.at(-1) - due) : rate;
  run.late = run.at.map((us, i) => us - due > (i + .5) * period);
  return `${run.head.fps ? '' : 'about '}${rate} requests a second asked, ${reached.toFixed(1)} reached, ` +
    `${count(run.late.filter(Boolean).length)} ${abbr('late', 'sent more than half a period after their time')}; a ` +
    `request took ${at(50)} in the median, ${at(99)} at the 99th percentile, ${at(100)} at most`;
}

function deviations() {
  const {head, states, first} = run;
  const state = Object.keys(states[0]).filter(name => states[0][name] !== DEFAULT_STATE[name]);
  const keys = Object.keys(DEFAULT_HEADER).filter(key => key in head && show(head[key]) !== DEFAULT_HEADER[key]);
  const [, , ...sent] = list(head.crop).length ? head.crop : [0, 0, ...list(head.size)];
  if (show(head.buffer) !== show(sent)) keys.push('buffer');
  return [...state.map(name => `${name} ${states[0][name]}`), ...keys.map(key => `${key} ${show(head[key])}`), ...first]
    .join(', ') || 'nothing' + (run.events.length ? ' at first' : '');
}

function factsHtml({node, build_id, device, input, size, command}) {
  const folders = new Set(Object.values(device ?? {}).map(path => base(String(path).replace(/\/[^/]*$/, ''))));
  const from = input === '-' ? 'standard input' : base(input || 'built-in scene');
  const fact = (name, text, title = '') => `<div><dt>${name}</dt><dd title="${esc(title)}">${esc(text)}</dd></div>`;
  return fact('Node', base(node ?? '?'), node) + fact('Build', String(build_id || 'none').slice(0, 12), build_id) +
    fact('Libraries of the device from', [...folders].join(', ') || '?') +
    fact('Input', `${from}, ${list(size).join('×')}`, input) + fact('Differs from the defaults', deviations()) +
    (command ? `<div class="wide"><dt>Command</dt><dd><code>${esc(show(command))}</code></dd></div>` : '');
}

function showHead({head}) {
  const counts = OUTCOMES.map((_, code) => run.outcome.filter(outcome => outcome === code).length);
  document.title = `${count(run.length)} requests to ${base(head.node ?? 'a node')}`;
  $('program').textContent = show(head.program ?? 'camsim');
  $('result').innerHTML = resultHtml(counts);
  $('pace').innerHTML = run.paced ? paceHtml() : '';
  $('note').textContent = CAVEATS[head.models] ?? CAVEATS.unknown;
  $('facts').innerHTML = factsHtml(head);
  $('header').innerHTML = pairs(Object.entries({...head, ...run.states[0]}).map(([name, value]) =>
    [name, esc(show(value)).replaceAll(',&#34;', ',<br>&#34;')]));
  $('keys').innerHTML = SLOTS.map(slot => `<span>${slotKey(slot, 'slot ' + slot)}</span>`).join('') +
    (other ? '<span class="dim">dashed: the second run</span>' : '') + OUTCOMES.map(({key, css, hint}, code) =>
    counts[code] && `<span title="${hint}">${icon(css, 1, 'M-1-1h2v2h-2z')}${count(counts[code])} ${key}</span>`)
    .filter(Boolean).reverse().join('');
}

// ---- Plot ---------------------------------------------------------------------------------------
const scale = x => LEFT + (x - view[0]) / (view[1] - view[0]) * (width - LEFT - RIGHT);
const unscale = px => view[0] + (px - LEFT) / (width - LEFT - RIGHT) * (view[1] - view[0]);
const whole = () => [edge(0), edge(run.length)];

// Returns where a request begins: half way from the one before it.
function edge(i) {
  const {x, length} = run, step = (x[length - 1] - x[0]) / (length - 1) || 1;
  return i <= 0 ? x[0] - step / 2 : i >= length ? x[length - 1] + step / 2 : (x[i - 1] + x[i]) / 2;
}

function firstFrom(run, x, from = 0, to = run.length) {
  if (from === to) return from;
  const middle = (from + to) >> 1;
  return run.x[middle] < x ? firstFrom(run, x, middle + 1, to) : firstFrom(run, x, from, middle);
}

// Taken and skipped frames stand on the line, dropped ones hang below it. Requests in one column of pixels share its
// height; a dropped frame is always visible.
function framesSvg(y, from, to) {
  const paths = OUTCOMES.map(() => ''), foot = y + FRAME_HEIGHT;
  for (let i = from, next; i < to; i = next) {
    const counts = OUTCOMES.map(() => 0), left = scale(edge(i));
    for (next = i; next < to && (next === i || scale(edge(next + 1)) - left <= 1); ++next) counts[run.outcome[next]]++;
    const step = scale(edge(next)) - left, w = step > 3 ? step - 1 : step;
    const above = counts[TAKEN] + counts[SKIPPED] + counts[UNKNOWN], all = above + counts[DROPPED];
    let top = foot;
    for (const code of [TAKEN, SKIPPED, UNKNOWN]) {
      const h = FRAME_HEIGHT * counts[code] / all * (all === 1 && code !== TAKEN ? .55 : 1);
      if (counts[code]) paths[code] += box(left, top -= h, w, h);
    }
    if (!all) paths[NOT_OFFERED] += box(left, foot - 2, w, 2);
    const depth = Math.max(5, 13 * counts[DROPPED] / all);
    if (counts[DROPPED]) paths[DROPPED] += box(left, foot + 1, Math.max(w, 1.5), depth);
  }
  return inside(paths.map((d, code) => path(OUTCOMES[code].css, d)).join('')) +
    path('grid', `M${LEFT} ${foot}H${width - RIGHT}`);
}

// Draws the passes, and below each the requests that publish its figures.
function passesSvg(y) {
  let spans = '';
  blocks = new Map();
  for (const {request, i, first, last, told} of run.passes.values()) {
    const begin = told && run.timed ? told.at_us / 1e6 : run.x[i ?? first] ?? NaN;
    const end = !run.timed ? begin + .8 : told ? begin + told.took_us / 1e6 : run.x[first] ?? begin;
    if (Number.isNaN(end)) continue;
    blocks.set(request, box(scale(begin), y, Math.max(2, scale(end) - scale(begin)), 12));
    if (first === undefined) continue;
    const [a, b] = [scale(edge(first)), scale(edge(last + 1))].map(x => clamp(x, LEFT, width - RIGHT));
    if (b > a) spans += box(a, y + 15, Math.max(1, b - a - 1), 5);
  }
  return inside(path('taken', [...blocks.values()].join(''))) + path('other', spans);
}

// Gathers a figure of a slot into pieces of points, a point per column of pixels. A piece ends where a request should
// have published the figure and did not, unless that is too short to be seen.
function piecesOf(run, f, slot) {
  const pieces = [[]], to = Math.min(run.length, firstFrom(run, view[1]) + 12);
  let isBroken = false;
  for (let i = Math.max(0, firstFrom(run, view[0]) - 12); i < to; i++) {
    const value = run.values[f][slot][i], isMissing = Number.isNaN(value);
    const x = scale(run.x[i]), p = pieces.at(-1).at(-1);
    isBroken ||= isMissing && run.reasons[run.why[slot][i]] !== NOT_HANDED_OVER;
    if (isMissing) continue;
    if (p && x - p.x < 1) {
      Object.assign(p, {low: Math.min(p.low, value), high: Math.max(p.high, value), sum: p.sum + value, n: p.n + 1});
      continue;
    }
    if (isBroken && p && x - p.x > 2) pieces.push([]);
    isBroken = false;
    pieces.at(-1).push({x, low: value, high: value, sum: value, n: 1});
  }
  return pieces.filter(piece => piece.length);
}

// Draws the mean of each column of pixels as a line, and its least and greatest value as a band.
function figureSvg(run, f, slot, at) {
  const pieces = piecesOf(run, f, slot), all = pieces.flat(), css = run === other ? 'line second' : 'line';
  const points = (piece, of) => piece.map(p => `${p.x.toFixed(1)} ${at(of(p)).toFixed(1)}`);
  const line = pieces.map(piece => 'M' + points(piece, p => p.sum / p.n).join('L') + 'h.01').join('');
  const band = pieces.filter(piece => piece.some(p => p.high > p.low)).map(piece =>
    'M' + [...points(piece, p => p.high), ...points(piece, p => p.low).reverse()].join('L') + 'z').join('');
  const dotted = run === other || all.length >= width / 9 ? [] : all;
  const dots = dotted.map(p => dot(slot, +p.x.toFixed(1), +at(p.sum / p.n).toFixed(1), 3)).join('');
  return inside(`<g class="slot${slot}">${path('band', band)}${path(css, line)}${path('dots', dots)}</g>`);
}

function figureTrack(f, y) {
  const {high} = FIGURES[f], at = value => y + FIGURE_HEIGHT * (1 - clamp(value / high, 0, 1));
  curves.push(at);
  return scaleSvg([0, high / 2, high], at, String) + SLOTS.map(slot =>
    (other ? figureSvg(other, f, slot, at) : '') + figureSvg(run, f, slot, at)).join('');
}

function scaleSvg(ticks, at, name) {
  return path('grid', ticks.map(tick => `M${LEFT} ${Math.round(at(tick))}H${width - RIGHT}`).join('')) +
    ticks.map(tick => label(LEFT - 6, Math.round(at(tick)) + 4, name(tick), '', 'end')).join('');
}

function timesSvg(y, h, from, to) {
  const most = Math.ceil(Math.log10(run.took.slice(from, to).reduce((a, b) => Math.max(a, b), 10)));
  const at = power => y + h - (h - 8) * power / most, w = clamp((width - LEFT) / (to - from) - 1, 1, 4);
  const name = power => 10 ** (power % 3) + [' µs', ' ms', ' s'][Math.floor(power / 3)], columns = new Map();
  let bars = '', late = '';
  for (let i = from; i < to; i++) {
    const x = Math.round(scale(run.x[i]));
    columns.set(x, Math.max(columns.get(x) ?? 1, run.took[i]));
    if (run.late[i]) late += `M${x} ${y + 6}l4 -7h-8z`;
  }
  for (const [x, us] of columns) bars += box(x - w / 2, at(Math.log10(us)), w, y + h - at(Math.log10(us)));
  return scaleSvg([...Array(most + 1).keys()].filter(power => power % 2 === most % 2), at, name) +
    inside(path('other', bars) + path('dropped', late));
}

// Draws a line for each event, and its text where there is space.
function eventsSvg() {
  let texts = '', lines = '', free = 0;
  for (const {i, text} of run.events) {
    const x = scale(edge(i)), w = 6.9 * text.length + 8, fits = x + w < width, left = fits ? x : x - w;
    if (x < LEFT || x > width - RIGHT) continue;
    lines += `M${x.toFixed(1)} ${TOP}V${bottom}`;
    if (left < free) continue;
    free = left + w;
    texts += label(fits ? x + 4 : x - 4, TOP + 10, text, 'flag', fits ? 'start' : 'end');
  }
  return path('event', lines) + texts;
}

function axisSvg() {
  const rough = (view[1] - view[0]) / Math.max(2, (width - LEFT) / 90), power = 10 ** Math.floor(Math.log10(rough));
  const step = Math.max(run.timed ? 0 : 1, [1, 2, 5, 10].find(n => n * power >= rough) * power);
  let ticks = '', texts = '';
  for (let n = Math.ceil(view[0] / step); n * step <= view[1]; n++) {
    const x = Math.round(scale(n * step)), text = run.timed ? +(n * step).toFixed(6) + ' s' : count(n * step);
    texts += label(x, bottom + 14, run.timed || ticks ? text : `request ${text}`, '', 'middle');
    ticks += `M${x} ${TOP}V${bottom}`;
  }
  return path('grid', ticks) + texts;
}

function draw() {
  width = Math.max(260, $('plot').clientWidth);
  curves = [];
  bottom = TOP + (run.events.length ? 14 : 0);
  const from = Math.max(0, firstFrom(run, view[0]) - 1), to = Math.min(run.length, firstFrom(run, view[1]) + 1);
  const bar = (i, y) => box(scale(edge(i)), y, Math.max(1.5, scale(edge(i + 1)) - scale(edge(i)) - 1), 12);
  let tracks = '';
  const track = (name, hint, height, content) => {
    tracks += content(bottom + 20) + label(LEFT, bottom + 12, name, 'name') +
      (width > 560 ? label(LEFT + 8 + 7.8 * name.length, bottom + 12, hint) : '');
    bottom += height + 30;
  };
  track('frames', 'above the line taken (tall) and skipped (short), below it dropped', 36, y => framesSvg(y, from, to));
  track('passes', 'and below each the requests that publish its figures', 24, passesSvg);
  for (const [f, {key, hint}] of FIGURES.entries()) track(key, hint, FIGURE_HEIGHT, y => figureTrack(f, y));
  if (run.paced) track('time of a request', 'logarithmic; a mark above: sent late', 64, y => timesSvg(y, 64, from, to));
  if (other) track('differences', 'requests whose answers differ', 12, y =>
    inside(path('flag', other.differs.map(i => bar(i, y)).join(''))));
  $('plot').innerHTML = `<svg viewBox="0 0 ${width} ${bottom + 18}" aria-hidden="true"><clipPath id="inside"><rect ` +
    `x="${LEFT - 3}" width="${width - LEFT - RIGHT + 6}" height="${bottom}"/></clipPath>${axisSvg()}${tracks}` +
    `${eventsSvg()}<path class="zoom" id="zoom"/><g class="cursor" id="cursor"></g></svg>`;
}

function drawCursor(source) {
  const x = scale(run.x[selected]);
  const text = `request ${count(run.number[selected])}` + (run.paced ? `, ${time(run.at[selected])}` : '');
  const w = 6.4 * text.length + 12, left = clamp(x - w / 2, 0, width - w);
  const ring = (at, slot, value) => value >= -Infinity ?
    `<circle class="slot${slot}" cx="${x}" cy="${at(value)}" r="4"/>` : '';
  $('cursor').innerHTML = `<line x1="${x}" x2="${x}" y1="18" y2="${bottom}"/>` +
    `${inside(path('source', blocks.get(source) ?? ''))}<rect x="${left}" width="${w}" height="18" rx="4"/>` +
    label(left + w / 2, 13, text, '', 'middle') + curves.map((at, f) => SLOTS.map(slot =>
      ring(at, slot, run.values[f][slot][selected])).join('')).join('');
}

// ---- The selected request -----------------------------------------------------------------------
function select(i, pin = pinned) {
  selected = clamp(i, 0, run.length - 1);
  pinned = pin;
  const x = run.x[selected], span = view[1] - view[0], json = JSON.parse(run.lines[selected]);
  if (x < view[0] || x > view[1]) {
    const begin = clamp(x - span / 2, whole()[0], whole()[1] - span);
    view = [begin, begin + span];
    draw();
  }
  drawCursor(sourceOf(json));
  const isOpen = $('panel').querySelector('details')?.open;
  $('panel').innerHTML = requestHtml(json);
  $('panel').querySelector('details').open = isOpen ?? false;
  $('panel').classList.toggle('pinned', pinned);
  const spoken = slot => whyOf(json, slot) ?? FIGURES.map(({key, digits}) =>
    `${key} ${fixed(json.out?.[key]?.[slot], digits)}`).join(', ');
  Object.assign($('plot'), {ariaValueNow: json.request, ariaValueText: `request ${json.request}, ${json.outcome}, ` +
    SLOTS.map(slot => `slot ${slot}: ${spoken(slot)}`).join('; ')});
}

function slotTable(json) {
  return table(['slot', ...FIGURES.map(({key}) => key), ''], SLOTS.map(slot => {
    const why = whyOf(json, slot);
    const figure = ({key, digits}) => isFigure(why, key) ? fixed(json.out?.[key]?.[slot], digits) : '–';
    return [slotKey(slot), ...FIGURES.map(figure), why === null ? '' : `<span class="dim">${reason(why)}</span>`];
  }));
}

function requestHtml(json) {
  const {key, hint, css} = OUTCOMES[run.outcome[selected]], event = run.events.find(({i}) => i === selected);
  const twin = other?.index.get(json.request), source = sourceOf(json);
  const late = run.late?.[selected] ? ', <span class="bad">late</span>' : '';
  const line = JSON.stringify(json, null, 1).replace(/\[[^[\]{}]*\]/g, values => values.replace(/\s+/g, ' '));
  return `<div class="row"><h3>Request ${count(json.request)}</h3>` +
    `<span class="${css === 'dropped' ? 'bad' : ''}">${abbr(key, hint)}</span></div>` +
    (event ? `<strong>Before it: ${esc(event.text)}</strong>` : '') +
    (run.paced ? `<div>sent at ${time(json.at_us)}${late}, took ${time(json.took_us)}</div>` : '') + slotTable(json) +
    (twin === undefined ? '' : '<div>The second run:</div>' + slotTable(JSON.parse(other.lines[twin]))) +
    (source === null ? '' : `<div>Its figures come from the pass over request ${link(source)}, ` +
      `${json.figures_age} earlier.</div>`) + (picturesHtml(json.request) || picturesHtml(source)) + stateHtml(json) +
    `<details><summary>The line of the recording</summary><pre>${esc(line)}</pre></details>`;
}

function stateHtml(json) {
  const state = Object.entries(run.states[selected]).map(([name, value]) => [name, esc(value)]);
  return '<dl class="pairs">' + pairs([...state,
    ['faces', esc(list(json.in?.faces).map(face => list(face).join(' ')).join(', ') || 'none')],
    ['frame', `${esc(show(json.frame?.index))} <span class="dim">${esc(show(json.frame?.digest))}</span>`]]) + '</dl>';
}

// ---- Passes -------------------------------------------------------------------------------------
// Returns the frame of a request and, at the same scale, the picture that the models saw, with their faces; nothing
// where the page has no pictures of it. An image has the size of the whole picture and the scale of its pixels.
function picturesHtml(request) {
  const images = [...$('pictures')?.content.querySelectorAll(`[data-request="${request}"]`) ?? []];
  if (!images.length) return '';
  const frameFaces = list(JSON.parse(run.lines[run.index.get(request)] ?? null)?.in?.faces).map(faceSvg).join('');
  const slots = new Map(list(run.passes.get(request)?.told?.calls).map(call => [call?.slot, call?.face]));
  const seenFaces = [...slots].map(([slot, face]) => faceSvg(face, slot)).join('');
  const figure = ({src, alt, dataset: {scale, width: w, height: h}}) => `<figure style="flex-grow:${scale * w}">` +
    `<div class="picture"><img src="${src}" width="${w}" height="${h}" alt="${alt} of request ${request}">` +
    `<svg viewBox="0 0 ${w} ${h}" preserveAspectRatio="none" aria-hidden="true">` +
    `${+scale > 1 ? seenFaces : frameFaces}</svg></div><figcaption>${alt} of request ${request}</figcaption></figure>`;
  const wide = images.reduce((sum, {dataset: {scale, width}}) => sum + scale * width, 0);
  const high = Math.max(...images.map(({dataset: {scale, height}}) => scale * height));
  return `<div class="pair" style="max-width:${Math.round(480 * wide / high)}px">${images.map(figure).join('')}</div>`;
}

function faceSvg(face, slot) {
  const [x, y, w, h] = list(face).map(Number);
  const rect = css => `<rect class="${css}" x="${x}" y="${y}" width="${w}" height="${h}"/>`;
  return slot < SLOTS.length ? rect('under') + rect(`slot${slot}`) : rect('beyond');
}

// Returns the figures that the models found for a slot, by name; those published where the recording has no answers.
function foundIn(pass, slot) {
  const found = {}, span = pass.slots[slot];
  for (const call of list(pass.told?.calls)) if (call?.slot === slot) Object.assign(found, call.answer);
  if (!pass.told && span) FIGURES.forEach(({key}, f) => { found[key] = run.values[f][slot][span.first]; });
  return found;
}

// Returns where the figures of a pass were published, or the reasons of the requests up to the next pass.
function publishedHtml(pass, next, slot) {
  const span = pass.slots[slot];
  if (span) return link(run.number[span.first]) + (span.last > span.first ? ` to ${link(run.number[span.last])}` : '');
  const codes = new Set(run.why[slot].slice((pass.i ?? pass.first) + 1, next?.i ?? run.length));
  const whys = [...codes].map(code => run.reasons[code]).filter(why => why && why !== NOT_HANDED_OVER);
  return 'nowhere: ' + (whys.map(reason).join(', ') || 'no request that hands over followed');
}

function passHtml(pass, next) {
  const rows = SLOTS.map(slot => [slotKey(slot), ...FIGURES.map(({key, digits}) =>
    fixed(foundIn(pass, slot)[key], digits)), publishedHtml(pass, next, slot)]);
  const worker = pass.told?.worker > 1 ? `, worker ${esc(pass.told.worker)}` : '';
  return `<article>${picturesHtml(pass.request)}<div><h3>Pass over request ${link(pass.request)}${worker}` +
    `${pass.told && run.paced ? `, ${time(pass.told.took_us)}` : ''}</h3>` +
    table(['slot', ...FIGURES.map(({key}) => key), 'published in requests'], rows) + '</div></article>';
}

function passesHtml() {
  const all = analysedPasses().sort((a, b) => b.request - a.request), newest = all.slice(0, SHOWN_PASSES);
  const about = !$('pictures')?.content.children.length ? 'Pictures are in the report of a run.' :
    'On the left the frame that the worker took, on the right, at the same scale, the upright picture of half its ' +
    'size that the models saw.';
  return `<h2>Passes, the newest first</h2><p class="dim">${newest.length} of ${count(all.length)}, with the figures ` +
    `that each found. ${about}</p>` + newest.map((pass, i) => passHtml(pass, all[i - 1])).join('');
}

// ---- Two runs -----------------------------------------------------------------------------------
// Returns whether camsim considers two values equal: floats up to the tolerance, others exactly. Floats are the
// figures, and other numbers with a fraction: JSON does not tell 1.0 from 1.
function areEqual(a, b, isFigure) {
  if (Array.isArray(a) && a.length === b?.length) return a.every((value, k) => areEqual(value, b[k], isFigure));
  const areNumbers = typeof a === 'number' && typeof b === 'number';
  if (!areNumbers || !isFigure && Number.isInteger(a) && Number.isInteger(b)) return show(a) === show(b);
  return Math.fround(a) === Math.fround(b) || Math.abs(a - b) <= other.tolerance;
}

// Collects the differences between the runs, by kind: how often, and the greatest or else the first difference.
function compare() {
  const inputs = new Map(), results = new Map(), requests = new Set();
  const note = (groups, i, what, first, second, isFigure = false) => {
    if (areEqual(first, second, isFigure)) return;
    const by = typeof first === 'number' && typeof second === 'number' ? Math.abs(first - second) : 0;
    const group = groups.get(what) ?? groups.set(what, {n: 0, by: -1}).get(what);
    group.n++;
    if (by > group.by) Object.assign(group, {i, first, second, by});
    if (groups === results) requests.add(i);
  };
  run.lines.forEach((line, i) => {
    const j = other.index.get(run.number[i]);
    if (j === undefined) return note(results, i, 'request', 'sent', 'missing');
    const [a, b] = [JSON.parse(line), JSON.parse(other.lines[j])];
    for (const name in run.states[i]) note(inputs, i, name, run.states[i][name], other.states[j][name]);
    note(inputs, i, 'faces', a.in?.faces, b.in?.faces);
    note(inputs, i, 'pixels', a.frame?.digest, b.frame?.digest);
    note(results, i, 'outcome', a.outcome, b.outcome);
    for (const name of new Set(Object.keys({...a.out, ...b.out}))) {
      const [x, y] = [a.out?.[name], b.out?.[name]], isFigure = FIGURES.some(({key}) => key === name);
      if (!isFigure) note(results, i, base(name), x, y);
      else for (const slot of SLOTS) note(results, i, `slot ${slot}: ${name}`, x?.[slot], y?.[slot], isFigure);
    }
    for (const slot of SLOTS) note(results, i, `slot ${slot}: reason`, a.why?.[slot], b.why?.[slot]);
  });
  return {inputs, results, differs: [...requests]};
}

function differencesHtml({inputs, results, differs}) {
  const [a, b] = [run, other].map(({head, settings}) => ({...head, settings: settings.join(', ') || undefined}));
  const keys = Object.keys({...a, ...b}).filter(key => show(a[key]) !== show(b[key]));
  const rows = (kind, groups) => [...groups].map(([what, {n, i, first, second}]) =>
    [kind + esc(what), count(n), link(run.number[i]), esc(show(first)), esc(show(second))]);
  return `<h2>What differs in the second run</h2><p>The answers to ${count(differs.length)} of ${count(run.length)} ` +
    `requests differ${other.tolerance ? `, figures by more than ${other.tolerance}` : ''}` +
    `${inputs.size ? ', with other inputs' : ''}; the second run has ${count(other.length)}.</p>` +
    table(['what', 'requests', 'greatest, or first, in', 'first run', 'second run'], [
      ...keys.map(key => [`header: ${esc(key)}`, '', '', esc(show(a[key])), esc(show(b[key]))]),
      ...rows('input: ', inputs), ...rows('', results)]);
}

// ---- Pointer and keys ---------------------------------------------------------------------------
// Returns the request at a place: of those within three pixels the one whose outcome matters most.
function requestAt(px) {
  const x = unscale(px), i = firstFrom(run, x), reach = firstFrom(run, unscale(px + 3));
  let best = i > 0 && (i === run.length || x - run.x[i - 1] < run.x[i] - x) ? i - 1 : i;
  for (let k = firstFrom(run, unscale(px - 3)); k < reach; k++) if (run.outcome[k] > run.outcome[best]) best = k;
  return best;
}

// Shows a part of the run, unless that holds fewer than four requests.
function zoom(from, to) {
  const [low, high] = whole();
  if ((to - from) * run.length >= 4 * (high - low) || run.length < 4) view = [Math.max(low, from), Math.min(high, to)];
  draw();
  select(clamp(selected, firstFrom(run, view[0]), firstFrom(run, view[1]) - 1));
}

function listenToPointer(plot) {
  const at = event => event.clientX - plot.getBoundingClientRect().left;
  let down = null;
  const isDrag = event => down !== null && Math.abs(at(event) - down) > 6;
  plot.addEventListener('pointerdown', event => { down = event.pointerType === 'mouse' ? at(event) : null; });
  plot.addEventListener('pointermove', event => {
    if (!event.buttons) down = null;
    if (isDrag(event)) $('zoom').setAttribute('d', `M${down} ${TOP}H${at(event)}V${bottom}H${down}z`);
    else if (!pinned) select(requestAt(at(event)));
  });
  plot.addEventListener('pointerup', event => {
    const i = requestAt(at(event));
    if (isDrag(event)) zoom(...[down, at(event)].sort((a, b) => a - b).map(unscale));
    else select(i, !pinned || i !== selected);
    down = null;
  });
}

function handedOver(step) {
  let i = selected + step;
  while (i > 0 && i < run.length - 1 && run.outcome[i] === NOT_OFFERED) i += step;
  return i;
}

const KEYS = {
  ArrowLeft: () => select(selected - 1), ArrowRight: () => select(selected + 1),
  PageUp: () => select(handedOver(-1)), PageDown: () => select(handedOver(1)),
  Home: () => select(0), End: () => select(run.length - 1), Enter: () => select(selected, !pinned),
  Escape: () => { pinned = false; zoom(...whole()); }};

function listen(plot) {
  listenToPointer(plot);
  plot.addEventListener('keydown', event => {
    if (!KEYS[event.key] || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    KEYS[event.key]();
  });
  document.addEventListener('click', event => {
    const i = run?.index.get(+(event.target.dataset?.request ?? NaN));
    if (i === undefined) return;
    select(i, true);
    plot.scrollIntoView({block: 'nearest'});
  });
  const resize = () => { if (run && Math.abs(plot.clientWidth - width) > 1) zoom(...view); };
  new ResizeObserver(() => requestAnimationFrame(resize)).observe(plot);
}

// ---- Begin --------------------------------------------------------------------------------------
// Returns why a recording cannot be shown; null for one that can.
function problemOf({head, length, broken}) {
  if (head.recording > VERSION) return `It is of version ${show(head.recording)}; this page reads version ${VERSION}.`;
  return length ? null : broken ? 'It is no recording: no line has a request.' : 'It has no requests.';
}

function showRuns(first, second) {
  [run, other, selected, pinned] = [first, second, 0, false];
  run.timed = run.paced && (other ?? run).paced;
  for (const each of [run, other ?? run]) each.x = run.timed ? each.at.map(us => us / 1e6) : each.number;
  $('main').hidden = $('compare').hidden = false;
  showHead(run);
  const differences = other && compare();
  if (other) other.differs = differences.differs;
  view = whole();
  draw();
  performance.mark('plotted');
  $('differences').innerHTML = other ? differencesHtml(differences) : '';
  $('passes').innerHTML = passesHtml();
  Object.assign($('plot'), {ariaValueMin: run.number[0], ariaValueMax: run.number.at(-1)});
  select(Math.max(0, run.outcome.lastIndexOf(TAKEN)));
}

// Shows one recording or two, given as texts. For texts that cannot be shown, a message names the reason and the page
// stays unchanged. Figures of two recordings are equal up to the tolerance.
function open(name, texts, tolerance = 0) {
  const runs = texts.filter(text => text !== undefined).map(parse), problem = runs.map(problemOf).find(Boolean);
  const broken = runs.reduce((sum, run) => sum + run.broken, 0);
  $('problem').textContent = problem ? `${name} cannot be shown. ${problem}` :
    broken ? `${count(broken)} lines of ${name} cannot be read.` : '';
  if (problem) return;
  if (texts[0] !== shown) $('pictures')?.remove();
  shown = texts[0];
  if (runs[1]) runs[1].tolerance = tolerance;
  showRuns(...runs);
}

async function begin() {
  let isSecond = false;
  shown = await embedded('recording');
  listen($('plot'));
  const tolerance = Number($('recording2')?.dataset.tolerance ?? 0);
  if (shown !== undefined) open('the recording', [shown, await embedded('recording2')], tolerance);
  for (const id of ['open', 'compare']) {
    $(id).addEventListener('click', () => { isSecond = id === 'compare'; $('file').click(); });
  }
  $('file').addEventListener('change', async () => {
    const file = $('file').files[0], text = await file.text();
    $('file').value = '';
    open(file.name, isSecond ? [shown, text] : [text]);
  });
}

begin();
