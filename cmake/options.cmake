# Compile options that every part of the project shares.

add_library(qzk_warnings INTERFACE)
target_compile_options(qzk_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion)

# Results are defined to the last bit: a product and a sum are two roundings on every compiler,
# and doubles live in SSE registers on 32-bit x86 too.
add_library(qzk_arithmetic INTERFACE)
target_compile_options(qzk_arithmetic INTERFACE -ffp-contract=off)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86)$")
  target_compile_options(qzk_arithmetic INTERFACE -msse2 -mfpmath=sse -mstackrealign)
endif()

if(QZK_SANITIZE)
  add_compile_options(-fsanitize=${QZK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QZK_SANITIZE})
endif()
