# Installs a target's binary stripped, with its debug information beside it:
#   <destination>/<name>          the binary without debug information or symbols
#   <destination>/<name>.debug    the debug information, which the binary names
#                                 in its .gnu_debuglink section (gdb finds it there)
# For GNU binutils toolchains (mingw-w64, zig); elsewhere (MSVC, PDB files) the
# target is installed as it is.
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
  install(CODE "
    file(MAKE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}/${destination}\")
    message(STATUS \"Installing stripped: ${installed} (+ .debug)\")
    execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --only-keep-debug \"${built}\" \"${installed}.debug\"
                    COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-all -o \"${installed}\" \"${built}\"
                    COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug
                            \"$<TARGET_FILE_NAME:${target}>\"
                    WORKING_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}/${destination}\"
                    COMMAND_ERROR_IS_FATAL ANY)
  ")
endfunction()
