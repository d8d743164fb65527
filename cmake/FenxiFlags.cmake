# Flags for every target. Floating point must be reproducible: no contraction
# into fused multiply-add, no fast-math.
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(-ffp-contract=off -fno-fast-math -Wall -Wextra)
  if(FENXI_WERROR)
    add_compile_options(-Werror)
  endif()
  if(FENXI_SANITIZE)
    add_compile_options(-fsanitize=${FENXI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${FENXI_SANITIZE})
  endif()
elseif(MSVC)
  add_compile_options(/fp:precise /utf-8 /W4)
endif()
