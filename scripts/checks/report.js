// Appended to a report by scripts/checks/report.sh: uses the page as people do, and leaves what it saw as data-* of the root.
addEventListener("load", () => {
  const root = document.documentElement, seen = root.dataset;
  const byId = (id) => document.getElementById(id);
  const pictures = [...document.images];
  seen.images = pictures.length;
  seen.loaded = pictures.filter((p) => p.complete && p.naturalWidth > 0).length;
  seen.shown = ["left", "right"].filter((id) => byId(id).clientWidth > 0).length;
  seen.fetched = performance.getEntriesByType("resource").filter((e) => !e.name.startsWith("data:")).length;
  seen.wide = root.scrollWidth - root.clientWidth;
  seen.high = root.scrollHeight;
  seen.unnamed = [...document.querySelectorAll("input, button, canvas, img, [tabindex]")]
    .filter((e) => !(e.closest("label") || e.textContent || e.alt || e.getAttribute("aria-label"))).length;

  // The slider.
  byId("split").value = 25;
  byId("split").dispatchEvent(new Event("input"));
  seen.clip = getComputedStyle(byId("right")).clipPath;

  // The value under the pointer, at the middle of a pixel, then one further by the keyboard.
  const data = JSON.parse(byId("data").textContent);
  const reading = () => byId("reading").innerText.replace(/\s+/g, " ");
  const pointAt = (x, y) => {
    const box = byId("stage").getBoundingClientRect();
    byId("stage").dispatchEvent(new PointerEvent("pointermove", {
      pointerId: 1, pointerType: "touch", bubbles: true,
      clientX: box.left + (x + 0.5) / data.width * box.width, clientY: box.top + (y + 0.5) / data.height * box.height,
    }));
    return reading();
  };
  byId("spots").querySelector("button").click();
  seen.hottest = reading();
  pointAt(0, 0);
  seen.pointed = pointAt(data.start.x, data.start.y);
  pointAt(3, 4);
  byId("stage").dispatchEvent(new KeyboardEvent("keydown", { key: "ArrowRight" }));
  seen.moved = reading();
  byId("stage").dispatchEvent(new KeyboardEvent("keydown", { key: "ArrowUp", shiftKey: true }));
  seen.border = reading();

  // Every picture that can be chosen, with the bar of its colours.
  seen.chosen = [...document.querySelectorAll(".choices input")].filter((input) => {
    input.click();
    return pictures.some((p) => p.closest("figure") && p.src === byId(input.name).src) && document.querySelector("#bars .tick");
  }).length;
  seen.choices = data.layers.length;
  seen.faults = faults;
});
