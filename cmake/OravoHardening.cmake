# How targets are built to fail early and safely: hardening for what is shipped, more checks for what is tested.

set(ORAVO_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them: address,undefined for example")
option(ORAVO_FUZZ_ENGINE "Build for libFuzzer, which comes with clang" OFF)

# Stack protection and fortified C functions cost at function boundaries and calls only, so the loops of the kernels
# stay as they are.
function(oravo_harden target)
  if(ORAVO_SANITIZE)
    # Sanitizers wrap the C functions that fortification would replace, and GCC warns of instrumented code without cause.
    target_compile_options(${target} PRIVATE -fsanitize=${ORAVO_SANITIZE} -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer -g1
                                             $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PRIVATE -fsanitize=${ORAVO_SANITIZE})
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  else()
    target_compile_options(${target} PRIVATE -fstack-protector-strong -fstack-clash-protection
                                             $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=3>)
    # All symbols are bound at load and their tables read-only from then on; code is never writable, nor the stack code.
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack,-z,text)
  endif()
  if(ORAVO_FUZZ_ENGINE)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()
