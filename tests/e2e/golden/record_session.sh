#!/bin/bash
# Records tests/e2e/golden/session.cap: one simulator session with faults, for the golden
# transcript test (tests/e2e/golden_test.cc). Run from the repository root after a build:
#
#   tests/e2e/golden/record_session.sh [BUILD_DIR]      (default: build)
#   QUOTLINK_GOLDEN_UPDATE=1 BUILD_DIR/tests/e2e/quotlink_e2e_test --gtest_filter='Golden*'
#
# The second command writes session.transcript anew from the new capture; review both diffs.
#
# The session, in capture time (from the first record):
#   0.0 s   a silent client connects and takes the greeting and some quotes. The replaying
#           simulator answers the feeder's greeting requests itself, at once; this lead keeps
#           the recorded answers well behind those, so they never race.
#   0.2 s   the feeder connects, asking for an image version the simulator doesn't hold: the
#           image it gets (the simulator's own) is refused.
#   0.8 s   restart: 3 s later the feeder connects again and asks for the held version; the
#           transfer is cut by another restart before its last piece.
#   7.1 s   third connection: the whole image, then half a second of quotes with the answers
#           to the feeder's record requests; then the feeder quits.
# All on TCP, with noise in front of some frames, a new trading day every 2 s, and images sent
# a piece every 100 ms. The feeder's status timer writes a line every 2 s, at about 1, 3, 5, 7
# and 9 s of a replay: the timeline keeps those moments quiet, so that the line's counts and
# place don't depend on the timer's phase. The quotes stay within half a second, so that the
# test can fit them into one second of the clock. The golden test checks both before it replays;
# the times here are the feeder's and the shell's, so look at its verdict after each recording.
set -euo pipefail

build=${1:-build}
sim=$build/tools/feedsim/quotlink-feedsim
feeder=$build/tools/quotlink/quotlink
out=$(dirname "$0")/session.cap
udp_port=${UDP_PORT:-31547}
symbols="ES NQ ZB ZN CL GC EURUSD ES4500C IBM"

work=$(mktemp -d)
cleanup() {
  [[ -n ${feeder_pid:-} ]] && kill "$feeder_pid" 2>/dev/null || true
  [[ -n ${sim_pid:-} ]] && kill "$sim_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

now() { date +%s.%N; }
# Sleeps until SECONDS after the silent client's connection.
at() { sleep "$(awk -v t0="$t0" -v t="$1" -v n="$(now)" 'BEGIN { d = t0 + t - n; print (d > 0 ? d : 0) }')"; }
# Waits up to 10 s for FILE to hold TEXT at least N times.
wait_for() {
  for _ in $(seq 1000); do
    (($(grep -c -- "$2" "$1" || true) >= $3)) && return 0
    sleep 0.01
  done
  echo "record_session: no '$2' in $1" >&2
  exit 1
}
set_version() { printf '[DATABASE]\r\nINFORMATION=&H%s\r\n' "$1" >"$work/user/DTN/DTN.ini"; }

mkfifo "$work/feeder_in"
"$sim" --listen 127.0.0.1:0 --udp-port "$udp_port" --status-every 0 --record "$work/session.cap" \
  --path tcp --garbage --rate 250 --seed 11 --new-day-every 2 --version 09030002,09030001 \
  --image-piece 800 --image-slow 100 </dev/null 2>"$work/sim.log" &
sim_pid=$!
wait_for "$work/sim.log" "listening on" 1
tcp_port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\),.*/\1/p' "$work/sim.log")

mkdir -p "$work/user/DTN"
set_version 09030003
"$feeder" watch --folder "$work/user" --server "127.0.0.1:$tcp_port" --local-port "$udp_port" \
  --json --console=log $symbols <"$work/feeder_in" >"$work/feeder.out" 2>"$work/feeder.log" &
feeder_pid=$!
exec 4>"$work/feeder_in"

# The feeder connects 3 s after its start (its UDP wait).
sleep 2.85
exec 5<>"/dev/tcp/127.0.0.1/$tcp_port"
t0=$(now)

# Commands take effect some 60 ms after they are written, hence the times a little early.
wait_for "$work/feeder.log" "message: diferente database" 1
set_version 09030001
at 0.76
echo restart >&4

# The cut: after two or three of the four pieces, which come 100 ms apart from the request.
wait_for "$work/sim.log" "image asked for" 2
sleep 0.26
echo restart >&4

# Half a second of quotes: the golden test fits them into one second of the clock.
wait_for "$work/feeder.log" "Info1: Database OK." 2
sleep 0.42
echo quit >&4
wait "$feeder_pid"
feeder_pid=
exec 5>&-
kill "$sim_pid"
wait "$sim_pid" || true
sim_pid=
cp "$work/session.cap" "$out"
echo "record_session: $(stat -c %s "$out") bytes in $out"
grep -c '"Simbolo"' "$work/feeder.out" | sed 's/^/record_session: quotes printed while recording: /'
