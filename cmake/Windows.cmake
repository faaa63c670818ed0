# Windows tree: the DLL, the simulated platform, pexctl and the tests that run
# them. Cross builds run their programs under Wine through cmake/wine-run.
enable_language(RC)
include(cmake/StripInstall.cmake)

if(CMAKE_CROSSCOMPILING)
  set(KELIX_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix CACHE PATH "Wine prefix of the test runs")
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/cmake/wine-run ${KELIX_WINEPREFIX})
endif()

add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)
if(MINGW)
  # Programs and the DLL need nothing but system DLLs.
  add_link_options(-static -static-libgcc -static-libstdc++)
endif()

# The DLL, the programs and the tests side by side, so that a test loads the DLL it was built with.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

add_subdirectory(core)
add_subdirectory(API/Kelix3PexControl)
add_subdirectory(sim)
add_subdirectory(tools/pexctl)
add_subdirectory(bench/dll)
add_subdirectory(examples/simulated-machine)

if(EXISTS ${KELIX_GTEST_SOURCE}/CMakeLists.txt)
  kelix_add_gtest()
  include(GoogleTest)
  add_subdirectory(tests/support)
  add_subdirectory(tests/sim)
  add_subdirectory(tests/dll)
  add_subdirectory(tests/wine-endpoint)
endif()

if(CMAKE_CROSSCOMPILING)
  include(cmake/Arm64Check.cmake)
endif()
