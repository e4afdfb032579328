#!/usr/bin/env bash
# Sees that the compiler and SQLite's development files are there. What is missing is installed
# where the user may (root, with apt-get), else named with the command that installs it.
set -euo pipefail

compiler=${CXX:-c++}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Compiles and links the program on standard input; arguments go to the compiler.
builds() {
  command -v "$compiler" >/dev/null &&
    "$compiler" -std=c++20 -x c++ - -o "$scratch/program" "$@" 2>"$scratch/messages"
}

has_compiler() {
  # Conversion of floating-point numbers came late to the C++ libraries: GCC 11 is the first.
  builds <<'CPP'
#include <charconv>
#include <concepts>
#include <span>
int main() {
  double value = 0;
  return std::from_chars("1", "1", value).ec == std::errc{};
}
CPP
}

has_sqlite() {
  builds -lsqlite3 <<'CPP'
#include <sqlite3.h>
int main() { return sqlite3_libversion_number() == 0; }
CPP
}

missing() {
  command -v make >/dev/null || echo make
  if ! has_compiler; then
    echo g++
    # Cannot be tried without a compiler; asking for it when it is there costs nothing.
    echo libsqlite3-dev
  elif ! has_sqlite; then
    echo libsqlite3-dev
  fi
}

mapfile -t packages < <(missing)
[ "${#packages[@]}" -gt 0 ] || exit 0

install=(apt-get install --yes --no-install-recommends "${packages[@]}")
if command -v apt-get >/dev/null && [ "$(id -u)" -eq 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update
  "${install[@]}"
  mapfile -t packages < <(missing)
  [ "${#packages[@]}" -gt 0 ] || exit 0
  echo "Installed, and yet a program that needs ${packages[*]} does not build with $compiler:" >&2
  cat "$scratch/messages" >&2
  exit 1
fi

if command -v apt-get >/dev/null; then
  echo "These packages are missing: ${packages[*]}. Install them with" >&2
  echo "    sudo ${install[*]}" >&2
else
  echo "A C++20 compiler with its library (GCC 12 or Clang 14, or later), make, and SQLite's" >&2
  echo "development files are needed. Fedora, for instance, has them as" >&2
  echo "    sudo dnf install gcc-c++ make sqlite-devel" >&2
fi
exit 1
