# tamsell_flags: warnings, hardening and sanitizers of every target of the project.
add_library(tamsell_flags INTERFACE)
target_compile_options(tamsell_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
target_include_directories(tamsell_flags INTERFACE "${CMAKE_SOURCE_DIR}/src")

if(TAMSELL_SANITIZE OR TAMSELL_FUZZ)
  # Without vptr: that check needs a descriptor of its own, and tests run without any.
  set(sanitizers -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=undefined
    -fno-omit-frame-pointer)
  target_compile_options(tamsell_flags INTERFACE ${sanitizers})
  target_link_options(tamsell_flags INTERFACE ${sanitizers})
  # GCC 12 loses track of what is initialised in code that the sanitizers have rewritten.
  target_compile_options(tamsell_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
else()
  target_compile_options(tamsell_flags INTERFACE
    -fstack-protector-strong -fstack-clash-protection
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection=full>)
  # glibc refuses to fortify code that is not optimised.
  target_compile_definitions(tamsell_flags INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2> _GLIBCXX_ASSERTIONS)
  target_link_options(tamsell_flags INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
endif()

# libFuzzer's coverage instrumentation goes into every library that a fuzz target reaches.
if(TAMSELL_FUZZ)
  target_compile_options(tamsell_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
