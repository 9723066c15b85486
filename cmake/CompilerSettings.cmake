# What every target of this tree is compiled with: `orvdb_settings` carries it, privately.

option(ORVDB_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(ORVDB_COVERAGE "Count what is executed: see script/coverage" OFF)
set(ORVDB_SANITIZER "" CACHE STRING "Value of -fsanitize for every target, or empty")

set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(orvdb_settings INTERFACE)
target_compile_options(orvdb_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(ORVDB_WARNINGS_AS_ERRORS)
  target_compile_options(orvdb_settings INTERFACE -Werror)
endif()
# On 32-bit systems, too, the clock goes on after January 2038, and files and inode numbers may be large.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(orvdb_settings INTERFACE _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()
# The standard library checks indices and the like wherever speed is not what counts.
if(ORVDB_SANITIZER OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(ORVDB_CHECKED_LIBRARY ON)
  target_compile_definitions(orvdb_settings INTERFACE _GLIBCXX_ASSERTIONS)
endif()
if(ORVDB_SANITIZER)
  target_compile_options(orvdb_settings INTERFACE -fsanitize=${ORVDB_SANITIZER} -fno-sanitize-recover=all
                                                  -fno-omit-frame-pointer
                                                  # GCC warns of what the instrumentation itself brings in.
                                                  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(orvdb_settings INTERFACE -fsanitize=${ORVDB_SANITIZER})
endif()

if(ORVDB_COVERAGE)
  add_library(orvdb_dump_counters STATIC ${PROJECT_SOURCE_DIR}/tests/support/dump_counters.c)
  target_compile_options(orvdb_dump_counters PRIVATE -fPIC)
  set(ends_of_a_process _exit _Exit abort execl execv execve execvp)
  list(TRANSFORM ends_of_a_process PREPEND -Wl,--wrap=)
  target_compile_options(orvdb_settings INTERFACE --coverage -fprofile-update=atomic)
  # The compiler's own library, which comes last, calls abort, too.
  target_link_options(orvdb_settings INTERFACE --coverage ${ends_of_a_process} -Wl,--undefined=__wrap_abort)
  target_link_libraries(orvdb_settings INTERFACE orvdb_dump_counters)
endif()
