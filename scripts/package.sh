#!/usr/bin/env bash
# Builds the Debian packages (portsecurity-module, portsecurity-tools) into
# build-package/packages/, and the arm64 ones into build-package-arm64/packages/
# when the cross toolchain and the arm64 libraries are installed; then runs
# lintian over them when it is installed.
set -euo pipefail
cd "$(dirname "$0")/.."

for tool in dpkg-deb dpkg-shlibdeps fakeroot; do
  if ! command -v "$tool" >/dev/null; then
    echo "package.sh: $tool is missing: install dpkg-dev and fakeroot (scripts/install-deps.sh does)" >&2
    exit 1
  fi
done

# Debian's hardening flags for the architecture built, all of them: the
# module is loaded with every symbol resolved anyway, so binding at load
# costs nothing.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all

# build_packages DIR ARCH [CMAKE ARGS...]
build_packages() {
  local dir=$1 arch=$2
  shift 2
  local cppflags cxxflags cflags ldflags
  cppflags=$(DEB_HOST_ARCH=$arch dpkg-buildflags --get CPPFLAGS)
  cxxflags="$(DEB_HOST_ARCH=$arch dpkg-buildflags --get CXXFLAGS) $cppflags"
  cflags="$(DEB_HOST_ARCH=$arch dpkg-buildflags --get CFLAGS) $cppflags"
  ldflags=$(DEB_HOST_ARCH=$arch dpkg-buildflags --get LDFLAGS)
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
    -DPS_BUILD_TESTS=OFF -DCMAKE_CXX_FLAGS="$cxxflags" -DCMAKE_C_FLAGS="$cflags" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" -DCMAKE_SHARED_LINKER_FLAGS="$ldflags" "$@" >/dev/null
  cmake --build "$dir"
  rm -rf "$dir/packages"
  (cd "$dir" && fakeroot cpack -G DEB >/dev/null)
  ls "$dir"/packages/*.deb
}

build_packages build-package "$(dpkg --print-architecture)"

toolchain=cmake/aarch64-linux-gnu.cmake
if [ -f "$toolchain" ] && command -v aarch64-linux-gnu-g++ >/dev/null &&
   dpkg-query -W -f='${Status}\n' libtirpc-dev:arm64 libboost-thread-dev:arm64 2>/dev/null |
     grep -c "install ok installed" | grep -q 2; then
  build_packages build-package-arm64 arm64 -DCMAKE_TOOLCHAIN_FILE="$toolchain"
else
  echo "package.sh: skipping arm64: needs $toolchain and the cross packages (scripts/install-cross-deps.sh)"
fi

if command -v lintian >/dev/null; then
  # What lintian still reports, at information level, is explained in
  # cmake/Packaging.cmake.
  lintian --fail-on error,warning build-package*/packages/*.deb
else
  echo "package.sh: lintian is not installed (scripts/install-deps.sh --all): packages not checked"
fi
