# Installed programs and DLLs come without debug information in the image; it is beside them.
# lld (the zig trees) writes it to NAME.pdb, which is installed beside the image as it is;
# gcc puts DWARF in the image, which is moved to NAME.debug, named by a GNU debug link.
# MSVC installs are left as they are (their PDB files stay in the build tree).
function(kelix_strip_installed target)
  if(MSVC OR NOT CMAKE_OBJCOPY)
    return()
  endif()
  set(pdb "$<TARGET_FILE_DIR:${target}>/$<TARGET_FILE_BASE_NAME:${target}>.pdb")
  install(FILES ${pdb} DESTINATION bin OPTIONAL)
  install(CODE "
    set(KELIX_OBJCOPY \"${CMAKE_OBJCOPY}\")
    set(KELIX_IMAGE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/$<TARGET_FILE_NAME:${target}>\")
    set(KELIX_PDB \"${pdb}\")
    include(\"${CMAKE_CURRENT_FUNCTION_LIST_DIR}/StripImage.cmake\")
  ")
endfunction()
