// One detection in full, in a dialog.

import { call, get } from "./api.js";
import { byId, make } from "./dom.js";
import { list, milliseconds, percent } from "./texts.js";

const SVG = "http://www.w3.org/2000/svg";
const WIDTH = 1920; // pixels of a camera's image
const HEIGHT = 1080;

const dialog = byId("detail");
const closing = dialog.querySelector(".close");
const deleting = dialog.querySelector(".delete");

// Shows the detection; `changed` is called when it was deleted.
export async function openDetail(id, changed) {
  try {
    const record = await get(`api/detections/${id}`);
    byId("detail-title").textContent = `Detection ${id}`;
    byId("detail-body").replaceChildren(scheme(record), fields(record));
    deleting.hidden = false;
  } catch (refusal) {
    byId("detail-title").textContent = refusal.message;
    byId("detail-body").replaceChildren();
    deleting.hidden = true;
  }
  deleting.textContent = "Delete";
  deleting.onclick = () => askFirst(id, changed);
  dialog.showModal();
}

async function askFirst(id, changed) {
  if (deleting.textContent === "Delete") {
    deleting.textContent = "Delete for good?";
    return;
  }
  try {
    await call("DELETE", `api/detections/${id}`);
    dialog.close();
    changed();
  } catch (refusal) {
    byId("detail-title").textContent = refusal.message;
  }
}

// Where the plates were in the image.
function scheme(record) {
  const drawing = draw("svg", { viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: "img" });
  drawing.setAttribute("aria-label", "Where the plates are in the image");
  drawing.append(draw("rect", { class: "image", width: WIDTH, height: HEIGHT }));
  for (const [index, box] of list(record.bboxes).entries()) {
    const [left, top, right, bottom] = list(box);
    if (![left, top, right, bottom].every(Number.isFinite)) continue;
    const size = { x: left, y: top, width: Math.max(right - left, 0), height: Math.max(bottom - top, 0) };
    drawing.append(draw("rect", { class: "box", ...size }));
    // Inside the image, whichever edge the box is at.
    const above = top > 60 ? top - 18 : bottom + 50;
    const place = left < WIDTH / 2 ? { x: left } : { x: right, "text-anchor": "end" };
    const text = draw("text", { ...place, y: above, direction: "ltr" });
    text.textContent = String(list(record.plates)[index] ?? "");
    drawing.append(text);
  }
  return drawing;
}

function draw(tag, attributes) {
  const element = document.createElementNS(SVG, tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  return element;
}

function fields(record) {
  const place = make("dl");
  const row = (name, value) => {
    if (value === "" || value === null || value === undefined) return;
    place.append(make("dt", { textContent: name }), make("dd", {}, make("bdi", {}, String(value))));
  };
  row("Time", record.timestamp.replace("T", " "));
  for (const [index, plate] of list(record.plates).entries()) {
    row("Plate", plate);
    row("Confidence", percent(list(record.confidences)[index]));
  }
  row("Plates", list(record.plates).length ? "" : record.success ? "none" : "the run failed");
  row("Detector", milliseconds(record.detector_time));
  row("Reading", milliseconds(record.ocr_time));
  row("Together", milliseconds(record.processing_time));
  for (const [name, value] of Object.entries(record.mmc_data ?? {})) {
    row(named(name), typeof value === "object" ? JSON.stringify(value) : value);
  }
  row("Image", record.image_path);
  row("Thumbnail", record.thumbnail_path);
  return place;
}

// `mmc_plate_nation` as "Plate nation".
function named(attribute) {
  const words = attribute.replace(/^mmc_/, "").replaceAll("_", " ");
  return words.charAt(0).toUpperCase() + words.slice(1);
}

closing.onclick = () => dialog.close();
dialog.addEventListener("click", (event) => event.target === dialog && dialog.close());
