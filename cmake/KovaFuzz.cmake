# Fuzz targets, with Clang's libFuzzer. The whole tree is compiled with its instrumentation, so that
# inputs are led by what they reach in the libraries.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "KOVA_BUILD_FUZZERS needs Clang: use the preset fuzz")
endif()
add_compile_options(-fsanitize=fuzzer-no-link)

# A fuzz target: the program fuzz_NAME from NAME.cpp.
function(kova_add_fuzz_target name)
  add_executable(fuzz_${name} ${name}.cpp)
  kova_common_options(fuzz_${name})
  target_link_libraries(fuzz_${name} PRIVATE fuzz_support)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endfunction()
