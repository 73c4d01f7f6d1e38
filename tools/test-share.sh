#!/usr/bin/env bash
# Prints the test share: non-blank, non-comment source lines of tests/ and
# fuzz/ over those of the product (every other folder, bench/ excluded).
# Comment lines start with // or # (Python), or lie inside /* */; C and C++
# preprocessor lines count as code.
set -euo pipefail
cd "$(dirname "$0")/.."

count() {
  git ls-files -co --exclude-standard -- "$@" |
    grep -E '\.(c|cc|cpp|h|hpp|py)$' |
    while read -r f; do [ -f "$f" ] && printf '%s\0' "$f"; done |
    xargs -0 -r awk '
      FNR == 1 { block = 0; py = (FILENAME ~ /\.py$/) }
      {
        line = $0
        sub(/^[ \t]+/, "", line)
        if (block) { if (line ~ /\*\//) block = 0; next }
        if (line == "" || line ~ /^\/\//) next
        if (py && line ~ /^#/) next
        if (line ~ /^\/\*/) { if (line !~ /\*\//) block = 1; next }
        n++
      }
      END { print n + 0 }'
}

tests=$(count tests fuzz)
product=$(count . ':!tests' ':!fuzz' ':!bench')
echo "tests+fuzz: $tests"
echo "product:    $product"
awk -v t="$tests" -v p="$product" 'BEGIN { printf "share:      %.1f%%\n", 100 * t / p }'
