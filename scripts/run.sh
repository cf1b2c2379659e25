#!/usr/bin/env bash
# Builds the feeder and runs the main job: the live demo (the built-in feed simulator on
# loopback and `quotlink watch` against it, printing live quotes) when the simulator is built,
# else `quotlink watch` against the feed server of the settings file. Ctrl-C ends it.
# Extra arguments go to quotlink (e.g. scripts/run.sh --console=log).
set -euo pipefail
cd "$(dirname "$0")/.."
case "${1:-}" in
  -h|--help) sed -n '2,5p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
esac
bash scripts/build.sh >/dev/null
if [ -x build/tools/feedsim/quotlink-feedsim ]; then
  exec build/tools/quotlink/quotlink demo "$@"
fi
exec build/tools/quotlink/quotlink watch --console=log "$@" ES NQ IBM
