// pexctl serve's page: the opened endpoint's summary, its band arrays as
// curves and its scalars as number fields, written as they are edited
// (Writer: one write in flight per parameter, the last value always lands)
// and read back; a write log, undo and redo, snapshots; values polled so
// that changes made elsewhere show within a second.
import { call, failures, Writer } from './api.js';
import { Curve } from './curve.js';

const POLL_MS = 700;  // with the read itself, within a second
const QUIET_MS = 300; // no poll while the user edits: a poll holds the server for tens of ms
const LOG_ROWS = 1000;
const $ = (id) => document.getElementById(id);

const state = {
  route: 'store',
  parameters: [],
  values: { store: {}, dsp: {} },
  overlay: null,        // {store: {name: value}, dsp: {...}} of an opened snapshot
  snapshotText: null,
  edits: new Map(),     // name -> {before, value} while a gesture runs
  undo: [],
  redo: [],
  charts: new Map(),    // name -> {card, error, count, curves: [{field, row, curve}]}
  scalars: new Map(),   // name -> {store, dsp, input, error}
  lastEdit: -Infinity,  // when the user last wrote
};

function cell(row, content, className) {
  const td = row.insertCell();
  td.textContent = content;
  if (className) td.className = className;
  return td;
}

function copy(value) { return value === undefined || value === null ? null : JSON.parse(JSON.stringify(value)); }
function primary() { return state.route === 'dsp' ? 'dsp' : 'store'; }
function other() { return state.route === 'both' ? 'dsp' : null; }
function shortText(value) {
  const text = typeof value === 'string' ? value : JSON.stringify(value);
  return text.length > 80 ? text.slice(0, 77) + '...' : text;
}
function showError(name, message) {
  const target = state.charts.get(name) || state.scalars.get(name);
  if (target) target.error.textContent = message;
}

// ---- writes ----

const writer = new Writer(written, (note) => logRow(['', '', '', note, '']));

function send(parameter, route, value, since) {
  state.lastEdit = performance.now();
  showError(parameter.name, '');
  writer.write(parameter.name, route, value, since);
}

function written(job) {
  const problem = failures(job.document);
  const routes = job.route === 'both' ? ['store', 'dsp'] : [job.route];
  if (!job.superseded) {
    for (const route of routes) {
      if (job.document[route] !== undefined) state.values[route][job.name] = job.document[route];
    }
    showError(job.name, problem);
    redraw(job.name);
  }
  const latency = job.finished - job.since;
  const row = logRow([job.name, job.route, shortText(job.value),
    problem || 'written and read back (' + (job.document.written || []).join(', ') + ')', latency.toFixed(1) + ' ms']);
  row.dataset.latency = latency.toFixed(2);
  row.dataset.parameter = job.name;
  row.dataset.request = (job.finished - job.started).toFixed(2);  // sent to answered, without waiting for one in flight
  row.dataset.server = ((job.document.microseconds || 0) / 1000).toFixed(3);  // the write and read back alone
  if (problem) row.className = 'failed';
}

// A new first row of the write log: the time, then `texts` (the last one a number).
function logRow(texts) {
  const log = $('log').tBodies[0];
  const row = log.insertRow(0);
  cell(row, new Date().toISOString().slice(11, 23));
  texts.forEach((text, i) => cell(row, text, i === texts.length - 1 ? 'number' : undefined));
  while (log.rows.length > LOG_ROWS) log.deleteRow(-1);
  return row;
}

// A finished edit: undoable when the value before it was known.
function remember(parameter, route, before, after) {
  if (before === null) return;
  state.undo.push({ parameter, route, before, after });
  state.redo = [];
  updateHistory();
}

function travel(from, to, field) {
  const entry = from.pop();
  if (!entry) return;
  to.push(entry);
  send(entry.parameter, entry.route, copy(entry[field]), performance.now());
  updateHistory();
}

function updateHistory() {
  $('undo').disabled = state.undo.length === 0;
  $('redo').disabled = state.redo.length === 0;
}

// ---- band arrays ----

function rowsOf(value) {
  const rows = [];
  for (const [field, items] of Object.entries(value || {})) {
    if (!Array.isArray(items) || items.length === 0 || items.length % 20 !== 0) continue;
    for (let row = 0; row < items.length / 20; ++row) rows.push({ field, row });
  }
  return rows;
}

function chartFor(parameter) {
  let chart = state.charts.get(parameter.name);
  if (chart) return chart;
  const card = document.createElement('div');
  card.className = 'chart';
  card.dataset.parameter = parameter.name;
  const title = document.createElement('h3');
  title.textContent = `${parameter.name} (${parameter.id})`;
  const count = document.createElement('input');
  count.type = 'number';
  count.min = 0;
  count.max = 20;
  count.className = 'count';
  const label = document.createElement('label');
  label.textContent = 'count ';
  label.appendChild(count);
  label.hidden = true;
  title.appendChild(label);
  const note = document.createElement('p');
  const error = document.createElement('p');
  error.className = 'error';
  error.setAttribute('role', 'alert');
  card.append(title, note, error);
  $('curves').appendChild(card);
  chart = { card, note, error, count, countLabel: label, curves: [] };
  count.addEventListener('change', () => {
    const value = copy(state.values[primary()][parameter.name]);
    const number = Number(count.value);
    if (!value || !Number.isInteger(number)) return;
    const before = copy(value);
    value.count = number;
    send(parameter, state.route, value, performance.now());
    remember(parameter, state.route, before, value);
  });
  state.charts.set(parameter.name, chart);
  return chart;
}

function drawChart(parameter) {
  const chart = chartFor(parameter);
  const route = primary();
  const served = route === 'dsp' ? parameter.dsp : parameter.store;
  const value = state.values[route][parameter.name];
  const otherValue = other() ? state.values.dsp[parameter.name] : null;
  const overlay = state.overlay ? state.overlay[route][parameter.name] || state.overlay[route === 'dsp' ? 'store' : 'dsp'][parameter.name] : null;
  chart.note.textContent = !served ? `served by the ${route === 'dsp' ? 'store' : 'DSP'} route only`
    : value === undefined ? 'not read yet'
    : value === null ? `no value held on the ${route} route (set one with pexctl set, or apply a snapshot)` : '';
  const rows = served && value ? rowsOf(value) : [];
  chart.countLabel.hidden = !(value && 'count' in value);
  if (value && 'count' in value && document.activeElement !== chart.count) chart.count.value = value.count;
  while (chart.curves.length > rows.length) chart.curves.pop().curve.svg.remove();
  rows.forEach(({ field, row }, i) => {
    if (!chart.curves[i] || chart.curves[i].field !== field || chart.curves[i].row !== row) {
      const curve = new Curve(`${parameter.name} ${field}${row ? ' row ' + (row + 1) : ''}`,
        (band, v, time) => moved(parameter, field, row * 20 + band, v, time),
        () => ended(parameter));
      curve.svg.dataset.field = field;
      curve.svg.dataset.row = row;
      if (chart.curves[i]) chart.curves[i].curve.svg.replaceWith(curve.svg); else chart.card.appendChild(curve.svg);
      chart.curves[i] = { field, row, curve };
    }
    const slice = (v) => (v && Array.isArray(v[field]) ? v[field].slice(row * 20, row * 20 + 20) : null);
    const count = 'count' in value ? Math.min(20, Math.max(0, value.count - row * 20)) : 20;
    chart.curves[i].curve.show(slice(value), count, slice(otherValue), slice(overlay));
  });
}

function moved(parameter, field, index, v, time) {
  let edit = state.edits.get(parameter.name);
  if (!edit) {
    const current = copy(state.values[primary()][parameter.name]);
    edit = { before: copy(current), value: current };
    state.edits.set(parameter.name, edit);
  }
  edit.value[field][index] = v;
  send(parameter, state.route, copy(edit.value), time);
}

function ended(parameter) {
  const edit = state.edits.get(parameter.name);
  if (!edit) return;
  state.edits.delete(parameter.name);
  remember(parameter, state.route, edit.before, copy(edit.value));
}

// ---- scalars ----

function scalarRow(parameter) {
  const row = $('scalars').tBodies[0].insertRow();
  row.dataset.parameter = parameter.name;
  cell(row, parameter.id, 'number');
  cell(row, parameter.name);
  const store = cell(row, '', 'number store');
  const dsp = cell(row, '', 'number dsp');
  const input = document.createElement('input');
  input.type = 'number';
  input.step = 1;
  input.setAttribute('aria-label', parameter.name);
  input.disabled = !parameter.writable;
  row.insertCell().appendChild(input);
  const error = cell(row, '', 'error');
  const write = (value, time) => {
    const before = copy(state.values[primary()][parameter.name]);
    send(parameter, state.route, value, time);
    remember(parameter, state.route, typeof before === 'number' ? before : null, value);
  };
  input.addEventListener('keydown', (event) => {
    const step = { ArrowUp: 1, ArrowDown: -1 }[event.key];
    if (step === undefined) return;
    event.preventDefault();
    const base = Number.isInteger(Number(input.value)) && input.value !== '' ? Number(input.value) : 0;
    input.value = base + step * (event.shiftKey ? 10 : 1);
    write(Number(input.value), event.timeStamp);
  });
  input.addEventListener('change', (event) => {
    const value = Number(input.value);
    if (input.value === '' || !Number.isInteger(value)) {
      error.textContent = `"${input.value}" is not a whole number`;
      return;
    }
    write(value, event.timeStamp);
  });
  state.scalars.set(parameter.name, { store, dsp, input, error, parameter });
}

function drawScalar(name) {
  const row = state.scalars.get(name);
  const show = (route) => {
    const value = state.values[route][name];
    const served = route === 'dsp' ? row.parameter.dsp : row.parameter.store;
    return !served ? '' : value === undefined ? '?' : value === null ? '(none)' : String(value);
  };
  row.store.textContent = show('store');
  row.dsp.textContent = show('dsp');
  const current = state.values[primary()][name];
  if (document.activeElement !== row.input && !writer.busy(name)) row.input.value = typeof current === 'number' ? current : '';
}

function redraw(name) {
  const parameter = state.parameters.find((p) => p.name === name);
  if (!parameter) return;
  if (state.charts.has(name) || parameter.bandArray) drawChart(parameter);
  if (state.scalars.has(name)) drawScalar(name);
}

function redrawAll() {
  for (const parameter of state.parameters) redraw(parameter.name);
}

// ---- reading ----

let polling = false;
async function poll() {
  if (polling || state.edits.size > 0 || performance.now() - state.lastEdit < QUIET_MS) return;
  polling = true;
  const { status, document } = await call('GET', 'values?route=both');
  polling = false;
  if (status === 0) {
    $('status').textContent = failures(document);
    $('status').className = 'error';
    return;
  }
  $('status').textContent = failures(document);
  $('status').className = status === 200 ? '' : 'error';
  for (const route of ['store', 'dsp']) {
    for (const [name, value] of Object.entries(document[route] || {})) {
      if (writer.busy(name) || state.edits.has(name)) continue;
      if (JSON.stringify(state.values[route][name]) === JSON.stringify(value)) continue;
      state.values[route][name] = value;
      redraw(name);
    }
  }
}

async function summary() {
  const { document } = await call('GET', 'endpoint');
  $('title').textContent = `${document.name || 'pexctl serve'}`;
  window.document.title = `${document.name} - pexctl serve`;
  const modules = (document.modules || []).map((m) => m.present ? `${m.family} ${m.version} (${m.name})` : `${m.family}: not on this endpoint's DSP`);
  const rows = [
    ['endpoint', document.name], ['id', document.id], ['form factor', document.formFactorName],
    ['PEX', document.pexVersion || '-'], ['KRELO', document.kreloVersion || '-'],
    ['modules on the DSP', modules.join('; ')],
    ['property store', document.readOnlyStore ? 'opened read-only: writes to the store fail' : 'opened for writing'],
  ];
  const list = $('summary');
  list.replaceChildren();
  for (const [term, detail] of rows) {
    const dt = window.document.createElement('dt');
    dt.textContent = term;
    const dd = window.document.createElement('dd');
    dd.textContent = detail ?? '';
    list.append(dt, dd);
  }
  if (document.errors) $('status').textContent = failures(document);
}

// ---- snapshots ----

async function download() {
  const { status, document } = await call('GET', 'snapshot?route=both');
  if (status !== 200) {
    $('snapshot-status').textContent = 'the snapshot could not be read: ' + failures(document);
    return;
  }
  const link = window.document.createElement('a');
  link.href = URL.createObjectURL(new Blob([JSON.stringify(document, null, 2) + '\n'], { type: 'application/json' }));
  link.download = 'snapshot.json';
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
  $('snapshot-status').textContent = `snapshot of ${document.parameters.length} values downloaded`;
}

async function open(file) {
  const status = $('snapshot-status');
  state.overlay = null;
  state.snapshotText = null;
  $('apply').disabled = $('dry-run').disabled = true;
  const text = await file.text();
  let snapshot;
  try {
    snapshot = JSON.parse(text);
  } catch (e) {
    status.textContent = `${file.name} is not JSON: ${e.message}`;
    status.className = 'error';
    redrawAll();
    return;
  }
  state.overlay = { store: {}, dsp: {} };
  for (const entry of snapshot.parameters || []) {
    if (state.overlay[entry.route]) state.overlay[entry.route][entry.name] = entry.value;
  }
  state.snapshotText = text;
  $('apply').disabled = $('dry-run').disabled = false;
  status.textContent = `${file.name} opened: its curves are drawn in orange; Apply checks it whole and writes what differs`;
  status.className = '';
  redrawAll();
}

async function apply(dryRun) {
  const status = $('snapshot-status');
  const { status: code, document } = await call('POST', 'apply' + (dryRun ? '?dryRun=true' : ''), state.snapshotText);
  if (code === 400 || code === 0) {
    status.textContent = failures(document);
    status.className = 'error';
    return;
  }
  const writes = document.writes || [];
  const failed = writes.filter((w) => !['written', 'dry run', 'read-only'].includes(w.result));
  status.textContent = (dryRun ? `${writes.length} values would be written` : `${writes.length - failed.length} of ${writes.length} differing values written`) +
    (failed.length ? '; failed: ' + failed.map((w) => `${w.name} (${w.route}): ${w.result}`).join('; ') : '') +
    (document.errors ? '\n' + failures(document) : '');
  status.className = failed.length || document.errors ? 'error' : '';
  await poll();
}

// ---- start ----

async function start() {
  const { status, document } = await call('GET', 'parameters');
  if (status !== 200) {
    $('status').textContent = failures(document);
    $('status').className = 'error';
    return;
  }
  state.parameters = document.parameters;
  for (const parameter of state.parameters) {
    if (parameter.bandArray) chartFor(parameter);
    else if (parameter.kind === 'scalar' && parameter.readable) scalarRow(parameter);
  }
  for (const input of window.document.querySelectorAll('input[name=route]')) {
    input.addEventListener('change', () => {
      state.route = input.value;
      redrawAll();
    });
  }
  $('undo').addEventListener('click', () => travel(state.undo, state.redo, 'before'));
  $('redo').addEventListener('click', () => travel(state.redo, state.undo, 'after'));
  $('download').addEventListener('click', download);
  $('open').addEventListener('change', (event) => event.target.files[0] && open(event.target.files[0]));
  $('apply').addEventListener('click', () => apply(false));
  $('dry-run').addEventListener('click', () => apply(true));
  window.document.addEventListener('keydown', (event) => {
    if (!(event.ctrlKey || event.metaKey) || event.key.toLowerCase() !== 'z') return;
    event.preventDefault();
    if (event.shiftKey) travel(state.redo, state.undo, 'after'); else travel(state.undo, state.redo, 'before');
  });
  updateHistory();
  await summary();
  await poll();
  redrawAll();
  setInterval(poll, POLL_MS);
  window.document.body.dataset.ready = 'true';
}

start();
