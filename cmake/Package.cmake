# The release: the version from project() into the DLL's version resource, the CMake package
# configuration, and three archives per architecture made by CPack from the install components:
#   Kelix3PexControl-<version>-windows-<arch>.zip           Unspecified: bin/, lib/, include/,
#                                                           lib/cmake/Kelix3PexControl/, docs/, CHANGELOG.md
#   Kelix3PexControl-<version>-windows-<arch>-symbols.zip   Symbols: the debug information of bin/
#   Kelix3PexControl-<version>-windows-<arch>-sim.zip       Sim: the simulation library, its header,
#                                                           the profiles and Kelix3PexControl::Sim
# Each unpacks into one folder (no top-level folder of its own), so the three can share it.
include(CMakePackageConfigHelpers)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(ARM64|aarch64)$")
  set(KELIX_PACKAGE_ARCH arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(AMD64|x86_64)$")
  set(KELIX_PACKAGE_ARCH x64)
else()
  set(KELIX_PACKAGE_ARCH ${CMAKE_SYSTEM_PROCESSOR})
endif()

set(_kelix_generated ${PROJECT_BINARY_DIR}/generated)
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/Kelix3PexControlVersion.h.in
               ${_kelix_generated}/Kelix3PexControlVersion.h @ONLY)
# The version resource reads it.
target_include_directories(Kelix3PexControl PRIVATE ${_kelix_generated})

set(_kelix_cmake_dir lib/cmake/Kelix3PexControl)
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/Kelix3PexControlConfig.cmake.in
               ${_kelix_generated}/Kelix3PexControlConfig.cmake @ONLY)
write_basic_package_version_file(${_kelix_generated}/Kelix3PexControlConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
# The library file names differ between toolchains (libkelix_sim.a, kelix_sim.lib).
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/Kelix3PexControlSim.cmake.in
               ${_kelix_generated}/Kelix3PexControlSim.cmake.genex @ONLY)
file(GENERATE OUTPUT ${_kelix_generated}/Kelix3PexControlSim.cmake
     INPUT ${_kelix_generated}/Kelix3PexControlSim.cmake.genex)

install(FILES ${_kelix_generated}/Kelix3PexControlConfig.cmake ${_kelix_generated}/Kelix3PexControlConfigVersion.cmake
        DESTINATION ${_kelix_cmake_dir})
install(FILES ${_kelix_generated}/Kelix3PexControlSim.cmake DESTINATION ${_kelix_cmake_dir} COMPONENT Sim)
install(FILES ${PROJECT_SOURCE_DIR}/docs/parameters.md ${PROJECT_SOURCE_DIR}/docs/diagnostics.md
        ${PROJECT_SOURCE_DIR}/README.md DESTINATION docs)
install(FILES ${PROJECT_SOURCE_DIR}/docs/profiles.md DESTINATION docs COMPONENT Sim)
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION .)

set(_kelix_archive Kelix3PexControl-${PROJECT_VERSION}-windows-${KELIX_PACKAGE_ARCH})
set(CPACK_PACKAGE_NAME Kelix3PexControl)
set(CPACK_PACKAGE_VENDOR Sonavel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_GENERATOR ZIP)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Unspecified Symbols Sim)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
set(CPACK_ARCHIVE_UNSPECIFIED_FILE_NAME ${_kelix_archive})
set(CPACK_ARCHIVE_SYMBOLS_FILE_NAME ${_kelix_archive}-symbols)
set(CPACK_ARCHIVE_SIM_FILE_NAME ${_kelix_archive}-sim)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
include(CPack)
