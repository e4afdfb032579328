// The filters above the detections.

import { byId } from "./dom.js";

const form = byId("filters");
const TYPING_PAUSE = 250; // milliseconds

// What is filled in, by the names of the search route's parameters.
export function chosen() {
  const filled = [...new FormData(form)].map(([name, value]) => [name, value.trim()]);
  return Object.fromEntries(filled.filter(([, value]) => value !== ""));
}

export function searchFor(plate) {
  form.elements.query.value = plate;
  form.dispatchEvent(new Event("input"));
}

// Calls `changed` when the filters have changed and nobody is typing any more.
export function onChange(changed) {
  let timer = 0;
  const soon = (pause) => {
    clearTimeout(timer);
    timer = setTimeout(() => {
      showHowMany();
      if (form.checkValidity()) changed();
    }, pause);
  };
  form.addEventListener("input", () => soon(TYPING_PAUSE));
  form.addEventListener("reset", () => soon(0)); // the fields are emptied after the event
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    soon(0);
  });
}

// Those that are folded away must not be forgotten.
function showHowMany() {
  const folded = [...form.querySelectorAll("details input, details select")];
  const set = folded.filter((field) => field.value.trim() !== "").length;
  byId("more-set").textContent = set ? `(${set} set)` : "";
}
