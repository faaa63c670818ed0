# Header-only libraries from Debian's packages (CLI11, nlohmann-json, fmt, Boost),
# installed under /usr/include. A cross build sees only their own folders,
# linked into the build tree, never the host's C library headers.
set(KELIX_THIRD_PARTY_INCLUDE ${CMAKE_BINARY_DIR}/third-party-include)
foreach(library CLI nlohmann fmt boost)
  if(NOT EXISTS ${KELIX_THIRD_PARTY_INCLUDE}/${library})
    file(MAKE_DIRECTORY ${KELIX_THIRD_PARTY_INCLUDE})
    file(CREATE_LINK /usr/include/${library} ${KELIX_THIRD_PARTY_INCLUDE}/${library} SYMBOLIC)
  endif()
endforeach()
add_library(kelix_third_party INTERFACE)
target_include_directories(kelix_third_party SYSTEM INTERFACE ${KELIX_THIRD_PARTY_INCLUDE})
target_compile_definitions(kelix_third_party INTERFACE FMT_HEADER_ONLY)
