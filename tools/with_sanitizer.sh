#!/usr/bin/env bash
# Runs a command against the build of a sanitizer preset: tools/with_sanitizer.sh asan COMMAND...
# The sanitizer's runtime is loaded into a Python that was built without it. Reports, also those of
# child processes, are gathered in build/<preset>/reports; one report makes the run fail.
set -euo pipefail

preset=$1
shift
top=$(cd "$(dirname "$0")/.." && pwd)
reports=$top/build/$preset/reports
rm -rf "$reports"
mkdir -p "$reports"

library() { g++ -print-file-name="$1"; }

# The C++ library is loaded at the start too: the runtime looks for the throwing of exceptions
# once, then, and Python itself does not bring it.
case $preset in
  asan)
    preload="$(library libasan.so) $(library libstdc++.so)"
    export ASAN_OPTIONS=detect_leaks=0:log_path=$reports/report
    export UBSAN_OPTIONS=print_stacktrace=1:log_path=$reports/report
    ;;
  tsan)
    preload="$(library libtsan.so) $(library libstdc++.so)"
    export TSAN_OPTIONS=halt_on_error=1:log_path=$reports/report
    ;;
  *)
    echo "usage: $0 asan|tsan COMMAND..." >&2
    exit 2
    ;;
esac

export ZENTROPE_ANPR_SANITIZER=$preset
export PYTHONPATH=$top/build/$preset/stage${PYTHONPATH:+:$PYTHONPATH}
# Python's own allocator would hide the edges of its blocks.
export PYTHONMALLOC=malloc

# Where addresses are drawn from more bits than these runtimes foresee, they are not drawn at all.
layout=()
if [ "$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)" -gt 28 ]; then
  layout=(setarch "$(uname -m)" --addr-no-randomize)
fi

status=0
"${layout[@]}" env LD_PRELOAD="$preload" "$@" || status=$?
if compgen -G "$reports/*" >/dev/null; then
  cat "$reports"/*
  echo "The sanitizer reported what is printed above." >&2
  [ "$status" -ne 0 ] || status=1
fi
exit "$status"
