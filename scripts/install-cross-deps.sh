#!/usr/bin/env bash
# Installs what the AArch64 cross build and its emulated test run need on a
# Debian machine: the arm64 architecture, the cross compiler, the arm64
# libraries the module and the tests link against, and qemu-user.
set -euo pipefail

sudo_cmd=""
[ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"

packages=(g++-aarch64-linux-gnu qemu-user libc6:arm64
          libboost-thread-dev:arm64 libboost-system-dev:arm64 libboost-date-time-dev:arm64
          libtirpc-dev:arm64 libbpf-dev:arm64 libgtest-dev:arm64 librapidcheck-dev:arm64)

if ! dpkg --print-foreign-architectures | grep -qx arm64; then
  echo "adding the arm64 architecture"
  $sudo_cmd dpkg --add-architecture arm64
  $sudo_cmd apt-get update -qq
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 install -y -qq \
    "${missing[@]}" >/dev/null
fi
