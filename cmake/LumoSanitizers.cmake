# Sanitizer builds apply to everything, generated code included, so that
# ThreadSanitizer sees every access to the buffers shared with Thrift. A report
# needs files, lines and function names, not a debugger's view of every type:
# line tables only, at a fraction of the compile time of full debug information.
if(LUMO_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=thread)
elseif(LUMO_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
    -g1)
  add_link_options(-fsanitize=address,undefined)
elseif(NOT LUMO_SANITIZE STREQUAL "")
  message(FATAL_ERROR "LUMO_SANITIZE must be empty, 'thread' or 'address'")
endif()
