# Native tree: the portable core with its unit tests and libFuzzer targets under
# ASan and UBSan, and its benchmarks. The native-release preset turns the
# sanitizers off for benchmark numbers.
option(KELIX_SANITIZE "Build the native tree with ASan and UBSan" ON)
if(KELIX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

add_subdirectory(core)
kelix_add_gtest()
include(GoogleTest)
add_subdirectory(tests/core)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_subdirectory(fuzz)
endif()
add_subdirectory(bench)
