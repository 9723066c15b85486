# orvdb_executes(TARGET SCOPE DEFINITION=PROGRAM...)
#
# Gives the code of TARGET the paths by which it executes the targets PROGRAM, as string literals. What is built for
# another machine is executed through its emulator, by a script in the program's place.
function(orvdb_executes target scope)
  foreach(pair ${ARGN})
    string(REGEX MATCH "^([^=]+)=(.+)$" pair ${pair})
    set(definition ${CMAKE_MATCH_1})
    set(program ${CMAKE_MATCH_2})
    set(path $<TARGET_FILE:${program}>)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
      set(path ${CMAKE_CURRENT_BINARY_DIR}/emulated/${program})
      string(JOIN "\n" script
             "#!/bin/sh" "exec '${CMAKE_CROSSCOMPILING_EMULATOR}' '$<TARGET_FILE:${program}>' \"$@\"" "")
      file(GENERATE OUTPUT ${path} CONTENT "${script}" FILE_PERMISSIONS
           OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    endif()
    target_compile_definitions(${target} ${scope} ${definition}="${path}")
    add_dependencies(${target} ${program})
  endforeach()
endfunction()
