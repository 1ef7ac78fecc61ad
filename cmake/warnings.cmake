# Warnings and sanitizers as one INTERFACE target, linked privately by every target of ours.
add_library(corvix_warnings INTERFACE)
# -Wno-missing-field-initializers: designated initializers name what differs from the defaults, on purpose.
# -Wno-restrict: GCC 12 sees an overlap in every optimised std::string concatenation that begins with a literal.
target_compile_options(corvix_warnings INTERFACE
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  -Wall -Wextra -Wpedantic -Wno-missing-field-initializers -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Werror)
# With sanitizers GCC 12 sees overflows that are none: there warnings stay warnings; the other builds refuse them.
if(CORVIX_SANITIZE)
  target_compile_options(corvix_warnings INTERFACE -Wno-error -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(corvix_warnings INTERFACE -fsanitize=address,undefined)
endif()
if(CORVIX_FUZZ)
  # clang only; its conversion warnings differ from those of GCC, which the ordinary builds obey
  target_compile_options(corvix_warnings INTERFACE -fsanitize=fuzzer-no-link -Wno-sign-conversion)
endif()
