# Flags, sanitizers and the few functions that every folder's CMakeLists.txt uses.

find_program(PLEXION_CCACHE ccache)
if(PLEXION_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without these two, ccache leaves everything alone that uses a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros ${PLEXION_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${PLEXION_CCACHE})
endif()

# The builds that are made again and again have some sixty programs to link each, which mold does in a fraction of
# the time. What is shipped is linked by the system's own linker.
find_program(PLEXION_MOLD mold)
if(PLEXION_MOLD AND NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_BUILD_TYPE STREQUAL "Release")
  add_link_options(-fuse-ld=mold)
endif()

# Launcher, platform modules and the service land side by side: the launcher's module path starts
# with the folder that it stands in.
set(PLEXION_OUTPUT_DIR ${CMAKE_BINARY_DIR}/bin)

# Warnings of all our code; qx/ adds -Wconversion.
add_library(plexion_warnings INTERFACE)
target_compile_options(plexion_warnings INTERFACE -Wall -Wextra -Werror
  # Where sources are joined, a variable of a function may well be named as one of another source.
  $<$<NOT:$<BOOL:${PLEXION_JOIN}>>:-Wshadow>
  # There g++ also takes a type of a source for one of a header, and sees uninitialized what is not.
  "$<$<AND:$<BOOL:${PLEXION_JOIN}>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage;-Wno-maybe-uninitialized>"
  # Holds what the code says of its locks (host/base/Mutex.h); g++ has no such check.
  "$<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>")
add_library(plexion_strict_warnings INTERFACE)
target_link_libraries(plexion_strict_warnings INTERFACE plexion_warnings)
target_compile_options(plexion_strict_warnings INTERFACE -Wconversion)

# Sanitizers and coverage. The module is built without RTTI, so the vptr check stays off everywhere.
add_library(plexion_instrumentation INTERFACE)
if(PLEXION_SANITIZE STREQUAL "address")
  set(flags -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
elseif(PLEXION_SANITIZE STREQUAL "thread")
  set(flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT PLEXION_SANITIZE STREQUAL "")
  message(FATAL_ERROR "PLEXION_SANITIZE is '${PLEXION_SANITIZE}'; expected address, thread or empty")
endif()
if(PLEXION_COVERAGE)
  list(APPEND flags --coverage -fprofile-update=atomic)
endif()
if(PLEXION_FUZZ)
  list(APPEND flags -fsanitize=fuzzer-no-link)
endif()
if(flags)
  target_compile_options(plexion_instrumentation INTERFACE ${flags})
  target_link_options(plexion_instrumentation INTERFACE ${flags})
endif()

# What every target of host/, sim/, tests/, bench/ and fuzz/ links.
add_library(plexion_common INTERFACE)
target_link_libraries(plexion_common INTERFACE plexion_warnings plexion_instrumentation)
target_include_directories(plexion_common INTERFACE ${CMAKE_SOURCE_DIR})
# Some libraries ask for it; a precompiled header fits only where all do.
target_compile_options(plexion_common INTERFACE -pthread)
if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  # Elsewhere the compiler may fuse a product and a sum, which rounds once less: pictures would differ from
  # processor to processor.
  target_compile_options(plexion_common INTERFACE -ffp-contract=off)
endif()

# Precompiled headers, one set for each way of compiling. Suites share the test framework's headers and
# the standard library's in every preset, since parsing those takes longer than the rest of a suite.
# Everything else shares them only where PLEXION_PRECOMPILE says so: the shipped build parses each source with
# nothing but its own includes, so that a missing one is found.
set(PLEXION_STANDARD_HEADERS <algorithm> <atomic> <chrono> <condition_variable> <cstdint> <cstdlib>
    <cstring> <filesystem> <fstream> <functional> <map> <memory> <mutex> <optional> <set> <sstream>
    <string> <string_view> <thread> <unordered_map> <utility> <vector>)
file(WRITE ${CMAKE_BINARY_DIR}/precompiled/Empty.cpp.in "// Carries a precompiled header.\n")
configure_file(${CMAKE_BINARY_DIR}/precompiled/Empty.cpp.in
               ${CMAKE_BINARY_DIR}/precompiled/Empty.cpp COPYONLY)

# Suites are compiled without optimisation in the everyday and the sanitizer builds, which takes half
# the time; what they test is compiled as the preset says.
set(PLEXION_TEST_OPTIONS $<$<CONFIG:RelWithDebInfo>:-O0>)

# plexion_headers(NAME OPTION... HEADERS HEADER...): a set for targets compiled with these options.
function(plexion_headers NAME)
  cmake_parse_arguments(ARG "" "" "HEADERS;LIBRARIES" ${ARGN})
  add_library(${NAME} OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/precompiled/Empty.cpp)
  target_link_libraries(${NAME} PRIVATE plexion_common ${ARG_LIBRARIES})
  target_compile_options(${NAME} PRIVATE ${ARG_UNPARSED_ARGUMENTS}
    # The time in it would make every build of the header another one for a compiler cache.
    "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
  target_precompile_headers(${NAME} PRIVATE ${ARG_HEADERS})
endfunction()

# plexion_precompile_folder(FOLDER): the standard library's headers for the libraries and modules of a
# folder and those below it.
function(plexion_precompile_folder FOLDER)
  get_property(targets DIRECTORY ${FOLDER} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(name IN LISTS targets)
    get_target_property(type ${name} TYPE)
    if(type MATCHES "^(STATIC|MODULE|SHARED)_LIBRARY$")
      get_target_property(visibility ${name} CXX_VISIBILITY_PRESET)
      if(visibility STREQUAL "hidden")
        target_precompile_headers(${name} REUSE_FROM plexion_hidden_library_headers)
      else()
        target_precompile_headers(${name} REUSE_FROM plexion_library_headers)
      endif()
    endif()
  endforeach()
  get_property(folders DIRECTORY ${FOLDER} PROPERTY SUBDIRECTORIES)
  foreach(folder IN LISTS folders)
    plexion_precompile_folder(${folder})
  endforeach()
endfunction()

# plexion_join_folder(FOLDER): the sources of a library of this folder and those below it are compiled a dozen
# at a time, as one: most of a source's time is its headers'. A name without linkage is then seen by its neighbours,
# so it is said once in a library.
function(plexion_join_folder FOLDER)
  get_property(targets DIRECTORY ${FOLDER} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(name IN LISTS targets)
    get_target_property(type ${name} TYPE)
    if(type MATCHES "^(STATIC|MODULE|SHARED)_LIBRARY$")
      set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
    endif()
  endforeach()
  get_property(folders DIRECTORY ${FOLDER} PROPERTY SUBDIRECTORIES)
  foreach(folder IN LISTS folders)
    plexion_join_folder(${folder})
  endforeach()
endfunction()

# plexion_vector_sources(SOURCE...): sources of this folder's libraries that are written with Highway, one
# copy for each kind of vector; the library links plexion_vectors.
function(plexion_vector_sources)
  # For processors without any vectors, Highway has plain loops that look like vectors of four. It does
  # not trust g++ before 12.3 with them, which vectorises such loops wrongly at times: so it must not.
  set(options -DHWY_BROKEN_EMU128=0 -fno-tree-vectorize)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    # Vectors without a size at compile time cannot stand in arrays, and no display's processor has them;
    # every one has NEON.
    list(APPEND options "-DHWY_DISABLED_TARGETS=(HWY_SVE|HWY_SVE2|HWY_SVE_256|HWY_SVE2_128)")
  endif()
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "arm")
    # Highway names the half-wide floating point type, which 32-bit ARM has only when told its format.
    list(APPEND options -mfp16-format=ieee)
  endif()
  if(PLEXION_SANITIZE)
    # The sanitizers take minutes for each kind of vector. One has all the paths; without optimisation, vectors
    # are slower than anything else.
    list(APPEND options -DHWY_COMPILE_ONLY_STATIC -O1)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
      list(APPEND options -mssse3)
    endif()
  endif()
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${options}"
    # A header that was precompiled for other vectors cannot be used.
    SKIP_PRECOMPILE_HEADERS ON SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# Gathering targets: what ./play needs, what the sanitizer runs of ./test need, everything else but the fuzzers
# (see plexion_gather_unsanitized), and the fuzzers.
add_custom_target(plexion-all)
add_custom_target(fast-tests)
add_custom_target(unsanitized)
add_custom_target(fuzzers)

# plexion_gather_unsanitized(FOLDER): all that is built in a folder and those below it, without the suites that
# the sanitizers run.
function(plexion_gather_unsanitized FOLDER)
  get_property(targets DIRECTORY ${FOLDER} PROPERTY BUILDSYSTEM_TARGETS)
  get_property(suites GLOBAL PROPERTY PLEXION_SANITIZED_SUITES)
  foreach(name IN LISTS targets)
    get_target_property(type ${name} TYPE)
    get_target_property(left_out ${name} EXCLUDE_FROM_ALL)
    if(NOT type STREQUAL "INTERFACE_LIBRARY" AND NOT left_out AND NOT name IN_LIST suites)
      add_dependencies(unsanitized ${name})
    endif()
  endforeach()
  get_property(folders DIRECTORY ${FOLDER} PROPERTY SUBDIRECTORIES)
  foreach(folder IN LISTS folders)
    plexion_gather_unsanitized(${folder})
  endforeach()
endfunction()

# plexion_needed_to_run(TARGET...): ./play builds these.
function(plexion_needed_to_run)
  foreach(name IN LISTS ARGN)
    if(TARGET ${name})
      add_dependencies(plexion-all ${name})
    endif()
  endforeach()
endfunction()

# plexion_host_module(NAME [NAME2 ...] SOURCES ... LIBRARIES ...)
#
# A platform module as a shared library <NAME>.so beside the launcher. It links the foundation
# types (qx_core) into itself, so it has a kernel pointer of its own, set by its
# IQXModule_QXModule_PutKernel. Only the C entry points are visible.
function(plexion_host_module NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;INCLUDES" ${ARGN})
  add_library(${NAME} MODULE ${ARG_SOURCES})
  set_target_properties(${NAME} PROPERTIES PREFIX "" SUFFIX ".so"
    LIBRARY_OUTPUT_DIRECTORY ${PLEXION_OUTPUT_DIR}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${NAME} PRIVATE plexion_common plexion_host_base qx_core ${ARG_LIBRARIES})
  if(NOT PLEXION_SANITIZE)
    # A module that misses a symbol is otherwise found out when it is loaded. The sanitizers' own come with the
    # launcher.
    target_link_options(${NAME} PRIVATE -Wl,--no-undefined)
  endif()
  if(ARG_INCLUDES)
    target_include_directories(${NAME} SYSTEM PRIVATE ${ARG_INCLUDES})
  endif()
  plexion_needed_to_run(${NAME})
endfunction()

# plexion_test(NAME SOURCES ... LIBRARIES ... [LABELS ...] [DEFINITIONS ...] [WITHOUT_RTTI])
#
# One GoogleTest program. Its cases are registered one by one with CTest, each a process of its own;
# under a sanitizer, where a process takes long to start, they share four. WITHOUT_RTTI is for suites that
# derive from the module's classes, which have none. LABELS: "fast" suites also
# run under the sanitizers, "memory" suites under the address sanitizer only. "thorough" ones take long, and
# run with ./test --all only.
function(plexion_test NAME)
  cmake_parse_arguments(ARG "WITHOUT_RTTI" "" "SOURCES;LIBRARIES;LABELS;DEFINITIONS;INCLUDES" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_link_libraries(${NAME} PRIVATE plexion_common ${ARG_LIBRARIES} GTest::gtest GTest::gmock
                                        GTest::gtest_main)
  target_compile_definitions(${NAME} PRIVATE ${ARG_DEFINITIONS})
  target_compile_options(${NAME} PRIVATE ${PLEXION_TEST_OPTIONS})
  if(ARG_WITHOUT_RTTI)
    target_compile_options(${NAME} PRIVATE -fno-rtti)
    target_precompile_headers(${NAME} REUSE_FROM plexion_test_headers_without_rtti)
  else()
    target_precompile_headers(${NAME} REUSE_FROM plexion_test_headers)
  endif()
  if(ARG_INCLUDES)
    target_include_directories(${NAME} SYSTEM PRIVATE ${ARG_INCLUDES})
  endif()
  if("fast" IN_LIST ARG_LABELS
     OR ("memory" IN_LIST ARG_LABELS AND PLEXION_SANITIZE STREQUAL "address"))
    add_dependencies(fast-tests ${NAME})
  endif()
  if("fast" IN_LIST ARG_LABELS OR "memory" IN_LIST ARG_LABELS)
    set_property(GLOBAL APPEND PROPERTY PLEXION_SANITIZED_SUITES ${NAME})
  endif()
  if(PLEXION_SANITIZE)
    foreach(part RANGE 1 4)
      math(EXPR index "${part} - 1")
      add_test(NAME ${NAME}.part-${part}-of-4 COMMAND ${NAME})
      set_tests_properties(${NAME}.part-${part}-of-4 PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}"
        ENVIRONMENT "GTEST_TOTAL_SHARDS=4;GTEST_SHARD_INDEX=${index};GTEST_FAIL_FAST=1;GTEST_BRIEF=1")
    endforeach()
    return()
  endif()
  set(properties TIMEOUT 120)
  if(ARG_LABELS)
    # The labels are one value in a list that CMake takes apart three times on its way to CTest.
    string(REPEAT "\\" 8 escape)
    string(REPLACE ";" "${escape};" labels "${ARG_LABELS}")
    list(APPEND properties LABELS "${labels}")
  endif()
  gtest_discover_tests(${NAME} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
endfunction()

# plexion_fuzzer(NAME SOURCES ... LIBRARIES ...)
#
# One libFuzzer program, fuzz_<NAME>. Seeds that belong to the repository are in fuzz/corpus/fuzz_<NAME>.
function(plexion_fuzzer NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(fuzz_${NAME} ${ARG_SOURCES})
  set_target_properties(fuzz_${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PLEXION_OUTPUT_DIR})
  target_link_libraries(fuzz_${NAME} PRIVATE plexion_common ${ARG_LIBRARIES})
  target_link_options(fuzz_${NAME} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzzers fuzz_${NAME})
endfunction()
