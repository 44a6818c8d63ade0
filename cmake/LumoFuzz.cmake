# libFuzzer targets. With LUMO_BUILD_FUZZERS (clang), everything is built with
# coverage, AddressSanitizer and UBSan, so a fuzzer sees the code it drives
# wherever it lives (generated code unoptimised and with UBSan's bool and enum
# checks only, as in the ASan build).
if(LUMO_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "LUMO_BUILD_FUZZERS needs clang (cmake --preset fuzz)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  set(LUMO_SANITIZE_GENERATED_OPTIONS ${LUMO_GENERATED_UNDER_ASAN})
  enable_testing()
endif()

# lumo_add_fuzzer(<name> SOURCES <files...> [LIBS <targets...>] [RECORDS])
# A target defining LLVMFuzzerTestOneInput, with its seed corpus in
# tests/fuzz/seeds/<name>/. In the fuzz build it is a fuzzer, and its test fuzzes
# for 10 s from the seeds (new inputs go to corpus/<name> in the build folder).
# In any other build the same entry point is linked to a small driver, and its
# test runs each seed once: a cheap regression check. RECORDS: its sources
# include the generated records (for the precompiled header).
function(lumo_add_fuzzer name)
  cmake_parse_arguments(F "RECORDS" "" "SOURCES;LIBS" ${ARGN})
  set(seeds ${PROJECT_SOURCE_DIR}/tests/fuzz/seeds/${name})
  if(LUMO_BUILD_FUZZERS)
    add_executable(${name} ${F_SOURCES})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set(corpus ${CMAKE_CURRENT_BINARY_DIR}/corpus/${name})
    file(MAKE_DIRECTORY ${corpus})
    add_test(NAME ${name} COMMAND ${name} -max_total_time=10 -rss_limit_mb=2048 ${corpus} ${seeds})
    set_tests_properties(${name} PROPERTIES TIMEOUT 120
      ENVIRONMENT "TMPDIR=${CMAKE_CURRENT_BINARY_DIR};HOME=${CMAKE_CURRENT_BINARY_DIR}")
  else()
    if(NOT TARGET lumo_fuzzdriver)
      # Compiled once for every target; its main() comes out of the archive.
      add_library(lumo_fuzzdriver STATIC ${PROJECT_SOURCE_DIR}/tests/fuzz/fuzzdriver.cpp)
      target_include_directories(lumo_fuzzdriver PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
      target_link_libraries(lumo_fuzzdriver PUBLIC ${LUMO_QT}::Test)
    endif()
    add_executable(${name} ${F_SOURCES})
    target_link_libraries(${name} PRIVATE lumo_fuzzdriver)
    add_test(NAME ${name} COMMAND ${name} ${seeds})
    set_tests_properties(${name} PROPERTIES TIMEOUT 120)
    lumo_test_environment(${name})
  endif()
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
  target_compile_definitions(${name} PRIVATE QT_NO_KEYWORDS)
  target_link_libraries(${name} PRIVATE ${F_LIBS} lumoipc_core)
  if(F_RECORDS)
    lumo_precompile_headers(${name} RECORDS)
  else()
    lumo_precompile_headers(${name})
  endif()
endfunction()
