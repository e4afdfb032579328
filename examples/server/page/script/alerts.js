// The alerts, and how many of them are unread.

import { call, get } from "./api.js";
import { openDetail } from "./detail.js";
import { buttonIn, byId, follow, make } from "./dom.js";
import { repeat } from "./repeat.js";
import { count, moment, percent } from "./texts.js";

const SHOWN = 50;

async function refresh() {
  const [unread, alerts] = await Promise.all([
    get("api/alerts/count"),
    get("api/alerts", { limit: SHOWN }),
  ]);
  showCount(unread.count);
  follow(byId("alert-list"), alerts, (alert) => alert.id, fill);
}

function showCount(unread) {
  const badge = byId("unread-count");
  const text = count(unread);
  if (badge.textContent !== text) badge.textContent = text;
  badge.hidden = unread === 0;
  badge.title = `${text} unread`;
  byId("mark-read").disabled = unread === 0;
  document.title = unread ? `(${text}) Recognised plates` : "Recognised plates";
}

function fill(item, alert) {
  item.classList.toggle("unread", !alert.is_read);
  buttonIn(
    item,
    () => openDetail(alert.detection_id, update),
    make("bdi", { textContent: alert.plate }),
    make("time", { dateTime: alert.timestamp, textContent: moment(alert.timestamp) }),
    make("span", { className: "label", textContent: alert.watchlist_label || "watched" }),
    make("small", { textContent: percent(alert.confidence) }),
  );
}

// A refusal leaves them unread, as is seen at once.
byId("mark-read").onclick = () =>
  call("POST", "api/alerts/read").catch(console.warn).finally(update);

const update = repeat(1, refresh);
