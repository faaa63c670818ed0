// The page's writes, on a worker thread of their own: a write's answer is
// taken here the moment it arrives, not when the page's thread is next free
// (after an input event the browser renders a frame before it runs network
// callbacks, which would add up to a frame to every write).
//
// Per parameter and route at most one write is in flight; newer values wait
// and only the newest is sent next. Each answer goes back to the page with
// the times on the page's clock; the page knows which answers are superseded.
//
// Writes go over one WebSocket (/api/socket), opened when the worker starts.
// When it cannot be opened or closes, they go as PUT requests from then on,
// those in flight on it too, and the page is told once (a message {note}).
import { call } from './api.js';

const slots = new Map();
const sent = new Map();  // number -> {job, arrived(answer)} of a write in flight on the socket
let fellBack = false;

function put(job) {
  return call('PUT', `param/${encodeURIComponent(job.name)}?route=${job.route}`, { value: job.value });
}

function fallBack(why) {
  if (!fellBack) postMessage({ note: `${why}: writes go as HTTP requests from now on` });
  fellBack = true;
  for (const { job, arrived } of sent.values()) put(job).then(arrived);
  sent.clear();
}

const opened = new Promise((resolve) => {
  const socket = new WebSocket(new URL('/api/socket', location.href.replace(/^http/, 'ws')));
  socket.onopen = () => resolve(socket);
  socket.onmessage = ({ data }) => {
    const document = JSON.parse(data);
    const waiting = sent.get(document.number);
    if (!waiting) return;
    sent.delete(document.number);
    const { status, number, ...rest } = document;
    waiting.arrived({ status, document: rest });
  };
  socket.onclose = ({ code }) => {
    resolve(null);
    fallBack(`the WebSocket to the server is unavailable (closed with ${code})`);
  };
});

async function write(job) {
  const socket = await opened;
  if (fellBack || socket === null || socket.readyState !== WebSocket.OPEN) return put(job);
  return new Promise((arrived) => {
    sent.set(job.number, { job, arrived });
    socket.send(JSON.stringify({ number: job.number, name: job.name, route: job.route, value: job.value }));
  });
}

async function pump(slot) {
  slot.running = true;
  while (slot.next) {
    const job = slot.next;
    slot.next = null;
    const started = performance.now();
    const answer = await write(job);
    const finished = performance.now();
    const shift = performance.timeOrigin - job.origin;
    postMessage({ ...job, ...answer, started: started + shift, finished: finished + shift });
  }
  slot.running = false;
}

onmessage = ({ data: job }) => {
  const key = job.name + '|' + job.route;
  let slot = slots.get(key);
  if (!slot) slots.set(key, (slot = { running: false, next: null }));
  slot.next = job;
  if (!slot.running) pump(slot);
};
