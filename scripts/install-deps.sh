#!/usr/bin/env bash
# Installs what the build and the tests need on a fresh Debian machine, and
# any further packages given as arguments, and makes sure the port mapper runs.
set -euo pipefail

packages=(build-essential cmake ninja-build pkg-config
          libboost-dev libboost-thread-dev libboost-system-dev libboost-date-time-dev
          libtirpc-dev rpcsvc-proto rpcbind nlohmann-json3-dev googletest libgtest-dev "$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  echo "installing: ${missing[*]}"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}" >/dev/null
fi

if ! rpcinfo -p 127.0.0.1 >/dev/null 2>&1; then
  echo "starting rpcbind"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd /usr/sbin/rpcbind -w || $sudo_cmd /usr/sbin/rpcbind
  for _ in $(seq 50); do rpcinfo -p 127.0.0.1 >/dev/null 2>&1 && break; sleep 0.1; done
fi
