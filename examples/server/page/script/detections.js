// The list of detections: the newest, as they arrive, or an older page.

import { get } from "./api.js";
import { openDetail } from "./detail.js";
import { buttonIn, byId, follow, make } from "./dom.js";
import { chosen, onChange } from "./filters.js";
import { repeat } from "./repeat.js";
import { clock, day, milliseconds, moment, plates, vehicle } from "./texts.js";

const PAGE = 20;

// An older page counts from the newest detection that was there when it was asked for: what has
// come since would shift it.
let page = 0;
let countedFrom = null;
let firstTime = true;
let turns = 0; // an answer that was asked for before the last one of them is out of date

async function refresh() {
  const asking = turns;
  const filters = chosen();
  const asked = { ...filters, limit: PAGE, offset: page * PAGE };
  if (page > 0 && (!asked.date_to || asked.date_to >= day(countedFrom))) asked.date_to = countedFrom;
  const filtered = Object.keys(filters).length > 0;
  const records = await get(filtered ? "api/search" : "api/detections", asked);
  const alerts = await alertsOf(records);
  if (asking !== turns) return;
  if (page === 0) countedFrom = records[0]?.timestamp ?? countedFrom;

  const shown = records.map((record) => ({
    ...record,
    alerts: alerts[record.id] ?? [],
    today: countedFrom !== null && day(record.timestamp) === day(countedFrom),
  }));
  const fresh = follow(byId("rows"), shown, (record) => record.id, fill);
  if (!firstTime && page === 0) fresh.forEach((item) => item.classList.add("arrived"));
  firstTime = false;

  byId("detections-title").textContent = title(filtered);
  byId("newest").disabled = byId("newer").disabled = page === 0;
  // A page that is filtered by confidence may be short although there are more.
  const full = records.length === PAGE || "min_confidence" in filters;
  byId("older").disabled = !full || countedFrom === null;
}

function title(filtered) {
  const what = filtered ? "Found detections" : "Newest detections";
  return page === 0 ? what : `${what}, page ${page + 1}`;
}

async function alertsOf(records) {
  if (records.length === 0) return {};
  const ids = records.map((record) => ["detection_id", record.id]);
  return get("api/alerts/for-detections", ids);
}

function fill(item, record) {
  item.classList.toggle("watched", record.alerts.length > 0);
  const when = make("time", { dateTime: record.timestamp, title: record.timestamp });
  when.textContent = record.today ? clock(record.timestamp) : moment(record.timestamp);
  const what = plates(record);
  for (const label of new Set(record.alerts.map((alert) => alert.watchlist_label || "watched"))) {
    what.append(make("span", { className: "label", textContent: label }));
  }
  buttonIn(
    item,
    () => openDetail(record.id, update),
    when,
    what,
    make("span", { className: "vehicle", textContent: vehicle(record.mmc_data) }),
    make("span", { className: "took", textContent: milliseconds(record.processing_time) }),
  );
}

function turnTo(number) {
  page = number;
  turns += 1;
  byId("rows").replaceChildren();
  firstTime = true;
  return update();
}

byId("newest").onclick = () => turnTo(0);
byId("newer").onclick = () => turnTo(Math.max(page - 1, 0));
byId("older").onclick = () => turnTo(page + 1);
onChange(() => turnTo(0));

const update = repeat(1, refresh);
