// The totals over all detections.

import { get } from "./api.js";
import { byId } from "./dom.js";
import { repeat } from "./repeat.js";
import { count, milliseconds } from "./texts.js";

repeat(2, async () => {
  const totals = await get("api/statistics");
  byId("total").textContent = count(totals.total_detections);
  byId("successful").textContent = count(totals.successful_detections);
  byId("failed").textContent = count(totals.failed_detections);
  byId("plates-found").textContent = count(totals.total_plates_found);
  byId("average").textContent = milliseconds(totals.avg_processing_sec);
});
