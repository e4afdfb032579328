// The watched plates: adding and removing.

import { call, get } from "./api.js";
import { byId, follow, make } from "./dom.js";
import { repeat } from "./repeat.js";
import { day } from "./texts.js";

const form = byId("watch");
const problem = byId("watch-problem");

const refresh = async () =>
  follow(byId("watchlist"), await get("api/watchlist"), (entry) => entry.id, fill);

function fill(item, entry) {
  const since = make("span", { className: "since", textContent: `since ${day(entry.created_at)}` });
  const remove = make("button", { type: "button", textContent: "Remove" });
  remove.setAttribute("aria-label", `Stop watching ${entry.plate}`);
  remove.onclick = () => change(() => call("DELETE", `api/watchlist/${entry.id}`));
  item.replaceChildren(
    make(
      "div",
      {},
      make("bdi", { textContent: entry.plate }),
      make("small", {}, entry.label ? `${entry.label}, ` : "", since),
    ),
    remove,
  );
}

form.addEventListener("submit", (event) => {
  event.preventDefault();
  const entry = Object.fromEntries(new FormData(form));
  change(async () => {
    await call("POST", "api/watchlist", entry);
    form.reset();
    form.elements.plate.focus();
  });
});

async function change(send) {
  problem.hidden = true;
  try {
    await send();
  } catch (refusal) {
    problem.textContent = refusal.message;
    problem.hidden = false;
  }
  update();
}

const update = repeat(5, refresh);
