# Windows on ARM64 is the primary target; no ARM64 C++ runtime is packaged for
# Linux, so every DLL source is compiled to an ARM64 object as a test.
find_program(KELIX_CLANGXX clang++)
if(KELIX_CLANGXX)
  set(flags "-DUNICODE -D_UNICODE -DWIN32_LEAN_AND_MEAN -DNOMINMAX -DKELIX3PEXCONTROL_EXPORTS")
  string(APPEND flags " -I${PROJECT_SOURCE_DIR} -I${PROJECT_SOURCE_DIR}/include -I${PROJECT_SOURCE_DIR}/API/Kelix3PexControl")
  add_test(NAME arm64_compile_check
    COMMAND ${CMAKE_SOURCE_DIR}/cmake/arm64-check ${CMAKE_BINARY_DIR}/arm64 ${KELIX_DLL_ALL_SOURCES})
  set_tests_properties(arm64_compile_check PROPERTIES ENVIRONMENT "KELIX_ARM64_FLAGS=${flags}")
else()
  message(WARNING "clang++ not found: the ARM64 compile check is skipped")
endif()
