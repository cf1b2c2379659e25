#!/usr/bin/env bash
# Configures and builds into a build folder. Usage: scripts/build.sh [--sanitize] [--werror]
# Builds into build/ (RelWithDebInfo), or with --sanitize into build-asan/ (Debug: -O0, so that
# one configuration of CI runs unoptimised). Warnings are errors when --werror is given or CI is
# set.
set -euo pipefail
cd "$(dirname "$0")/.."

dir=build
sanitize=OFF
werror=OFF
if [ "${CI:-}" = "true" ]; then werror=ON; fi
for arg in "$@"; do
  case "$arg" in
    --sanitize) sanitize=ON; dir=build-asan ;;
    --werror) werror=ON ;;
    -h|--help) sed -n '2,5p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "build.sh: unknown option '$arg' (try --help)" >&2; exit 2 ;;
  esac
done

bash scripts/setup.sh
bench=ON
build_type=RelWithDebInfo
if [ "$sanitize" = ON ]; then
  bench=OFF
  build_type=Debug
fi
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE="$build_type" -DQUOTLINK_SANITIZE="$sanitize" \
  -DQUOTLINK_WERROR="$werror" -DQUOTLINK_BENCH="$bench" >/dev/null
cmake --build "$dir"
