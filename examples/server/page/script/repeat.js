// What is asked of the server again and again.

import { Refused } from "./api.js";
import { byId } from "./dom.js";

// What each repeated work last failed with; one that succeeded is not in it.
const troubles = new Map();

// Runs `work` now and then every so many seconds, one run at a time, and not while the page is
// hidden. Gives a function that runs it at once, for after a change. The header says when a run
// has failed, and the next one tries again.
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
      troubles.delete(work);
    } catch (error) {
      console.warn(error);
      troubles.set(work, error instanceof Refused ? error.message : "no connection");
    }
    showTroubles();
  }

  document.addEventListener("visibilitychange", () => document.hidden || run());
  run();
  return run;
}

function showTroubles() {
  const [trouble] = troubles.values();
  const place = byId("connection");
  const text = trouble ?? "live";
  place.className = trouble === undefined ? "live" : "lost";
  if (place.textContent !== text) place.textContent = text;
}
