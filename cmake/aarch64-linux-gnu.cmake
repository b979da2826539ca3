# Cross build for the AArch64 Linux target with Debian's cross compiler and the
# arm64 multiarch libraries (scripts/install-cross-deps.sh installs both).
# Test programs run under qemu-user with the arm64 multiarch loader and
# libraries (-L /), never the cross compiler's own copy of the C library:
# mixing that loader with the multiarch libc hangs in the first mutex.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(PS_TARGET aarch64-linux-gnu)
set(PS_TARGET_LIBDIR /usr/lib/${PS_TARGET})

# One line naming what is missing, instead of a compiler or package probe
# failing deep inside the configuration.
function(ps_require_cross what path)
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "aarch64 cross build: ${what} is missing (${path}); "
                        "run scripts/install-cross-deps.sh")
  endif()
endfunction()
find_program(PS_CROSS_CXX ${PS_TARGET}-g++)
find_program(PS_CROSS_CC ${PS_TARGET}-gcc)
find_program(PS_QEMU qemu-aarch64)
ps_require_cross("g++-aarch64-linux-gnu" "${PS_CROSS_CXX}")
ps_require_cross("libtirpc-dev:arm64" "${PS_TARGET_LIBDIR}/pkgconfig/libtirpc.pc")
ps_require_cross("libboost-thread-dev:arm64" "${PS_TARGET_LIBDIR}/libboost_thread.so")
ps_require_cross("qemu-user" "${PS_QEMU}")

set(CMAKE_C_COMPILER ${PS_CROSS_CC})
set(CMAKE_CXX_COMPILER ${PS_CROSS_CXX})
set(CMAKE_LIBRARY_ARCHITECTURE ${PS_TARGET})

# Libraries and packages from the arm64 multiarch paths only; programs that
# run during the build (rpcgen) are the machine's own.
set(ENV{PKG_CONFIG_LIBDIR} "${PS_TARGET_LIBDIR}/pkgconfig:/usr/share/pkgconfig")
set(CMAKE_FIND_ROOT_PATH /usr/${PS_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR
    ${PS_QEMU} -L / -E LD_LIBRARY_PATH=${PS_TARGET_LIBDIR}:/lib/${PS_TARGET})
