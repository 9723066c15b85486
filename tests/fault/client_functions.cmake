# Are the client library's functions that the library's objects call exactly those of client_functions.txt?
#   cmake -DNM=nm -DLIST=client_functions.txt -DOBJECTS="a.o;b.o" -P client_functions.cmake

execute_process(COMMAND ${NM} --undefined-only --no-sort ${OBJECTS} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " U (mysql|mariadb)_[a-z_]+" called "${symbols}")
list(TRANSFORM called REPLACE " U " "")
list(REMOVE_DUPLICATES called)
list(SORT called)
list(JOIN called "\n" called)

file(READ ${LIST} listed)
if(NOT "${called}\n" STREQUAL listed)
  message(FATAL_ERROR "Called are:\n${called}\nListed are:\n${listed}")
endif()
