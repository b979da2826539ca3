# Debian packages with CPack: `cpack -G DEB` in a build folder (or
# scripts/package.sh) makes portsecurity-module and portsecurity-tools for the
# architecture of the build.

find_program(DPKG dpkg)
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(PS_DEB_ARCH arm64)
elseif(DPKG)
  execute_process(COMMAND ${DPKG} --print-architecture OUTPUT_VARIABLE PS_DEB_ARCH
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
else()
  set(PS_DEB_ARCH unknown)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME portsecurity)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${PS_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${CPACK_PACKAGE_CONTACT})
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${PS_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL module tools)
set(CPACK_STRIP_FILES ON)
# Packages are for /usr whatever prefix the build folder installs to: a
# package under /usr/local would own, and on purge remove, local directories.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_BINARY_DIR}/packaging/CPackProjectConfig.cmake)
configure_file(packaging/CPackProjectConfig.cmake.in ${CPACK_PROJECT_CONFIG_FILE} @ONLY)

# Each description's first line is the package's synopsis.
set(CPACK_DEBIAN_MODULE_PACKAGE_NAME portsecurity-module)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION net)
set(CPACK_COMPONENT_MODULE_DESCRIPTION
    "port-security plug-in for a network element's management process
libportsecurity.so limits, per interface, how many MAC addresses the bridge
may learn dynamically and how many may be configured statically, keeps the
static MAC entries (GPON virtual ports included) and pushes every setting
into the kernel bridge driver. The host process loads it by path from
/usr/lib/<triplet>/portsecurity; management clients reach it over ONC RPC
(program 0x2000000d, version 1) on loopback UDP and TCP.")
# The RPC program is published through the port mapper, which listens on
# UDP and TCP only when netbase is there.
set(CPACK_DEBIAN_MODULE_PACKAGE_RECOMMENDS "rpcbind, netbase")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME portsecurity-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "development host and management client for the port-security module
pshost runs the port-security module on a simulated network element
(interfaces, VLANs, GPON GEM ports and a bridge driver with its MAC table)
and serves its RPC program; a control socket plays the world around the
host. pshost can also guard real Linux interfaces with an eBPF data plane:
a kernel program at each device's traffic-control ingress learns source
addresses and drops the frames over the limits. psctl manages port
security over RPC in an operator's words, with JSON output for scripts.
Includes the protocol definition, the data plane's BPF object, man pages,
bash completion and an example node.")
# pshost loads the module from the plug-in directory; pshost registers and
# psctl looks up the program through the port mapper.
# The psctl completion uses bash-completion's helpers.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "bash-completion")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "portsecurity-module (= ${PROJECT_VERSION}), rpcbind, netbase")

# The libraries' Depends come from dpkg-shlibdeps, for a cross build too:
# the project config sets DEB_HOST_ARCH so that it reads the target's.
# libsimhost links libbpf for the data plane, so the tools depend on libbpf1.
if(DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # libsimhost.so is pshost's private library, shipped in the same package.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
else()
  message(WARNING "dpkg-shlibdeps not found (install dpkg-dev): packages made here will not "
                  "depend on the libraries they link")
endif()

# lintian (scripts/package.sh runs it) reports no errors or warnings. At
# information level it notes binary-has-unneeded-section .comment: CPack
# strips with plain `strip`, which keeps the compiler's identification; it
# does no harm and is left. The BPF object in the tools package is an ELF
# file of no host architecture in /usr/share: the two errors that lintian
# gives it are overridden, with the reason, in
# packaging/portsecurity-tools.lintian-overrides.

include(CPack)
