// How records read on the page.

import { make } from "./dom.js";

// The server's times are its local ones, without a zone, and are shown as they are. A `Date`
// would shift them for a browser that stands in another zone.
export const clock = (timestamp) => timestamp.slice(11, 19);
export const day = (timestamp) => timestamp.slice(0, 10);
export const moment = (timestamp) => `${timestamp.slice(5, 10)} ${timestamp.slice(11, 16)}`;

export const count = (number) => number.toLocaleString("en");

export const percent = (confidence) =>
  typeof confidence === "number" ? `${Math.round(confidence * 100)} %` : "?";

export const milliseconds = (seconds) =>
  typeof seconds === "number" ? `${Math.round(seconds * 1000)} ms` : "";

export function vehicle(attributes) {
  if (attributes === null || typeof attributes !== "object") return "";
  const { mmc_color: colour, mmc_make: maker, mmc_model: model } = attributes;
  const words = [colour, maker, model].filter(Boolean).join(" ");
  return [words, attributes.mmc_plate_nation].filter(Boolean).join(", ");
}

// A column that holds no list is one that another program wrote: it is shown as no plates.
export const list = (value) => (Array.isArray(value) ? value : []);

// The plates with their confidences. <bdi> keeps scripts that run from right to left apart.
export function plates(record) {
  const place = make("span", { className: "plates" });
  const confidences = list(record.confidences);
  for (const [index, plate] of list(record.plates).entries()) {
    const text = make("bdi", { textContent: String(plate) });
    const sure = make("small", { textContent: percent(confidences[index]) });
    place.append(make("span", { className: "plate" }, text, sure));
  }
  if (!place.hasChildNodes()) {
    const why = record.success ? "no plate" : "failed";
    place.append(make("span", { className: "quiet", textContent: why }));
  }
  return place;
}
