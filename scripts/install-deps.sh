#!/usr/bin/env bash
# Installs what the build and the tests need on a fresh Debian machine, and
# any further packages given as arguments, and makes sure the port mapper
# runs. With --all it also installs the heavier optional tools: tshark (the
# dissector test, skipped without it) and lintian (scripts/package.sh checks
# the packages with it).
set -euo pipefail

# dpkg-dev and fakeroot build the packages; man-db and bash-completion let
# the install test read the man pages and try the completion. clang, libbpf
# and bpftool build the eBPF data plane; iproute2 makes the test networks.
packages=(build-essential cmake ninja-build pkg-config
          libboost-dev libboost-thread-dev libboost-system-dev libboost-date-time-dev
          libtirpc-dev rpcsvc-proto rpcbind nlohmann-json3-dev googletest libgtest-dev librapidcheck-dev
          dpkg-dev fakeroot man-db bash-completion clang libbpf-dev bpftool iproute2)
for arg in "$@"; do
  case "$arg" in
    --all) packages+=(tshark lintian) ;;
    *) packages+=("$arg") ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  echo "installing: ${missing[*]}"
  $sudo_cmd apt-get update -qq
  # tshark asks whether non-root users may capture: no.
  echo "wireshark-common wireshark-common/install-setuid boolean false" |
    $sudo_cmd debconf-set-selections 2>/dev/null || true
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 install -y -qq \
    "${missing[@]}" >/dev/null
fi

if ! rpcinfo -p 127.0.0.1 >/dev/null 2>&1; then
  echo "starting rpcbind"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd /usr/sbin/rpcbind -w 2>/dev/null || $sudo_cmd /usr/sbin/rpcbind 2>/dev/null || true
  for _ in $(seq 50); do rpcinfo -p 127.0.0.1 >/dev/null 2>&1 && break; sleep 0.1; done
  rpcinfo -p 127.0.0.1 >/dev/null 2>&1 ||
    { echo "install-deps.sh: rpcbind does not answer on 127.0.0.1; start it (/usr/sbin/rpcbind -w) and try again" >&2; exit 1; }
fi
