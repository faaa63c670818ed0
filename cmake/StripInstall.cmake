# Installs a target's binary stripped, with its debug information beside it:
#   <destination>/<name>          the binary without debug information or symbols
#   <destination>/<name>.debug    the debug information, which the binary names
#                                 in its .gnu_debuglink section (gdb finds it there)
# lld (the zig trees) writes the debug information to <name without suffix>.pdb instead:
# that PDB is installed beside the stripped binary. For GNU binutils and LLVM toolchains
# (mingw-w64, zig); elsewhere (MSVC) the target is installed as it is.
#
#   kelix_install_stripped(Kelix3PexControl bin)
function(kelix_install_stripped target destination)
  if(MSVC OR NOT CMAKE_OBJCOPY OR NOT CMAKE_STRIP)
    install(TARGETS ${target} RUNTIME DESTINATION ${destination})
    return()
  endif()
  # The installed copy is made from the built binary every time, so that an
  # install over an earlier one never strips a stripped file.
  set(built "$<TARGET_FILE:${target}>")
  set(installed "\${CMAKE_INSTALL_PREFIX}/${destination}/$<TARGET_FILE_NAME:${target}>")
  set(pdb "$<TARGET_FILE_DIR:${target}>/$<TARGET_FILE_BASE_NAME:${target}>.pdb")
  install(CODE "
    file(MAKE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}/${destination}\")
    if(EXISTS \"${pdb}\")
      message(STATUS \"Installing stripped: ${installed} (+ .pdb)\")
      file(COPY \"${pdb}\" DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${destination}\")
      execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-all -o \"${installed}\" \"${built}\"
                      COMMAND_ERROR_IS_FATAL ANY)
    else()
      message(STATUS \"Installing stripped: ${installed} (+ .debug)\")
      execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --only-keep-debug \"${built}\" \"${installed}.debug\"
                      COMMAND_ERROR_IS_FATAL ANY)
      execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-all -o \"${installed}\" \"${built}\"
                      COMMAND_ERROR_IS_FATAL ANY)
      execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug
                              \"$<TARGET_FILE_NAME:${target}>\"
                      WORKING_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}/${destination}\"
                      COMMAND_ERROR_IS_FATAL ANY)
    endif()
  ")
endfunction()
