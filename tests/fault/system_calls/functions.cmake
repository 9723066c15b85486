# Are the C library's functions that the objects call exactly those that functions.txt names, each followed by a colon?
#   cmake -DNM=nm -DLIST=functions.txt -DOBJECTS="a.o;b.o" -P functions.cmake

execute_process(COMMAND ${NM} --undefined-only --no-sort ${OBJECTS} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " U [a-z_][a-z0-9_]*\n" called "${symbols}")
list(TRANSFORM called STRIP)
list(TRANSFORM called REPLACE "^U " "")
# What has to do with time is called by another name on 32-bit systems.
list(TRANSFORM called REPLACE "^__([a-z_]+)64$" "\\1")
# What compiler and sanitizers add, the library's own, and what only copies and compares.
list(FILTER called EXCLUDE REGEX "^(__|s_|mem|str)")
list(REMOVE_DUPLICATES called)
list(SORT called)

file(STRINGS ${LIST} lines)
list(TRANSFORM lines REPLACE ":.*" "" OUTPUT_VARIABLE listed)
list(SORT listed)
if(NOT called STREQUAL listed)
  message(FATAL_ERROR "Called are:\n${called}\nListed are:\n${listed}")
endif()
