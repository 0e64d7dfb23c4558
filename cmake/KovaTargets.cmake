# One function for each kind of target, so that the CMakeLists.txt files contain only names.
include(CheckLinkerFlag)

# Packing relative relocations takes 1 bit instead of 24 bytes for each. The dynamic linker must support
# them: glibc 2.36 or later. Linkers that cannot pack them accept the option, print a warning and ignore it.
check_linker_flag(CXX -Wl,--fatal-warnings,-z,pack-relative-relocs KOVA_LINKER_PACKS_RELOCATIONS)

# Sets the compile options common to all targets. Exceptions and RTTI stay enabled; symbols are hidden
# unless marked.
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
    # False positive of GCC in instrumented <regex> code.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PRIVATE -fsanitize=${KOVA_SANITIZE})
  endif()
endfunction()

# Adds the object library NAME_objects, which compiles SOURCES with the private headers in INTERNAL. It
# links the layers and libraries in PUBLIC and PRIVATE. Optimized builds compile SMALL_SOURCES, which no
# benchmark spends time in, for size.
function(kova_add_objects name)
  cmake_parse_arguments(ARG "" "" "INCLUDE;INTERNAL;SOURCES;SMALL_SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name}_objects OBJECT ${ARG_SOURCES} ${ARG_SMALL_SOURCES})
  if(NOT KOVA_SANITIZE)
    # Headers that were precompiled with -O2 cannot be used with -Os.
    set_source_files_properties(${ARG_SMALL_SOURCES} PROPERTIES
      COMPILE_OPTIONS $<$<NOT:$<CONFIG:Debug>>:-Os> SKIP_PRECOMPILE_HEADERS ON)
  endif()
  kova_common_options(${name}_objects)
  target_include_directories(${name}_objects PUBLIC $<BUILD_INTERFACE:${ARG_INCLUDE}>
    PRIVATE ${ARG_INTERNAL})
  target_link_libraries(${name}_objects PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  if(KOVA_PRECOMPILE)
    target_compile_options(${name}_objects PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    target_precompile_headers(${name}_objects PRIVATE
      <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <functional> <list> <map>
      <memory> <mutex> <optional> <string> <string_view> <unordered_map> <utility> <vector>)
  endif()
  if(BUILD_SHARED_LIBS)
    set_target_properties(${name}_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
  endif()
  if(CMAKE_CROSSCOMPILING)
    # tools/abi reads the binary interface from debug information. Tests are built without it.
    target_compile_options(${name}_objects PRIVATE -g)
  endif()
  # Calls within a library bind to its own functions, so they can be inlined and need no symbol lookup.
  target_compile_options(${name}_objects PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
endfunction()

# Adds a layer: the library NAME with the alias kova::ALIAS, built from SOURCES and SMALL_SOURCES (see
# kova_add_objects), with its public headers in INCLUDE and its private ones in INTERNAL. It links the
# layers and libraries in PUBLIC and PRIVATE. A shared library exports the symbols that its headers mark
# and that abi/libNAME.map lists.
#
# The object library NAME_objects compiles the sources, once for the library and for the tests of its
# private parts (see kova_add_test). SHARED names a set of objects (kova_add_objects) that the library,
# like others, contains; whatever links NAME_objects gets them, too.
function(kova_add_layer name)
  cmake_parse_arguments(ARG "" "ALIAS;INCLUDE;SHARED" "INTERNAL;SOURCES;SMALL_SOURCES;PUBLIC;PRIVATE"
    ${ARGN})
  set(exports ${PROJECT_SOURCE_DIR}/abi/lib${name}.map)
  kova_add_objects(${name} INCLUDE ${ARG_INCLUDE} INTERNAL ${ARG_INTERNAL} SOURCES ${ARG_SOURCES}
    SMALL_SOURCES ${ARG_SMALL_SOURCES} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  add_library(${name} $<TARGET_OBJECTS:${name}_objects>)
  if(ARG_SHARED)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:${ARG_SHARED}_objects>)
    target_sources(${name}_objects INTERFACE $<TARGET_OBJECTS:${ARG_SHARED}_objects>)
  endif()
  add_library(kova::${ARG_ALIAS} ALIAS ${name})
  kova_common_options(${name})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${ARG_INCLUDE}>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  target_link_options(${name} PRIVATE
    -Wl,--as-needed -Wl,-Bsymbolic-functions -Wl,--version-script=${exports}
    $<$<BOOL:${KOVA_LINKER_PACKS_RELOCATIONS}>:-Wl,-z,pack-relative-relocs>)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${exports} LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${ARG_ALIAS})
endfunction()

# Sets the compile options of test programs in the optimized presets. Only the libraries are under test,
# so the test code is compiled without optimization and without undefined-behaviour checks, which halves
# the time of a full build. OPTIMIZE enables some optimization, for compute-intensive tests.
function(kova_test_options target optimize)
  if(NOT CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
    return()
  endif()
  set(options -O0)
  if(optimize)
    set(options -O1)
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    list(APPEND options -g1)
  endif()
  target_compile_options(${target} PRIVATE ${options})
  if(KOVA_SANITIZE MATCHES "undefined")
    target_compile_options(${target} PRIVATE -fno-sanitize=undefined)
  endif()
endfunction()

# Adds an object library NAME that precompiles the headers common to all test programs. Only presets
# with KOVA_PRECOMPILE use it; the other presets verify that each file includes what it needs.
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

# Adds a test program NAME built from SOURCES and LIBRARIES, with one ctest entry. The entry fails if a
# test fails, if the program contains no tests, or after TIMEOUT seconds (default 120). For each of the
# LABELS, the target LABEL_tests builds all programs with that label. NATIVE excludes the program where
# an emulator runs the tests.
#
# INTERNALS names a layer whose private parts the program tests: it links the layer's objects in place of
# its library and sees its private headers.
function(kova_add_test name)
  cmake_parse_arguments(ARG "OPTIMIZE;NATIVE" "TIMEOUT;INTERNALS" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(ARG_NATIVE AND CMAKE_CROSSCOMPILING)
    message(STATUS "${name} is excluded where an emulator runs the tests")
    return()
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  kova_common_options(${name})
  kova_test_options(${name} ${ARG_OPTIMIZE})
  # GoogleTest's typed tests omit the variadic argument of a macro.
  target_compile_options(${name} PRIVATE
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
  if(KOVA_PRECOMPILE)
    set(prelude kova_test_prelude)
    if(ARG_OPTIMIZE)
      set(prelude kova_test_prelude_optimized)
    endif()
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    target_precompile_headers(${name} REUSE_FROM ${prelude})
  endif()
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  if(ARG_INTERNALS)
    target_include_directories(${name} PRIVATE
      $<TARGET_PROPERTY:${ARG_INTERNALS}_objects,INCLUDE_DIRECTORIES>)
    list(APPEND ARG_LIBRARIES ${ARG_INTERNALS}_objects)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gmock kova_test_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
  foreach(label IN LISTS ARG_LABELS)
    add_dependencies(${label}_tests ${name})
  endforeach()
endfunction()

# Adds an object library NAME with one source for each header below the folders ROOTS. Each source
# includes only its header, twice, and holds the examples of its comments. The library builds if
# every header is self-contained, has an include guard and has examples that need no other header.
# Every header of EXAMPLES, one of the ROOTS, has an example, except those that the file
# WITHOUT_EXAMPLE lists.
function(kova_add_headers_alone name)
  cmake_parse_arguments(ARG "" "EXAMPLES;WITHOUT_EXAMPLE" "ROOTS;LIBRARIES" ${ARGN})
  set(extract ${PROJECT_SOURCE_DIR}/tests/contract/examples.awk)
  file(STRINGS ${ARG_WITHOUT_EXAMPLE} without_example REGEX "^[^#]")
  list(TRANSFORM without_example REPLACE " .*" "")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARG_WITHOUT_EXAMPLE})
  foreach(root IN LISTS ARG_ROOTS)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${root} ${root}/*.h)
    foreach(header IN LISTS headers)
      set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}/${header}.cpp)
      set(variables -v header=${header})
      if(header IN_LIST without_example)
        list(REMOVE_ITEM without_example ${header})
        list(APPEND variables -v need=0)
      elseif(root STREQUAL ARG_EXAMPLES)
        list(APPEND variables -v need=1)
      endif()
      cmake_path(GET source PARENT_PATH folder)
      add_custom_command(OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
        COMMAND awk -f ${extract} ${variables} ${root}/${header} > ${source}
        DEPENDS ${extract} ${ARG_WITHOUT_EXAMPLE} ${root}/${header}
        COMMENT "Extracting the examples of ${header}" VERBATIM)
      list(APPEND sources ${source})
    endforeach()
  endforeach()
  if(without_example)
    message(FATAL_ERROR "${ARG_WITHOUT_EXAMPLE} lists no header: ${without_example}")
  endif()
  add_library(${name} OBJECT ${sources})
  kova_common_options(${name})
  kova_test_options(${name} FALSE)
  # An example may contain a value or an object that is not used.
  target_compile_options(${name} PRIVATE
    -Wno-unused-value -Wno-unused-result -Wno-unused-variable -Wno-unused-but-set-variable)
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
endfunction()
