# What every target of the project shares: exact floating-point arithmetic, hidden symbols, warnings.
function(oravo_configure target)
  # No contraction into fused multiply-adds: the same input gives the same bits on every machine.
  target_compile_options(${target} PRIVATE -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow
                                           $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>)
  if(ORAVO_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()
