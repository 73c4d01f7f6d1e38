#!/usr/bin/env bash
# Runs every libFuzzer target of the fuzz preset for the given seconds
# (default 60), starting from its committed seeds; new inputs go to a scratch
# corpus so the seeds stay small.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
bin=build/fuzz/fuzz
[ -d "$bin" ] || { echo "build the fuzz preset first: cmake --preset fuzz && cmake --build --preset fuzz" >&2; exit 1; }

status=0
for exe in $(find "$bin" -type f -executable | sort); do
  name=$(basename "$exe")
  [ -d "fuzz/seeds/$name" ] || continue
  scratch=$(mktemp -d)
  echo "== $name ($seconds s)"
  log="$scratch.log"
  rc=0
  "$exe" -max_total_time="$seconds" -print_final_stats=1 "$scratch" "fuzz/seeds/$name" >"$log" 2>&1 || rc=$?
  grep -E 'stat::number_of_executed_units|ERROR|SUMMARY|Done' "$log" || true
  [ "$rc" -eq 0 ] || { status=1; echo "   $name failed (exit $rc), log kept at $log"; }
  [ "$rc" -ne 0 ] || rm -f "$log"
  rm -rf "$scratch"
done
exit $status
