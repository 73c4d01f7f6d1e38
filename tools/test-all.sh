#!/usr/bin/env bash
# Builds and runs every test twice: the optimised build, then the whole suite
# again under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh

jobs=$(nproc)
for preset in dev asan; do
  echo "== $preset: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset: test"
  ctest --preset "$preset" -j "$jobs"
done
