#!/usr/bin/env bash
# Prints the path of a CPython 3.12 that can build and hold the project: the one PYTHON names,
# else python3.12 on PATH, else the newest 3.12 that a version manager has installed.
set -euo pipefail

# Prints the interpreter behind "$1" where it is usable. A version manager's shim is a file on
# PATH whether or not its Python is switched on, so only running it tells.
probe() {
  "$1" - <<'PYTHON' 2>/dev/null
import pathlib
import sys
import sysconfig

if sys.implementation.name != "cpython" or sys.version_info[:2] != (3, 12):
    sys.exit(1)
if not (pathlib.Path(sysconfig.get_path("include")) / "Python.h").is_file():
    sys.exit(2)
try:
    import ensurepip, sqlite3, venv
except ImportError:
    sys.exit(3)
print(sys.executable)
PYTHON
}

# Says on standard error why `probe "$1"` failed with status $2.
explain() {
  case "$2" in
    1) echo "$1 is not CPython 3.12: $("$1" --version 2>&1 | head -n 1)" ;;
    2) echo "$1 has no Python.h; its development package (python3.12-dev on Debian and Ubuntu) has it" ;;
    3) echo "$1 lacks venv or sqlite3; Debian and Ubuntu have them in python3.12-venv and libpython3.12-stdlib" ;;
    *) echo "$1 does not run" ;;
  esac >&2
}

if [ -n "${PYTHON:-}" ]; then
  status=0
  probe "$PYTHON" || status=$?
  [ "$status" -eq 0 ] || explain "$PYTHON" "$status"
  exit "$status"
fi

candidates() {
  echo python3.12
  local data=${XDG_DATA_HOME:-$HOME/.local/share}
  local folder
  for folder in \
    "${PYENV_ROOT:-$HOME/.pyenv}/versions" \
    "${UV_PYTHON_INSTALL_DIR:-$data/uv/python}" \
    "${ASDF_DATA_DIR:-$HOME/.asdf}/installs/python" \
    "${MISE_DATA_DIR:-$data/mise}/installs/python"; do
    compgen -G "$folder/*3.12*/bin/python3.12" | sort --version-sort --reverse || true
  done
}

unusable=()
while read -r candidate; do
  status=0
  probe "$candidate" || status=$?
  [ "$status" -ne 0 ] || exit 0
  [ "$status" -gt 3 ] || unusable+=("$candidate:$status")
done < <(candidates)

for entry in "${unusable[@]}"; do explain "${entry%:*}" "${entry##*:}"; done
cat >&2 <<'TEXT'
No Python 3.12 was found: not as python3.12 on PATH, nor under pyenv, uv, asdf or mise.
Install one, for instance with
    pyenv install 3.12        or        uv python install 3.12
or, where the distribution has it,
    apt-get install python3.12 python3.12-dev python3.12-venv
or name one that stands elsewhere: make PYTHON=/path/to/python3.12 ...
TEXT
exit 1
