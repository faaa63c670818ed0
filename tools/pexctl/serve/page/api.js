// The server's JSON API (docs/serve.md), and the Writer that hands the
// page's writes to writer.js.

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

// Writes by parameter and route, made by writer.js on a worker: at most one
// in flight per parameter and route, the last value always lands. `done`
// gets each answer with the value sent, the input event's time (`since`)
// and when the write was sent and its answer arrived, all on the page's
// clock; `note` gets what the worker has to say in words (once it writes
// over HTTP instead of its WebSocket).
export class Writer {
  constructor(done, note) {
    this.numbered = 0;
    this.last = new Map();  // "name|route" -> number of the last write handed over, until it is answered
    this.worker = new Worker('./writer.js', { type: 'module' });
    // An answer is superseded when a newer write of its parameter and route was handed
    // over after it, whether or not the worker has seen that one yet.
    this.worker.onmessage = ({ data: answer }) => {
      if (answer.note) return note(answer.note);
      const key = answer.name + '|' + answer.route;
      const superseded = this.last.get(key) !== answer.number;
      if (!superseded) this.last.delete(key);
      done({ ...answer, superseded });
    };
  }

  busy(name) {
    for (const key of this.last.keys()) if (key.startsWith(name + '|')) return true;
    return false;
  }

  write(name, route, value, since) {
    const number = ++this.numbered;
    this.last.set(name + '|' + route, number);
    this.worker.postMessage({ name, route, value, since, number, origin: performance.timeOrigin });
  }
}
