# Sanitizer builds apply to everything, generated code included, so that
# ThreadSanitizer sees every access to the buffers shared with Thrift.
if(LUMO_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(LUMO_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(NOT LUMO_SANITIZE STREQUAL "")
  message(FATAL_ERROR "LUMO_SANITIZE must be empty, 'thread' or 'address'")
endif()
