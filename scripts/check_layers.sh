#!/usr/bin/env bash
# Checks that the layers run one way: each folder includes only from the folders below it (and
# the few header-only contracts it builds on). Usage: scripts/check_layers.sh
# Exits 1 and names each include that runs upwards.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  -h|--help) sed -n '2,4p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
esac

# What each folder may include, as path prefixes.
contracts_console='client/console_surface.h client/subscribers.h'
declare -A allowed=(
  [util]='util/'
  [platform]='util/ platform/'
  [link]="util/ platform/ link/ $contracts_console client/settings.h"
  [database]="util/ database/ link/frame_format.h quotes/simbolo_rec.h $contracts_console"
  [quotes]="util/ platform/ link/ database/ quotes/ $contracts_console"
  [client]='util/ platform/ link/ database/ quotes/ client/'
  [window]='util/ platform/ link/ database/ quotes/ client/ window/'
  [bus]='util/ platform/ bus/'
  [service]='util/ platform/ link/ database/ quotes/ client/ bus/ service/'
  [remote]='util/ platform/ bus/ remote/ client/subscribers.h'
  [publish]='util/ platform/ link/ database/ quotes/ client/ publish/'
)

bad=0
for folder in "${!allowed[@]}"; do
  [ -d "$folder" ] || continue
  while IFS=: read -r file line include; do
    target=$(sed -E 's/.*#include "([^"]+)".*/\1/' <<<"$include")
    ok=0
    for prefix in ${allowed[$folder]}; do
      [[ "$target" == "$prefix"* ]] && ok=1 && break
    done
    if [ "$ok" = 0 ]; then
      echo "check_layers: $file:$line includes \"$target\", above its layer" >&2
      bad=1
    fi
  done < <(grep -rnE '^#include "[^"]+"' "$folder" --include='*.h' --include='*.cc' || true)
done

# Only the client's own files, the service and the tools know the feeder's owner and its form.
owners=$(grep -rlE '#include "client/quotlink(bas|frm)\.h"' . --include='*.h' --include='*.cc' |
         grep -vE '^\./(client|service|tools|tests|bench|fuzz)/' || true)
if [ -n "$owners" ]; then
  echo "check_layers: these files include the feeder's owner or its form from below:" >&2
  echo "$owners" >&2
  bad=1
fi
[ "$bad" = 0 ] && echo "check_layers: layers run one way"
exit "$bad"
