# One function per kind of target, so that the folders' own lists hold nothing but names.

# What every target is compiled with. Exceptions and RTTI stay on; symbols are hidden unless marked.
function(kova_common_options target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion)
  if(KOVA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(KOVA_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${KOVA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    # Instrumented, <regex> seems to use what it has not set.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PRIVATE -fsanitize=${KOVA_SANITIZE})
  endif()
endfunction()

# A floor: a library NAME with the alias kova::ALIAS over the listed sources, its public headers in
# INCLUDE, using the floors and libraries named in PUBLIC and PRIVATE. As a shared library it exports
# what its headers mark and abi/libNAME.map lets through.
function(kova_add_floor name)
  cmake_parse_arguments(ARG "" "ALIAS;INCLUDE" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  set(exports ${PROJECT_SOURCE_DIR}/abi/lib${name}.map)
  add_library(${name} ${ARG_SOURCES})
  add_library(kova::${ARG_ALIAS} ALIAS ${name})
  kova_common_options(${name})
  if(CMAKE_CROSSCOMPILING)
    # The record of the binary interface is read from debug information; the tests go without.
    target_compile_options(${name} PRIVATE -g)
  endif()
  # A library calls its own functions, not those of another one that have the same names: so they
  # can be inlined, and need no look-up.
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${ARG_INCLUDE}>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  target_link_options(${name} PRIVATE
    -Wl,--as-needed -Wl,-Bsymbolic-functions -Wl,--version-script=${exports})
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${exports}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${ARG_ALIAS})
endfunction()

# How test programs are compiled in the optimized presets: what is proved is the libraries, so the
# tests themselves are spared the optimizer and the undefined-behaviour checks, which halves the time
# that the whole build takes. With OPTIMIZE (tests that compute a lot) they are optimized all the same.
function(kova_test_options target optimize)
  if(NOT CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
    return()
  endif()
  set(options -O1)
  if((KOVA_SANITIZE OR CMAKE_CROSSCOMPILING) AND NOT optimize)
    set(options -O0)
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    list(APPEND options -g1)
  endif()
  target_compile_options(${target} PRIVATE ${options})
  if(KOVA_SANITIZE MATCHES "undefined")
    target_compile_options(${target} PRIVATE -fno-sanitize=undefined)
  endif()
endfunction()

# An object library NAME that lends the test programs the headers that all of them take in, compiled
# once. For presets that ask for it: in the others, each file shows that it includes what it needs.
function(kova_add_test_prelude name optimize)
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  kova_common_options(${name})
  kova_test_options(${name} ${optimize})
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gmock)
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  target_precompile_headers(${name} PRIVATE
    <gtest/gtest.h> <functional> <map> <memory> <optional> <string> <string_view> <vector>)
endfunction()

# A test program NAME over the listed sources and libraries: one entry for ctest, which fails on a
# failed test and on a program without tests, and stops after TIMEOUT seconds (default 120). Each of
# its LABELS is a target too, LABEL_tests, which builds the programs that carry it. With NATIVE it is
# left out where an emulator runs the tests.
function(kova_add_test name)
  cmake_parse_arguments(ARG "OPTIMIZE;NATIVE" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(ARG_NATIVE AND CMAKE_CROSSCOMPILING)
    message(STATUS "${name} is left out: the emulator cannot run it")
    return()
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  kova_common_options(${name})
  kova_test_options(${name} ${ARG_OPTIMIZE})
  # GoogleTest's typed tests leave out the last argument of a macro.
  target_compile_options(${name} PRIVATE
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
  if(KOVA_PRECOMPILE_TESTS)
    set(prelude kova_test_prelude)
    if(ARG_OPTIMIZE)
      set(prelude kova_test_prelude_optimized)
    endif()
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    target_precompile_headers(${name} REUSE_FROM ${prelude})
  endif()
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gmock kova_test_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
  foreach(label IN LISTS ARG_LABELS)
    add_dependencies(${label}_tests ${name})
  endforeach()
endfunction()

# An object library NAME with a source for each header below the folders ROOTS, which includes this
# header and nothing else: it builds when every header stands alone and may be included twice.
function(kova_add_headers_alone name)
  cmake_parse_arguments(ARG "" "" "ROOTS;LIBRARIES" ${ARGN})
  foreach(root IN LISTS ARG_ROOTS)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${root} ${root}/*.h)
    foreach(header IN LISTS headers)
      set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}/${header}.cpp)
      file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n#include \"${header}\"\n")
      list(APPEND sources ${source})
    endforeach()
  endforeach()
  add_library(${name} OBJECT ${sources})
  kova_common_options(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
endfunction()
