# Builds for 32-bit Arm with hardware floating point, in front of a copy of the device's files:
#
#   cmake -B build/device -DCMAKE_TOOLCHAIN_FILE=cmake/arm-linux-gnueabihf.cmake -DORVDB_SYSROOT=/opt/device/sysroot
#
#   ORVDB_SYSROOT  the folder that has the device's usr/include, usr/lib and lib, with the MariaDB client library and
#                  its headers among them
#   ORVDB_TARGET   what the names of the compiler and its tools begin with, and those of the device's library folders:
#                  arm-linux-gnueabihf if nothing is said
#
# Each may be an environment variable instead. What the device's processor can do besides goes to CMAKE_C_FLAGS and
# CMAKE_CXX_FLAGS, as ever. The compiler has to be one for the device's C library or an older one: what is linked with a
# newer one does not start there. script/test-armhf builds this way, with a folder of Debian's packages.
foreach(setting SYSROOT TARGET)
  if(NOT DEFINED ORVDB_${setting} AND DEFINED ENV{ORVDB_${setting}})
    set(ORVDB_${setting} "$ENV{ORVDB_${setting}}")
  endif()
endforeach()
if(NOT ORVDB_TARGET)
  set(ORVDB_TARGET arm-linux-gnueabihf)
endif()
if(NOT IS_DIRECTORY "${ORVDB_SYSROOT}/usr/include")
  message(FATAL_ERROR "ORVDB_SYSROOT has to name a folder with usr/include; it is '${ORVDB_SYSROOT}'")
endif()
# CMake reads this file again for each program that it tries the compiler with.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVDB_SYSROOT ORVDB_TARGET)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7)
set(CMAKE_SYSROOT "${ORVDB_SYSROOT}")
set(CMAKE_C_COMPILER ${ORVDB_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${ORVDB_TARGET}-g++)
# GCC would tell at length of what it passed otherwise before version 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

# This machine's programs are for this machine to run, all else is the device's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ORVDB_SYSROOT}")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR}
    "${ORVDB_SYSROOT}/usr/lib/${ORVDB_TARGET}/pkgconfig:${ORVDB_SYSROOT}/usr/lib/pkgconfig:${ORVDB_SYSROOT}/usr/share/pkgconfig")
