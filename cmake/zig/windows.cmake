# Cross build of the Windows tree with zig 0.11 (clang 16, libc++, mingw-w64 CRT and headers),
# for Windows on ARM64 or for x64:  -DKELIX_ZIG_ARCH=aarch64|x86_64
# ./dev unpacks zig into build/toolchains (KELIX_TOOLCHAINS overrides it, also for cmake/zig/wrap).
set(KELIX_ZIG_ARCH aarch64 CACHE STRING "aarch64 or x86_64")
set(CMAKE_SYSTEM_NAME Windows)
if(KELIX_ZIG_ARCH STREQUAL "aarch64")
  set(CMAKE_SYSTEM_PROCESSOR ARM64)
else()
  set(CMAKE_SYSTEM_PROCESSOR AMD64)
endif()
if(DEFINED ENV{KELIX_TOOLCHAINS})
  set(_kelix_toolchains $ENV{KELIX_TOOLCHAINS})
else()
  get_filename_component(_kelix_toolchains ${CMAKE_CURRENT_LIST_DIR}/../../build/toolchains ABSOLUTE)
endif()
# With a target set, compiler identification compiles an object first instead of linking a
# program, which would make zig build its whole runtime (libc++, CRT) in one more variant.
set(CMAKE_C_COMPILER_TARGET   ${KELIX_ZIG_ARCH}-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET ${KELIX_ZIG_ARCH}-windows-gnu)
set(CMAKE_C_COMPILER   ${CMAKE_CURRENT_LIST_DIR}/${KELIX_ZIG_ARCH}-windows-gnu-cc)
set(CMAKE_CXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/${KELIX_ZIG_ARCH}-windows-gnu-c++)
set(CMAKE_AR     ${CMAKE_CURRENT_LIST_DIR}/zig-ar     CACHE FILEPATH "")
set(CMAKE_RANLIB ${CMAKE_CURRENT_LIST_DIR}/zig-ranlib CACHE FILEPATH "")
# zig 0.11 has no resource compiler: llvm-windres writes the COFF resource object,
# preprocessing with clang and the mingw-w64 headers that zig ships.
set(CMAKE_RC_COMPILER llvm-windres-14)
set(CMAKE_RC_FLAGS_INIT "--target=${KELIX_ZIG_ARCH}-w64-mingw32 -I${_kelix_toolchains}/zig-lib/libc/include/any-windows-any")
# Strip installed binaries (cmake/StripInstall.cmake).
set(CMAKE_OBJCOPY llvm-objcopy-14 CACHE FILEPATH "")
set(CMAKE_STRIP llvm-strip-14 CACHE FILEPATH "")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Compiler checks compile only: linking a test program would build zig's runtime in Debug once more.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
