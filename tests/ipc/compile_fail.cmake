# Compiles UNIT, which holds every case of SOURCES, as a host of the library
# would (the include folders and definitions in FLAGS), and passes only when
# that fails with a diagnostic at each case and matching every
# "// expect: <regular expression>" line of each.
#   -DCOMPILER=<c++ compiler> -DFLAGS=<PREFIX_flags.cmake> -DUNIT=<file>
#   -DSOURCES=<case file>|<case file>...
include(${FLAGS})
set(args -std=c++17 -fPIC -fsyntax-only)
foreach(dir ${INCLUDES})
  list(APPEND args -I${dir})
endforeach()
foreach(def ${DEFINES})
  list(APPEND args -D${def})
endforeach()
execute_process(COMMAND ${COMPILER} ${args} ${UNIT} RESULT_VARIABLE rc ERROR_VARIABLE err
                OUTPUT_VARIABLE out)
if(rc EQUAL 0)
  message(FATAL_ERROR "${UNIT} compiled; it must not")
endif()
# Quotes are the compiler's, whichever kind it uses.
string(REGEX REPLACE "[‘’']" "" plain "${err}${out}")
string(REPLACE "|" ";" sources "${SOURCES}")
foreach(source ${sources})
  # Each case's own mistake: the compiler points at a line of it.
  string(FIND "${plain}" "${source}:" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${source}: no diagnostic points at it:\n${plain}")
  endif()
  file(STRINGS ${source} expectations REGEX "^// expect: ")
  foreach(line ${expectations})
    string(REGEX REPLACE "^// expect: " "" pattern "${line}")
    string(REPLACE "\\n" "\n" pattern "${pattern}") # "[^\n]": within one line
    if(NOT plain MATCHES "${pattern}")
      message(FATAL_ERROR "${source}: the diagnostic does not match \"${pattern}\":\n${plain}")
    endif()
  endforeach()
endforeach()
