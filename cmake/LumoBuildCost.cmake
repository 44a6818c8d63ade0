# What keeps a clean build cheap, opted into target by target, so that a new
# folder's targets take the same means:
#
#   lumo_precompile_headers(<target> [RECORDS])
#     The target's sources start from a precompiled header shared by every
#     target of its kind instead of parsing Qt's headers (and, with RECORDS,
#     the generated records) again in each file: a few tenths of a second per
#     file instead of 3-8 s. Test code, compiled with LUMO_TEST_COMPILE_OPTIONS
#     (every target under tests/), shares one of its own that also holds
#     QtTest. The target is compiled with QT_NO_KEYWORDS, as the library is.
#   lumo_unity_build(<target> [BATCH <n>] [ALONE <sources>...])
#     Compiles the target's sources in batches of <n> (8) per translation unit.
#     For targets of many small files, whose cost is the headers. ALONE: the
#     sources that do not fit in a batch (file-local names that clash with
#     another file's) and are compiled on their own. Sources with options of
#     their own are compiled alone anyway.
#   LUMO_TEST_COMPILE_OPTIONS
#     What test code is compiled with instead of the build type's
#     optimisation; whatever the tests exercise keeps its own.
#
# -DLUMO_PRECOMPILE_HEADERS=OFF and -DLUMO_UNITY_BUILD=OFF build without them
# (to see what they save, or for tools that read one file at a time).
# Clang refuses a precompiled header outright where a file's own options differ
# from the header's (the generated code of the sanitizer builds, compiled at
# -O0), where GCC reads the text instead: the clang build (fuzzing) goes
# without. Under GCC a file's -O0 among optimised code costs it the header
# (__OPTIMIZE__ differs): such files use -Og.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set(_lumo_pch_default OFF)
else()
  set(_lumo_pch_default ON)
endif()
option(LUMO_PRECOMPILE_HEADERS "Share precompiled Qt and record headers between targets"
  ${_lumo_pch_default})
option(LUMO_UNITY_BUILD "Compile targets of many small files in batches" ON)

# Line tables only: backtraces (the sanitizers' reports among them) stay exact,
# and describing every type to a debugger was a third of a test file's time.
set(LUMO_TEST_COMPILE_OPTIONS $<$<NOT:$<CONFIG:Debug>>:-O0> $<$<NOT:$<CONFIG:Debug>>:-g1>
  ${LUMO_SANITIZE_TEST_OPTIONS})

# A RelWithDebInfo build carries line tables (-g1), as the tests and the
# sanitizer builds do: backtraces and profiles stay exact, and describing every
# Qt and record type to a debugger was a fifth of a file's compile time. The
# Debug build type has full debug information.
add_compile_options($<$<CONFIG:RelWithDebInfo>:-g1>)

# Executables (every tool, test and benchmark) link with lld where it is
# installed, in a fifth of the default linker's time; the libraries choose
# their own (src/).
include(CheckLinkerFlag)
check_linker_flag(CXX -fuse-ld=lld LUMO_HAVE_LLD)
if(LUMO_HAVE_LLD)
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-fuse-ld=lld>)
endif()

# The headers most files include, Qt's and the standard library's. Nothing that
# depends on a target's own settings: a precompiled header is used only where
# every macro it tests is defined as when it was built (GCC checks, and with
# -Winvalid-pch, which CMake adds, says so), and the visibility of what it
# declares is the one it was built with.
set(LUMO_PCH_QT_HEADERS
  <QByteArray> <QCoreApplication> <QDateTime> <QDebug> <QDir> <QElapsedTimer> <QFile>
  <QFileInfo> <QHash> <QList> <QLocalServer> <QLocalSocket> <QLoggingCategory> <QMap>
  <QMetaObject> <QMetaType> <QMutex> <QObject> <QPointer> <QProcess> <QReadWriteLock> <QSet>
  <QString> <QStringList> <QThread> <QTimer> <QVariant> <QVector>
  <algorithm> <atomic> <cstdio> <cstring> <functional> <map> <memory> <mutex> <string>
  <vector>)
# The records come before Qt's headers, as everywhere in the project: parsed
# first, their inline comparisons do not weigh Qt's global operators.
# The request service's header comes with them (its client's argument and
# result records): the files that hold the records mostly include it too.
set(LUMO_PCH_RECORD_HEADERS [["lumo_types.h"]] [["KLumoServices.h"]]
  <thrift/protocol/TCompactProtocol.h> <thrift/transport/TBufferTransports.h>)
set(LUMO_PCH_TEST_HEADERS <QTest> <QSignalSpy>)

# Qt 6's QtTest defines the folders of each target's own build and sources
# (for QFINDTESTDATA, which no test here uses), so no two folders' tests could
# share a header precompiled in a third: test code leaves them undefined, the
# header's holder and its users alike (options come after the definitions).
function(_lumo_pch_test_undefines target)
  if(LUMO_QT STREQUAL "Qt6")
    target_compile_options(${target} PRIVATE -UQT_TESTCASE_BUILDDIR -UQT_TESTCASE_SOURCEDIR)
  endif()
endfunction()

# A target that only owns a precompiled header for others to reuse, built when
# one of them is. Its flags are those of its kind of code: the build type's
# (and the sanitizers') for CODE, plus LUMO_TEST_COMPILE_OPTIONS for TEST. It
# defines as few macros as it can, since a user must define all it does:
# QT_CORE_LIB and QT_NO_KEYWORDS, and for test code those of QtTest
# (QT_TESTLIB_LIB, QT_TESTCASE_BUILDDIR), QT_GUI_LIB and QT_NETWORK_LIB, which
# QtTest tests and which every test has through lumo_testcommon. The other
# modules' are include folders only.
function(_lumo_pch_holder name)
  cmake_parse_arguments(H "TEST;RECORDS" "" "" ${ARGN})
  set(source ${PROJECT_BINARY_DIR}/pch/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "// Compiled for its precompiled header only.\n")
  add_library(${name} OBJECT EXCLUDE_FROM_ALL ${source})
  set_target_properties(${name} PROPERTIES AUTOMOC OFF)
  target_link_libraries(${name} PRIVATE ${LUMO_QT}::Core)
  target_compile_definitions(${name} PRIVATE QT_NO_KEYWORDS)
  set(includes ${LUMO_QT}::Network ${LUMO_QT}::Gui)
  set(headers)
  if(H_RECORDS)
    target_link_libraries(${name} PRIVATE lumo_idl)
    list(APPEND headers ${LUMO_PCH_RECORD_HEADERS})
  endif()
  list(APPEND headers ${LUMO_PCH_QT_HEADERS})
  if(H_TEST)
    target_link_libraries(${name} PRIVATE ${LUMO_QT}::Test ${LUMO_QT}::Gui ${LUMO_QT}::Network)
    target_compile_options(${name} PRIVATE ${LUMO_TEST_COMPILE_OPTIONS})
    _lumo_pch_test_undefines(${name})
    list(APPEND headers ${LUMO_PCH_TEST_HEADERS})
  endif()
  foreach(dep ${includes})
    target_include_directories(${name} SYSTEM PRIVATE
      $<TARGET_PROPERTY:${dep},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
  target_precompile_headers(${name} PRIVATE ${headers})
endfunction()

# The holders, once the generated records have a target (after idl/).
function(lumo_define_precompiled_headers)
  if(NOT LUMO_PRECOMPILE_HEADERS)
    return()
  endif()
  _lumo_pch_holder(lumo_pch_code)
  _lumo_pch_holder(lumo_pch_code_records RECORDS)
  if(BUILD_TESTING)
    find_package(${LUMO_QT} ${LUMO_QT_MIN_VERSION} REQUIRED COMPONENTS Test)
    _lumo_pch_holder(lumo_pch_test TEST)
    _lumo_pch_holder(lumo_pch_test_records TEST RECORDS)
  endif()
endfunction()

function(lumo_precompile_headers target)
  cmake_parse_arguments(P "RECORDS" "" "" ${ARGN})
  if(NOT LUMO_PRECOMPILE_HEADERS)
    return()
  endif()
  # The kind of code follows the flags in effect where the target is defined.
  get_target_property(dir ${target} SOURCE_DIR)
  get_directory_property(options DIRECTORY ${dir} COMPILE_OPTIONS)
  set(kind code)
  list(GET LUMO_TEST_COMPILE_OPTIONS 0 test_option)
  if(test_option IN_LIST options)
    set(kind test)
  endif()
  set(holder lumo_pch_${kind})
  if(P_RECORDS)
    string(APPEND holder _records)
  endif()
  if(NOT TARGET ${holder})
    message(FATAL_ERROR "lumo_precompile_headers(${target}): no ${holder} (tests not built?)")
  endif()
  target_precompile_headers(${target} REUSE_FROM ${holder})
  # Loading a precompiled header costs 0.5-3 s, more than what AUTOMOC's own
  # file needs: its moc output is included by the sources that define the
  # classes (moc_<name>.cpp at their end), which leaves it empty.
  get_target_property(bin ${target} BINARY_DIR)
  set_source_files_properties(${bin}/${target}_autogen/mocs_compilation.cpp
    TARGET_DIRECTORY ${target} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
  # Where the header cannot be used, the compiler reads its text instead and
  # must find what it includes.
  target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS)
  set(qt ${LUMO_QT}::Core ${LUMO_QT}::Network ${LUMO_QT}::Gui)
  if(kind STREQUAL "test")
    list(APPEND qt ${LUMO_QT}::Test)
    _lumo_pch_test_undefines(${target})
  endif()
  foreach(dep ${qt})
    target_include_directories(${target} SYSTEM PRIVATE
      $<TARGET_PROPERTY:${dep},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
  if(P_RECORDS)
    target_include_directories(${target} PRIVATE
      $<TARGET_PROPERTY:lumo_idl,INTERFACE_INCLUDE_DIRECTORIES>)
  endif()
endfunction()

function(lumo_unity_build target)
  cmake_parse_arguments(U "" "BATCH" "ALONE" ${ARGN})
  if(NOT LUMO_UNITY_BUILD)
    return()
  endif()
  if(NOT U_BATCH)
    set(U_BATCH 8)
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${U_BATCH})
  if(U_ALONE)
    set_source_files_properties(${U_ALONE} TARGET_DIRECTORY ${target} PROPERTIES
      SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()
