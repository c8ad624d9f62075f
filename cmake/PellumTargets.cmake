# Compiler settings shared by every target of Pellum's own code.
function(pellum_target_defaults target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wcast-align -Woverloaded-virtual -Wimplicit-fallthrough
    # Objective-C++ is an extension of C++ and bridges Core Foundation
    # objects with casts in C's syntax: these two are for C++ alone.
    $<$<COMPILE_LANGUAGE:CXX>:-Wpedantic -Wold-style-cast>
    # The macOS backends manage Objective-C objects by reference counting.
    $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
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
