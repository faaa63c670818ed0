# High warning level for every target of the project; errors unless KELIX_WERROR is OFF.
option(KELIX_WERROR "Treat warnings as errors" ON)

function(kelix_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive- $<$<BOOL:${KELIX_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wcast-align
      -Wformat=2 -Wimplicit-fallthrough -Wundef
      $<$<BOOL:${KELIX_WERROR}>:-Werror>)
    # COM interfaces have no virtual destructor by design (an object deletes
    # itself in Release), so the check only holds for the portable code.
    if(NOT WIN32)
      target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
    endif()
  endif()
endfunction()
