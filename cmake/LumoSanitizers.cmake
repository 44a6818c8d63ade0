# LUMO_SANITIZE_GENERATED_OPTIONS: for generated code (the records, the
# processors and the rows derived from them) in an instrumented build. It is
# compiled without optimisation, as the rest of such a build is: instrumented,
# -Og cost it up to four times the compile time of -O0 (clang). ASan checks it as
# everything else, UBSan only for what decoded bytes can put there (a bool or
# an enum out of range): its checks on every pointer use were well over half
# of that code's compile time, and the code is the compiler's, not ours.
# LUMO_SANITIZE_TEST_OPTIONS: test code is checked by ASan alone; UBSan checks
# what ships, which the tests drive.
set(LUMO_SANITIZE_GENERATED_OPTIONS "")
set(LUMO_SANITIZE_TEST_OPTIONS "")
# What generated code takes under ASan and UBSan, here and in the fuzz build.
set(LUMO_GENERATED_UNDER_ASAN -O0 -fno-sanitize=undefined -fsanitize=bool,enum)
# Sanitizer builds apply to everything, generated code included, so that
# ThreadSanitizer sees every access to the buffers shared with Thrift. A report
# needs files, lines and function names, not a debugger's view of every type:
# line tables only, at a fraction of the compile time of full debug information.
if(LUMO_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=thread)
  set(LUMO_SANITIZE_GENERATED_OPTIONS -O0)
elseif(LUMO_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
    -g1)
  add_link_options(-fsanitize=address,undefined)
  set(LUMO_SANITIZE_TEST_OPTIONS -fno-sanitize=undefined)
  set(LUMO_SANITIZE_GENERATED_OPTIONS ${LUMO_GENERATED_UNDER_ASAN})
elseif(NOT LUMO_SANITIZE STREQUAL "")
  message(FATAL_ERROR "LUMO_SANITIZE must be empty, 'thread' or 'address'")
endif()
