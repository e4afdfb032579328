#!/usr/bin/env bash
# Installs the headless browser that the tests of the example server's page drive, where it is
# missing and the user may (root, with apt-get). Elsewhere those tests say why they are skipped.
set -euo pipefail

if command -v chromium >/dev/null && command -v chromedriver >/dev/null; then exit 0; fi
if ! command -v apt-get >/dev/null || [ "$(id -u)" -ne 0 ]; then
  echo "No Chromium with chromedriver: the tests of the example server's page will be skipped." >&2
  exit 0
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install --yes --no-install-recommends chromium chromium-driver
