"use strict";
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const byId = (id) => document.getElementById(id);
  const layers = new Map(data.layers.map((layer) => [layer.id, layer]));
  const stage = byId("stage");
  const split = byId("split");
  const reading = byId("reading");
  const magnified = 32;  // pixels of the image across a loupe

  // Values are 16-bit codes, low byte first: value = offset + step * code; the highest code is no value.
  for (const layer of data.layers) {
    if (layer.codes) layer.bytes = atob(layer.codes);
  }

  function valueAt(layer, x, y) {
    const column = Math.floor(x / layer.pixel / layer.stride);
    const row = Math.floor(y / layer.pixel / layer.stride);
    const at = 2 * (row * layer.columns + column);
    const code = layer.bytes.charCodeAt(at) + 256 * layer.bytes.charCodeAt(at + 1);
    return code === 65535 ? NaN : layer.offset + layer.step * code;
  }

  function inUnit(value, layer) {
    if (Number.isNaN(value)) return "no value";
    const number = layer.decimals <= 12 && Math.abs(value) < 1e12 ? value.toFixed(layer.decimals) : value.toPrecision(6);
    return number + (layer.unit ? " " + layer.unit : "");
  }

  // ---- the two pictures under one slider

  const chosen = { left: "frame", right: "image" };
  const bars = new Map();

  function showLayer(side, id) {
    chosen[side] = id;
    const picture = byId("layer-" + id).querySelector("img");
    byId(side).src = picture.src;
    byId(side).alt = picture.alt;
    byId("captions").replaceChildren(...["left", "right"].map((each) => {
      const caption = document.createElement("p");
      caption.append(...byId("layer-" + chosen[each]).querySelector("figcaption").cloneNode(true).childNodes);
      return caption;
    }));
    const scales = new Set([layers.get(chosen.left).scale, layers.get(chosen.right).scale]);
    bars.clear();
    byId("bars").replaceChildren(...[...scales].map((scale) => {
      const bar = byId("layer-" + scale).querySelector(".bar").cloneNode(true);
      const marker = document.createElement("i");
      marker.className = "marker";
      bar.querySelector(".track").prepend(marker);
      bars.set(scale, marker);
      return bar;
    }));
  }

  function addChoices(side) {
    for (const layer of data.layers.filter((candidate) => candidate.side === side)) {
      const label = document.createElement("label");
      const input = document.createElement("input");
      Object.assign(input, { type: "radio", name: side, checked: layer.id === chosen[side] });
      input.addEventListener("change", () => { showLayer(side, layer.id); read(point.x, point.y); });
      label.append(input, Object.assign(document.createElement("span"), { textContent: layer.name }));
      byId(side + "-choices").append(label);
    }
  }

  function setSplit(percent) {
    split.value = percent;
    stage.style.setProperty("--split", split.value + "%");
    split.setAttribute("aria-valuetext", Math.round(split.value) + " percent");
  }

  split.addEventListener("input", () => setSplit(split.value));
  const divider = byId("divider");
  divider.addEventListener("pointerdown", (event) => {
    divider.setPointerCapture(event.pointerId);
    event.preventDefault();
  });
  divider.addEventListener("pointermove", (event) => {
    if (!divider.hasPointerCapture(event.pointerId)) return;
    const box = stage.getBoundingClientRect();
    setSplit(100 * (event.clientX - box.left) / box.width);
  });

  // ---- the value under the pointer, a finger, or where the arrow keys lead

  const point = { x: 0, y: 0 };

  function read(x, y) {
    const image = layers.get("image");
    const snapped = (v, size) => {
      const inside = Math.min(Math.max(Math.floor(v), 0), size - 1);
      return inside - inside % image.stride;
    };
    point.x = snapped(x, data.width);
    point.y = snapped(y, data.height);
    const values = new Map();
    for (const layer of data.layers) {
      if (layer.bytes) values.set(layer.id, valueAt(layer, point.x, point.y));
    }
    showReading(values);
    for (const [scale, marker] of bars) {
      const layer = layers.get(scale);
      const share = (values.get(scale) - layer.lowest) / (layer.highest - layer.lowest || 1);
      marker.hidden = !Number.isFinite(share);
      marker.style.left = 100 * Math.min(Math.max(share, 0), 1) + "%";
    }
    const cross = byId("cross").style;
    cross.left = 100 * (point.x + 0.5) / data.width + "%";
    cross.top = 100 * (point.y + 0.5) / data.height + "%";
    drawLoupes();
  }

  function showReading(values) {
    const line = (tag, text) => Object.assign(document.createElement(tag), { textContent: text });
    const text = (id) => inUnit(values.get(id), layers.get(id));
    const lines = [line("b", text("image"))];
    for (const layer of data.layers) {
      if (layer.id !== "image" && values.has(layer.id)) lines.push(line("span", layer.reading.replace("{}", () => text(layer.id))));
    }
    const { x, y } = point;
    lines.push(line("span", `pixel (${x}, ${y}); pixel (${Math.floor(x / data.factor)}, ${Math.floor(y / data.factor)}) of the frame`));
    reading.replaceChildren(...lines);
  }

  function readAtPointer(event) {
    if (divider.hasPointerCapture(event.pointerId)) return;
    const box = stage.getBoundingClientRect();
    read((event.clientX - box.left) / box.width * data.width, (event.clientY - box.top) / box.height * data.height);
  }
  stage.addEventListener("pointermove", readAtPointer);
  stage.addEventListener("pointerdown", readAtPointer);
  stage.addEventListener("keydown", (event) => {
    const step = (event.shiftKey ? 10 : 1) * layers.get("image").stride;
    const moves = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step], ArrowDown: [0, step] };
    const move = moves[event.key];
    if (!move) return;
    event.preventDefault();
    read(point.x + move[0], point.y + move[1]);
  });

  for (const spot of data.spots) {
    const button = Object.assign(document.createElement("button"), { type: "button", textContent: spot.name });
    button.addEventListener("click", () => read(spot.x, spot.y));
    byId("spots").append(button);
  }

  // ---- what lies around that point, magnified, with all colours for the values there

  const palette = atob(data.palette);

  function drawLoupes() {
    const corner = (v, size) => Math.max(0, Math.min(v - magnified / 2, size - magnified));
    const left = corner(point.x, data.width), top = corner(point.y, data.height);
    let lowest = Infinity, highest = -Infinity;
    const each = (visit) => {
      for (let y = 0; y < Math.min(magnified, data.height); ++y) {
        for (let x = 0; x < Math.min(magnified, data.width); ++x) visit(x, y, left + x, top + y);
      }
    };
    each((x, y, column, row) => {
      const value = valueAt(layers.get("image"), column, row);
      if (value < lowest) lowest = value;
      if (value > highest) highest = value;
    });
    for (const [canvas, layer] of [["loupe-left", layers.get("frame")], ["loupe-right", layers.get("image")]]) {
      const context = byId(canvas).getContext("2d");
      const size = byId(canvas).width / magnified;
      each((x, y, column, row) => {
        const share = (valueAt(layer, column, row) - lowest) / (highest - lowest || 1);
        const entry = 3 * Math.round(255 * Math.min(Math.max(share, 0), 1));
        context.fillStyle = Number.isFinite(share)
          ? `rgb(${[0, 1, 2].map((i) => palette.charCodeAt(entry + i)).join(" ")})` : data.noValue;
        context.fillRect(x * size, y * size, size, size);
      });
      for (const [colour, width] of [["#000", 4], ["#fff", 2]]) {
        Object.assign(context, { strokeStyle: colour, lineWidth: width });
        context.strokeRect((point.x - left) * size - 2, (point.y - top) * size - 2, size + 4, size + 4);
      }
    }
    byId("loupe-range").textContent = Number.isFinite(lowest)
      ? `Magnified; colours from ${inUnit(lowest, layers.get("image"))} to ${inUnit(highest, layers.get("image"))}.` : "";
  }

  // ---- start

  stage.style.aspectRatio = `${data.width} / ${data.height}`;
  stage.style.maxWidth = split.style.maxWidth = `calc(86vh * ${data.width / data.height})`;
  for (const side of ["left", "right"]) {
    addChoices(side);
    showLayer(side, chosen[side]);
  }
  setSplit(50);
  byId("viewer").hidden = false;
  byId("viewer").classList.add("live");
  read(data.start.x, data.start.y);
})();
