# The tools that use the library as a host does (the host kit, lumoctl, the
# inspector) include its headers by their installed names only: nothing of
# the library's own folders, which a host cannot reach either.
#   -DSOURCE_DIR=<top source dir>
set(reached "")
foreach(tool hostkit lumoctl lumo-inspector)
  file(GLOB sources ${SOURCE_DIR}/tools/${tool}/*.h ${SOURCE_DIR}/tools/${tool}/*.cpp)
  foreach(source ${sources})
    file(STRINGS ${source} includes
         REGEX "^#include [\"<](support|dispatch|transport|connection|notify|push|ipc)/")
    foreach(line ${includes})
      list(APPEND reached "${source}: ${line}")
    endforeach()
  endforeach()
endforeach()
if(reached)
  list(JOIN reached "\n" reached)
  message(FATAL_ERROR "past the public face:\n${reached}")
endif()
