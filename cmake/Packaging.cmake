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
set(CPACK_PACKAGE_CONTACT "Port security team <portsecurity@example.org>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${CPACK_PACKAGE_CONTACT})
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${PS_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL module tools)
set(CPACK_STRIP_FILES ON)
# Packages install where the build was configured to (scripts/package.sh: /usr).
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)

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

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME portsecurity-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "development host and management client for the port-security module
 pshost runs the port-security module on a simulated network element
 (interfaces, VLANs, GPON GEM ports and a bridge driver with its MAC table)
 and serves its RPC program; a control socket plays the world around the
 host. psctl manages port security over RPC in an operator's words, with
 JSON output for scripts. Includes the protocol definition, man pages, bash
 completion and an example node.")
# pshost loads the module from the plug-in directory; the port mapper
# publishes the RPC program.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "portsecurity-module (= ${PROJECT_VERSION}), rpcbind")

# Depends: computed by dpkg-shlibdeps for a native build. For a cross build
# dpkg-shlibdeps would have to resolve the target's libraries itself, so the
# packages that own the target libraries built against are stated, at the
# versions installed for that architecture.
if(NOT CMAKE_CROSSCOMPILING AND DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # libsimhost.so is pshost's private library, shipped in the same package.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
elseif(DPKG)
  if(NOT CMAKE_CROSSCOMPILING)
    message(STATUS "dpkg-shlibdeps not found (install dpkg-dev): the packages' Depends are "
                   "stated from the installed libraries instead")
  endif()
  set(PS_MULTIARCH ${CMAKE_LIBRARY_ARCHITECTURE})
  if(NOT PS_MULTIARCH)
    set(PS_MULTIARCH ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
  endif()
  # The Debian package (and its version) that owns a library file of the target.
  function(ps_owning_package soname out)
    foreach(dir /usr/lib/${PS_MULTIARCH} /lib/${PS_MULTIARCH})
      if(EXISTS ${dir}/${soname})
        execute_process(COMMAND ${DPKG} -S ${dir}/${soname} OUTPUT_VARIABLE owner
                        RESULT_VARIABLE failed ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT failed)
          string(REGEX REPLACE ":.*" "" package "${owner}")
          execute_process(COMMAND dpkg-query -W -f=\${Version} ${package}:${PS_DEB_ARCH}
                          OUTPUT_VARIABLE version ERROR_QUIET)
          set(${out} "${package} (>= ${version})" PARENT_SCOPE)
          return()
        endif()
      endif()
    endforeach()
    message(WARNING "no ${PS_DEB_ARCH} package owns ${soname}: left out of Depends")
    set(${out} "" PARENT_SCOPE)
  endfunction()
  set(PS_TARGET_DEPENDS)
  foreach(soname libc.so.6 libstdc++.so.6 libgcc_s.so.1 libtirpc.so.3
                 libboost_thread.so.${Boost_VERSION_STRING} libboost_system.so.${Boost_VERSION_STRING})
    ps_owning_package(${soname} dep)
    if(dep)
      list(APPEND PS_TARGET_DEPENDS "${dep}")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES PS_TARGET_DEPENDS)
  string(REPLACE ";" ", " PS_TARGET_DEPENDS "${PS_TARGET_DEPENDS}")
  set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS "${PS_TARGET_DEPENDS}")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS}, ${PS_TARGET_DEPENDS}")
endif()

# lintian (scripts/package.sh runs it) reports no errors or warnings. At
# information level it notes binary-has-unneeded-section .comment: CPack
# strips with plain `strip`, which keeps the compiler's identification; it
# does no harm and is left.

include(CPack)
