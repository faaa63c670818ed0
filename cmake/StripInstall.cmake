# Installs a target's binary stripped, with its debug information beside it:
#   <destination>/<name>          the binary without debug information or symbols
#                                 (the default install component)
#   <destination>/<name>.debug    gcc: the DWARF debug information, which the binary names
#                                 in its .gnu_debuglink section (gdb finds it there)
#                                 (install component Symbols)
#   <destination>/<base>.pdb      clang with lld (the zig trees): the PDB that lld wrote,
#                                 named in the binary's debug directory (component Symbols)
# For GNU binutils and LLVM toolchains (mingw-w64, zig); elsewhere (MSVC) the target is
# installed as it is.
#
#   kelix_install_stripped(Kelix3PexControl bin)
function(kelix_install_stripped target destination)
  if(MSVC OR NOT CMAKE_OBJCOPY OR NOT CMAKE_STRIP)
    install(TARGETS ${target} RUNTIME DESTINATION ${destination})
    return()
  endif()
  set(built "$<TARGET_FILE:${target}>")
  set(directory "\${CMAKE_INSTALL_PREFIX}/${destination}")
  set(installed "${directory}/$<TARGET_FILE_NAME:${target}>")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Extracted once per link: the debug link's checksum is of this very file (objcopy writes
    # a new PE time stamp into every copy it makes).
    set(symbols "${built}.debug")
    add_custom_command(TARGET ${target} POST_BUILD
                       COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${built} ${symbols} VERBATIM)
    set(link "execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --add-gnu-debuglink=${symbols} \"${installed}\"
                              COMMAND_ERROR_IS_FATAL ANY)")
  else()
    set(symbols "$<TARGET_FILE_DIR:${target}>/$<TARGET_FILE_BASE_NAME:${target}>.pdb")
    set(link "")
  endif()
  # The installed copy is made from the built binary every time, so that an install over an
  # earlier one never strips a stripped file.
  install(CODE "
    file(MAKE_DIRECTORY \"${directory}\")
    message(STATUS \"Installing stripped: ${installed}\")
    execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-all -o \"${installed}\" \"${built}\"
                    COMMAND_ERROR_IS_FATAL ANY)
    ${link}
  ")
  install(CODE "
    if(EXISTS \"${symbols}\")
      message(STATUS \"Installing: ${symbols} into ${directory}\")
      file(COPY \"${symbols}\" DESTINATION \"${directory}\")
    endif()
  " COMPONENT Symbols)
endfunction()
