#!/usr/bin/env bash
# Builds everything and runs every test. Usage: scripts/test.sh [--sanitize] [--werror]
# With --sanitize the tests run in an AddressSanitizer + UndefinedBehaviorSanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  -h|--help) sed -n '2,3p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
esac
bash scripts/check_layers.sh
bash scripts/build.sh "$@"
dir=build
for arg in "$@"; do [ "$arg" = --sanitize ] && dir=build-asan; done
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$dir" --output-on-failure -j2 --timeout 300
