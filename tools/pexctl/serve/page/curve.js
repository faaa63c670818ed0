// One row of 20 bands as an SVG curve whose points are dragged (mouse,
// touch, pen) or moved with the arrow keys on a focused point. Points from
// `count` on are dimmed and cannot be moved.
const SVG = 'http://www.w3.org/2000/svg';
const W = 640, H = 240, LEFT = 44, RIGHT = 10, TOP = 10, BOTTOM = 22;

function element(name, attributes, parent) {
  const node = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  if (parent) parent.appendChild(node);
  return node;
}

export class Curve {
  // `label`: e.g. "pex_ieq_bands a"; `onMove(index, value, eventTime)` while
  // moving, `onEnd()` when a gesture ends.
  constructor(label, onMove, onEnd) {
    this.values = [];
    this.count = 20;
    this.onMove = onMove;
    this.onEnd = onEnd;
    this.dragging = null;
    this.svg = element('svg', { class: 'curve', viewBox: `0 0 ${W} ${H}`, role: 'group', 'aria-label': label });
    this.grid = element('g', {}, this.svg);
    element('text', { class: 'label', x: LEFT + 8, y: TOP + 8 }, this.svg).textContent = label;
    this.other = element('path', { class: 'other' }, this.svg);
    this.overlay = element('path', { class: 'overlay' }, this.svg);
    this.line = element('path', { class: 'line' }, this.svg);
    this.points = [];
    for (let i = 0; i < 20; ++i) {
      const point = element('circle', { class: 'point', r: 6, 'data-index': i }, this.svg);
      point.addEventListener('pointerdown', (event) => this.start(event, i));
      point.addEventListener('keydown', (event) => this.key(event, i));
      this.points.push(point);
    }
    // A drag follows pointerrawupdate where the browser has it: it comes as the
    // pointer moves, where pointermove waits for the next frame.
    const moves = 'onpointerrawupdate' in window ? 'pointerrawupdate' : 'pointermove';
    this.svg.addEventListener(moves, (event) => this.move(event));
    this.svg.addEventListener('pointerup', (event) => this.end(event));
    this.svg.addEventListener('pointercancel', (event) => this.end(event));
  }

  // Draws `values` (the route's), `other` (the other route's) and `overlay`
  // (a snapshot's), each an array of 20 numbers or null.
  show(values, count, other, overlay) {
    if (!this.dragging) {
      this.values = values ? values.slice() : [];
      this.count = count;
    }
    this.otherValues = other;
    this.overlayValues = overlay;
    if (!this.dragging) this.scale();
    this.draw();
  }

  scale() {
    const all = [this.values, this.otherValues, this.overlayValues].filter(Boolean).flat();
    let low = Math.min(0, ...all), high = Math.max(0, ...all);
    if (high - low < 20) high = low + 20;
    const margin = (high - low) * 0.1;
    this.low = Math.floor(low - margin);
    this.high = Math.ceil(high + margin);
    this.grid.replaceChildren();
    const y0 = this.y(0);
    element('line', { class: 'axis', x1: LEFT, x2: LEFT, y1: TOP, y2: H - BOTTOM }, this.grid);
    element('line', { class: 'zero', x1: LEFT, x2: W - RIGHT, y1: y0, y2: y0 }, this.grid);
    for (const [value, y] of [[this.high, TOP + 8], [0, y0 + 3], [this.low, H - BOTTOM]]) {
      element('text', { class: 'label', x: 4, y }, this.grid).textContent = value;
    }
    for (let i = 0; i < 20; i += 1) {
      element('text', { class: 'label', x: this.x(i) - 3, y: H - 6 }, this.grid).textContent = i + 1;
    }
  }

  x(i) { return LEFT + 12 + (i * (W - LEFT - RIGHT - 24)) / 19; }
  y(v) { return TOP + ((this.high - v) * (H - TOP - BOTTOM)) / (this.high - this.low); }
  valueAt(clientY) {
    const box = this.svg.getBoundingClientRect();
    const y = ((clientY - box.top) * H) / box.height;
    return Math.round(this.high - ((y - TOP) * (this.high - this.low)) / (H - TOP - BOTTOM));
  }

  path(values) {
    return values && values.length ? values.map((v, i) => `${i ? 'L' : 'M'}${this.x(i).toFixed(1)},${this.y(v).toFixed(1)}`).join(' ') : '';
  }

  draw() {
    this.line.setAttribute('d', this.path(this.values));
    this.other.setAttribute('d', this.path(this.otherValues));
    this.overlay.setAttribute('d', this.path(this.overlayValues));
    this.points.forEach((point, i) => {
      const shown = i < this.values.length;
      const active = shown && i < this.count;
      point.setAttribute('cx', this.x(i));
      point.setAttribute('cy', shown ? this.y(this.values[i]) : -100);
      point.classList.toggle('inactive', !active);
      point.setAttribute('tabindex', active ? '0' : '-1');
      point.setAttribute('aria-label', shown ? `band ${i + 1}: ${this.values[i]}` : `band ${i + 1}`);
    });
  }

  set(i, value, time) {
    if (value === this.values[i]) return;
    this.values[i] = value;
    if (!this.dragging && (value < this.low || value > this.high)) this.scale();
    this.draw();
    this.onMove(i, value, time);
  }

  start(event, i) {
    if (i >= this.count || i >= this.values.length) return;
    event.preventDefault();
    this.points[i].focus();
    this.points[i].setPointerCapture(event.pointerId);
    this.dragging = { index: i, pointer: event.pointerId };
  }

  move(event) {
    if (!this.dragging || event.pointerId !== this.dragging.pointer) return;
    this.set(this.dragging.index, this.valueAt(event.clientY), event.timeStamp);
  }

  end(event) {
    if (!this.dragging || event.pointerId !== this.dragging.pointer) return;
    this.dragging = null;
    this.scale();
    this.draw();
    this.onEnd();
  }

  key(event, i) {
    const step = { ArrowUp: 1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
    const walk = { ArrowLeft: -1, ArrowRight: 1, Home: -i, End: this.count - 1 - i }[event.key];
    if (step !== undefined && i < this.count) {
      event.preventDefault();
      this.set(i, this.values[i] + step * (event.shiftKey && Math.abs(step) === 1 ? 10 : 1), event.timeStamp);
      this.onEnd();
    } else if (walk !== undefined) {
      event.preventDefault();
      const next = Math.max(0, Math.min(this.count - 1, i + walk));
      this.points[next].focus();
    }
  }
}
