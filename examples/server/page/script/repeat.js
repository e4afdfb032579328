// What is asked of the server again and again.

import { byId } from "./dom.js";

// Runs `work` now and then every so many seconds, one run at a time, and not while the page is
// hidden. Gives a function that runs it at once, for after a change. A run that fails is shown as
// a lost connection, and the next one tries again.
export function repeat(seconds, work) {
  let timer = 0;
  let running = null;
  let again = false;

  async function run() {
    clearTimeout(timer);
    if (running !== null) {
      again = true;
      return running;
    }
    running = turn();
    await running;
    running = null;
    timer = setTimeout(run, again ? 0 : seconds * 1000);
    again = false;
  }

  async function turn() {
    if (document.hidden) return;
    try {
      await work();
      connection("live");
    } catch (error) {
      console.warn(error);
      connection("lost");
    }
  }

  document.addEventListener("visibilitychange", () => document.hidden || run());
  run();
  return run;
}

function connection(state) {
  const place = byId("connection");
  if (place.className === state) return;
  place.className = state;
  place.textContent = state === "live" ? "live" : "no connection";
}
