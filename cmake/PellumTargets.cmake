# Compiler settings shared by every target of Pellum's own code.
function(pellum_target_defaults target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Woverloaded-virtual -Wimplicit-fallthrough)
  if(PELLUM_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # Qt's own headers are included as system headers, so the warnings above
  # only ever fire on our code.
  target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS)
  # Qt compiles Q_ASSERT out of every non-Debug build unless told otherwise.
  if(PELLUM_ASSERTS)
    target_compile_definitions(${target} PRIVATE QT_FORCE_ASSERTS)
  endif()
endfunction()
