// The plates seen most often. Pressing one looks for it.

import { get } from "./api.js";
import { buttonIn, byId, follow, make } from "./dom.js";
import { searchFor } from "./filters.js";
import { repeat } from "./repeat.js";

repeat(5, async () => {
  const top = await get("api/statistics/top-plates", { limit: 5 });
  const most = top[0]?.count ?? 1;
  const shown = top.map((each) => ({ ...each, most }));
  follow(byId("top-plates"), shown, (each) => each.plate, fill);
});

function fill(item, { plate, count, most }) {
  const bar = make("i");
  bar.style.width = `${(100 * count) / most}%`;
  const button = buttonIn(
    item,
    () => searchFor(String(plate)),
    make("bdi", { textContent: String(plate) }),
    make("b", { textContent: count }),
    bar,
  );
  button.title = "Show its detections";
}
