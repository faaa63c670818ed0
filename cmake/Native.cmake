# Native tree: the portable core under ASan and UBSan, with its unit tests,
# libFuzzer targets and benchmarks.
option(KELIX_SANITIZE "Build the native tree with ASan and UBSan" ON)
if(KELIX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

add_subdirectory(core)
add_subdirectory(tools/pexctl)
kelix_add_gtest()
include(GoogleTest)
add_subdirectory(tests/core)
add_subdirectory(tests/pexctl)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_subdirectory(fuzz)
endif()
find_package(benchmark QUIET)
if(benchmark_FOUND)
  add_subdirectory(bench)
endif()
