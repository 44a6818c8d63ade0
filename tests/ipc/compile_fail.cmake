# Compiles SOURCE as a host of the library would (the include folders and
# definitions in FLAGS) and passes only when that fails with a diagnostic
# that matches every "// expect: <regular expression>" line of SOURCE.
#   -DCOMPILER=<c++ compiler> -DFLAGS=<PREFIX_flags.cmake> -DSOURCE=<file>
include(${FLAGS})
set(args -std=c++17 -fPIC -fsyntax-only)
foreach(dir ${INCLUDES})
  list(APPEND args -I${dir})
endforeach()
foreach(def ${DEFINES})
  list(APPEND args -D${def})
endforeach()
execute_process(COMMAND ${COMPILER} ${args} ${SOURCE} RESULT_VARIABLE rc ERROR_VARIABLE err
                OUTPUT_VARIABLE out)
if(rc EQUAL 0)
  message(FATAL_ERROR "${SOURCE} compiled; it must not")
endif()
file(STRINGS ${SOURCE} expectations REGEX "^// expect: ")
foreach(line ${expectations})
  string(REGEX REPLACE "^// expect: " "" pattern "${line}")
  string(REPLACE "\\n" "\n" pattern "${pattern}") # "[^\n]": within one line
  # Quotes are the compiler's, whichever kind it uses.
  string(REGEX REPLACE "[‘’']" "" plain "${err}${out}")
  if(NOT plain MATCHES "${pattern}")
    message(FATAL_ERROR "the diagnostic does not match \"${pattern}\":\n${err}${out}")
  endif()
endforeach()
