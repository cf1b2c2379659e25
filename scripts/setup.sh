#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, and only those that are missing.
set -euo pipefail

packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev libfltk1.3-dev libpng-dev xvfb xdotool
          clang-14 libclang-rt-14-dev pkg-config libsystemd-dev dbus-daemon python3-dbus python3-gi
          dpkg-dev libnats-dev nats-server)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup: installing ${missing[*]}" >&2
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
