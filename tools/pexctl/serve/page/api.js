// The server's JSON API (docs/serve.md), and the writer that keeps at most
// one write in flight per parameter and route while the last value always lands.

// {status, document}; a document's "errors" are the failures in words.
export async function call(method, path, body) {
  const init = { method, headers: {} };
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = typeof body === 'string' ? body : JSON.stringify(body);
  }
  let response;
  try {
    response = await fetch('/api/' + path, init);
  } catch (e) {
    return { status: 0, document: { errors: [{ message: 'the server cannot be reached (pexctl serve ended?)' }] } };
  }
  let document;
  try {
    document = await response.json();
  } catch (e) {
    document = { errors: [{ message: `the server answered ${response.status} without JSON` }] };
  }
  return { status: response.status, document };
}

// The failures of a document, in words, one per line.
export function failures(document) {
  return (document.errors || []).map((error) => error.message).join('\n');
}

// Writes by parameter and route: while one is in flight, newer values wait
// and only the newest is sent next. `done` gets each answer with the value
// sent, the input event's time and what the caller attached.
export class Writer {
  constructor(done) {
    this.done = done;
    this.slots = new Map();
  }

  busy(name) {
    for (const [key, slot] of this.slots) {
      if (key.startsWith(name + '|') && (slot.running || slot.next)) return true;
    }
    return false;
  }

  write(name, route, value, since, meta) {
    const key = name + '|' + route;
    let slot = this.slots.get(key);
    if (!slot) this.slots.set(key, (slot = { running: false, next: null }));
    slot.next = { name, route, value, since, meta };
    if (!slot.running) this.pump(slot);
  }

  async pump(slot) {
    slot.running = true;
    while (slot.next) {
      const job = slot.next;
      slot.next = null;
      const started = performance.now();
      const answer = await call('PUT', `param/${encodeURIComponent(job.name)}?route=${job.route}`, { value: job.value });
      this.done({ ...job, ...answer, started, finished: performance.now(), superseded: slot.next !== null });
    }
    slot.running = false;
  }
}
