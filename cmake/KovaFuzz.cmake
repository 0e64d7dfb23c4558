# Support for fuzz targets with Clang's libFuzzer. All sources are compiled with its instrumentation, so
# that coverage of the libraries guides the search for inputs.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "KOVA_BUILD_FUZZERS needs Clang: use the preset fuzz")
endif()
add_compile_options(-fsanitize=fuzzer-no-link)

# Adds a fuzz target: the program fuzz_NAME, built from NAME.cpp and further sources.
function(kova_add_fuzz_target name)
  add_executable(fuzz_${name} ${name}.cpp ${ARGN})
  kova_common_options(fuzz_${name})
  target_link_libraries(fuzz_${name} PRIVATE fuzz_support)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endfunction()
