// The chart of the last 24 hours: how many images came in each.

import { get } from "./api.js";
import { byId, make } from "./dom.js";
import { repeat } from "./repeat.js";

const HOURS = 24;
const HOUR = 3_600_000; // milliseconds

repeat(5, async () => draw(withEmptyHours(await get("api/statistics/hours", { hours: HOURS }))));

// The server leaves out hours without detections, so they are counted back from its last one.
// Its times have no zone: taken for UTC they can be counted with, and no clock change is met.
function withEmptyHours(listed) {
  const counts = new Map(listed.map((each) => [each.hour, each]));
  const last = listed.at(-1)?.hour;
  if (!last) return [];
  return Array.from({ length: HOURS }, (_, index) => {
    const before = (HOURS - 1 - index) * HOUR;
    const hour = new Date(Date.parse(`${last}Z`) - before).toISOString().slice(0, 19);
    return counts.get(hour) ?? { hour, count: 0, plates: 0 };
  });
}

function draw(hours) {
  const place = byId("hours");
  const most = hours.reduce((a, b) => (b.count > a.count ? b : a), { count: 0 });
  const bars = make("div", { className: "bars" });
  const scale = make("div", { className: "scale" });
  for (const each of hours) {
    const bar = make("i");
    bar.style.height = `${(100 * each.count) / Math.max(most.count, 1)}%`;
    const clock = each.hour.slice(11, 16);
    const title = `${clock}: ${each.count} images, ${each.plates ?? 0} plates`;
    bars.append(make("span", { title }, bar));
    scale.append(make("span", { textContent: Number(clock.slice(0, 2)) % 6 ? "" : clock }));
  }
  const text = hours.length
    ? `Most in an hour: ${most.count}, at ${most.hour.slice(11, 16)}`
    : "None in the last 24 hours";
  place.setAttribute("aria-label", `Images by hour. ${text}`);
  place.replaceChildren(bars, scale, make("figcaption", { textContent: text }));
}
