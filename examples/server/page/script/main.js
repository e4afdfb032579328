// The page: each part asks the server for what it shows, in its own rhythm.

import "./detections.js";
import "./alerts.js";
import "./watchlist.js";
import "./totals.js";
import "./hours.js";
import "./top_plates.js";
