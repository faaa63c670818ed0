# Strips one installed image (see StripInstall.cmake): KELIX_OBJCOPY, KELIX_IMAGE, and
# KELIX_PDB, the PDB the linker wrote for it, if any.
cmake_path(GET KELIX_IMAGE PARENT_PATH dir)
cmake_path(GET KELIX_IMAGE FILENAME name)

function(kelix_objcopy)
  execute_process(COMMAND "${KELIX_OBJCOPY}" ${ARGN} WORKING_DIRECTORY "${dir}" RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${KELIX_OBJCOPY} ${ARGN} failed in ${dir}")
  endif()
endfunction()

if(EXISTS "${KELIX_PDB}")
  kelix_objcopy(--strip-all ${name})
  cmake_path(GET KELIX_PDB FILENAME note)
else()
  kelix_objcopy(--only-keep-debug ${name} ${name}.debug)
  kelix_objcopy(--strip-all --add-gnu-debuglink=${name}.debug ${name})
  set(note ${name}.debug)
endif()
message(STATUS "Stripped: ${KELIX_IMAGE} (debug information in ${note})")
