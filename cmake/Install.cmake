# Where everything goes on `cmake --install`, as two components: the module
# (what a network element needs) and the tools (development host, client,
# their documentation).
#
#   LIBDIR/portsecurity/  libportsecurity.so (a plug-in, loaded by path) and
#                         libsimhost.so (pshost's private library)
#   BINDIR/               pshost, psctl
#   DATADIR/portsecurity/ portsecurity.x, portsecurity.bpf.o (the data plane's
#                         kernel program: BPF byte code, the same on every
#                         architecture, so it is data rather than a plug-in)
#   share/doc/<package>/  docs/, the example node, copyright, changelog
#   MANDIR/man1/          psctl.1.gz, pshost.1.gz
#   share/lintian/        the tools package's lintian overrides
#   bash completion       psctl

# Debian tools take the maintainer from DEBFULLNAME and DEBEMAIL; without
# them, the one who builds is named as git knows them.
set(PS_DEFAULT_MAINTAINER "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
if(NOT DEFINED ENV{DEBEMAIL} OR NOT DEFINED ENV{DEBFULLNAME})
  execute_process(COMMAND git config user.name WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
                  OUTPUT_VARIABLE ps_name OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  execute_process(COMMAND git config user.email WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
                  OUTPUT_VARIABLE ps_email OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(ps_name AND ps_email)
    set(PS_DEFAULT_MAINTAINER "${ps_name} <${ps_email}>")
  else()
    cmake_host_system_information(RESULT ps_host QUERY FQDN)
    set(PS_DEFAULT_MAINTAINER "portsecurity developers <portsecurity@${ps_host}>")
  endif()
endif()
set(PS_PACKAGE_MAINTAINER "${PS_DEFAULT_MAINTAINER}" CACHE STRING
    "Maintainer of the Debian packages, as \"Name <address>\"")

set(PS_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/portsecurity)
set(PS_MODULE_PACKAGE portsecurity-module)
set(PS_TOOLS_PACKAGE portsecurity-tools)
# One doc directory per package, as Debian expects.
set(PS_MODULE_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/${PS_MODULE_PACKAGE})
set(PS_TOOLS_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/${PS_TOOLS_PACKAGE})

# The executables find the private library, and pshost the module, relative
# to themselves, so that a tree installed under any prefix or DESTDIR runs.
file(RELATIVE_PATH PS_BIN_TO_PLUGINS ${CMAKE_INSTALL_FULL_BINDIR}
     ${CMAKE_INSTALL_FULL_LIBDIR}/portsecurity)
set_target_properties(pshost PROPERTIES INSTALL_RPATH "$ORIGIN/${PS_BIN_TO_PLUGINS}")
target_compile_definitions(pshost PRIVATE PS_BIN_TO_PLUGINS="${PS_BIN_TO_PLUGINS}")

# Before anything is copied: a destination that cannot be written is named in
# one line, with what to do about it.
install(CODE [[
  set(ps_destination "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
  execute_process(COMMAND mkdir -p "${ps_destination}" RESULT_VARIABLE ps_failed
                  OUTPUT_QUIET ERROR_QUIET)
  if(NOT ps_failed)
    execute_process(COMMAND test -w "${ps_destination}" RESULT_VARIABLE ps_failed)
  endif()
  if(ps_failed)
    message(FATAL_ERROR "cannot write to the install prefix ${ps_destination}: choose another with --prefix or DESTDIR, or install as a user who may write there")
  endif()
]] ALL_COMPONENTS)

install(TARGETS portsecurity LIBRARY DESTINATION ${PS_PLUGIN_DIR} COMPONENT module)
install(TARGETS simhost LIBRARY DESTINATION ${PS_PLUGIN_DIR} COMPONENT tools)
install(TARGETS pshost psctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

install(FILES portsecurity/rpc/portsecurity.x DESTINATION ${CMAKE_INSTALL_DATADIR}/portsecurity
        COMPONENT tools)
# The object libsimhost embeds, for bpftool and llvm-objdump: pshost never
# reads it from disk. Left unstripped: its BTF describes the maps.
install(FILES ${PS_BPF_OBJECT} DESTINATION ${CMAKE_INSTALL_DATADIR}/portsecurity COMPONENT tools)
# lintian takes any ELF object for a binary of the machine it names: the
# overrides say why this one is in /usr/share and is not x86 or ARM code.
install(FILES packaging/portsecurity-tools.lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME ${PS_TOOLS_PACKAGE}
        COMPONENT tools)
install(DIRECTORY docs/ DESTINATION ${PS_TOOLS_DOCDIR} COMPONENT tools)
install(FILES examples/olt.json DESTINATION ${PS_TOOLS_DOCDIR}/examples COMPONENT tools)
install(FILES tools/psctl/psctl.bash-completion
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME psctl
        COMPONENT tools)

# Man pages and the changelog are installed compressed, with no time
# stamp in the gzip header so that two builds give the same bytes.
find_program(GZIP gzip REQUIRED)
set(PS_PACKAGING_OUT ${CMAKE_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${PS_PACKAGING_OUT})
set(PS_COMPRESSED)
foreach(page psctl.1 pshost.1)
  configure_file(man/${page} ${PS_PACKAGING_OUT}/${page} @ONLY)
  add_custom_command(
    OUTPUT ${PS_PACKAGING_OUT}/${page}.gz
    COMMAND ${GZIP} -9nc ${PS_PACKAGING_OUT}/${page} > ${PS_PACKAGING_OUT}/${page}.gz
    DEPENDS ${PS_PACKAGING_OUT}/${page})
  list(APPEND PS_COMPRESSED ${PS_PACKAGING_OUT}/${page}.gz)
  install(FILES ${PS_PACKAGING_OUT}/${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT tools)
endforeach()
configure_file(packaging/changelog.in ${PS_PACKAGING_OUT}/changelog @ONLY)
# Each package's copyright names its own files: the tools also carry the
# JSON library compiled into pshost and psctl.
configure_file(packaging/copyright.in ${PS_PACKAGING_OUT}/module/copyright @ONLY)
file(READ ${PS_PACKAGING_OUT}/module/copyright PS_COPYRIGHT_COMMON)
file(READ packaging/copyright-tools.in PS_COPYRIGHT_TOOLS)
file(WRITE ${PS_PACKAGING_OUT}/tools/copyright.in "${PS_COPYRIGHT_COMMON}${PS_COPYRIGHT_TOOLS}")
configure_file(${PS_PACKAGING_OUT}/tools/copyright.in ${PS_PACKAGING_OUT}/tools/copyright @ONLY)
add_custom_command(
  OUTPUT ${PS_PACKAGING_OUT}/changelog.gz
  COMMAND ${GZIP} -9nc ${PS_PACKAGING_OUT}/changelog > ${PS_PACKAGING_OUT}/changelog.gz
  DEPENDS ${PS_PACKAGING_OUT}/changelog)
list(APPEND PS_COMPRESSED ${PS_PACKAGING_OUT}/changelog.gz)
add_custom_target(compressed_docs ALL DEPENDS ${PS_COMPRESSED})

foreach(component module tools)
  string(TOUPPER ${component} upper)
  install(FILES ${PS_PACKAGING_OUT}/${component}/copyright ${PS_PACKAGING_OUT}/changelog.gz
          DESTINATION ${PS_${upper}_DOCDIR} COMPONENT ${component})
endforeach()
