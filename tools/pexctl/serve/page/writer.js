// The page's writes, on a worker thread of their own: a write's answer is
// taken here the moment it arrives, not when the page's thread is next free
// (after an input event the browser renders a frame before it runs network
// callbacks, which would add up to a frame to every write).
//
// Per parameter and route at most one write is in flight; newer values wait
// and only the newest is sent next. Each answer goes back to the page with
// the times on the page's clock; the page knows which answers are superseded.
import { call } from './api.js';

const slots = new Map();

async function pump(slot) {
  slot.running = true;
  while (slot.next) {
    const job = slot.next;
    slot.next = null;
    const started = performance.now();
    const answer = await call('PUT', `param/${encodeURIComponent(job.name)}?route=${job.route}`, { value: job.value });
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
