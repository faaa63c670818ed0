# Windows tree: the DLL, the simulated platform, pexctl and the tests that run
# them. Cross builds run their programs under Wine through cmake/wine-run.
enable_language(RC)
include(cmake/StripInstall.cmake)

if(CMAKE_CROSSCOMPILING)
  set(KELIX_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix CACHE PATH "Wine prefix of the test runs")
  set(KELIX_WINE_BIN /usr/lib/wine CACHE PATH "Directory of the wine64 and wineserver that run the programs")
  set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/bin/env KELIX_WINE_BIN=${KELIX_WINE_BIN} ${CMAKE_SOURCE_DIR}/cmake/wine-run ${KELIX_WINEPREFIX})
endif()

# Debian 12's arm64 Wine reads a va_list of its msvcrt the Linux way; a tree built to run
# its tests there gets an adapter header in every C and C++ source, and is never installed.
option(KELIX_EMU_WINE8_VA_LIST "Test-only build for Debian 12's arm64 Wine under qemu-user" OFF)
if(KELIX_EMU_WINE8_VA_LIST)
  add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-include${PROJECT_SOURCE_DIR}/tests/arm64-emu/emu-wine8-va-list.h>")
  install(CODE "message(FATAL_ERROR \"This tree is built for the arm64 Wine emulator only and is not installed.\")")
endif()

add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)
if(MINGW)
  # Programs and the DLL need nothing but system DLLs.
  add_link_options(-static -static-libgcc -static-libstdc++)
  # libstdc++'s checked containers: an index past a container's end stops the process at the
  # fault instead of reading a neighbour's memory and passing it on as a module or a value.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

# The DLL, the programs and the tests side by side, so that a test loads the DLL it was built with.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

add_subdirectory(core)
add_subdirectory(API/Kelix3PexControl)
add_subdirectory(sim)
add_subdirectory(tools/pexctl)
# The DLL benchmark runs from the windows-x64 tree; the zig trees leave it out.
option(KELIX_BENCH "Build the DLL benchmark" ON)
if(KELIX_BENCH)
  add_subdirectory(bench/dll)
endif()
add_subdirectory(examples/simulated-machine)
include(cmake/Package.cmake)

if(EXISTS ${KELIX_GTEST_SOURCE}/CMakeLists.txt)
  kelix_add_gtest()
  include(GoogleTest)
  # Test programs compile their sources together: each would parse the same system, gtest
  # and library headers and optimize the same inline code again.
  set(CMAKE_UNITY_BUILD ON)
  add_subdirectory(tests/support)
  add_subdirectory(tests/sim)
  add_subdirectory(tests/dll)
  add_subdirectory(tests/wine-endpoint)
  add_subdirectory(tests/pexctl)
  if(KELIX_EMU_WINE8_VA_LIST)
    add_subdirectory(tests/arm64-emu)
  endif()
endif()
