include(OravoHardening)

# What every target of the project shares: exact floating-point arithmetic, hidden symbols, warnings.
function(oravo_configure target)
  # No contraction into fused multiply-adds: the same input gives the same bits on every machine.
  target_compile_options(${target} PRIVATE -ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow
                                           $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
                                           $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-pragmas>)  # GCC's hints to its vectoriser
  if(ORAVO_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  oravo_harden(${target})
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# Compiles a file of hot loops once per instruction set and adds the copies to a target. In each copy ORAVO_KERNELS is
# NAME followed by the level, the name of the table that the copy defines; instructionSet() decides which one to use.
function(oravo_add_kernels target source name)
  set(levels Baseline)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    list(APPEND levels Avx2 Avx512)
    target_compile_definitions(${target} PRIVATE ORAVO_X86_LEVELS)
  endif()
  # Tuned for a processor that has the level: the compiler's general tuning stores vectors to memory and reads them back
  # in the longest loops although registers are free.
  set(options_Baseline "")
  set(options_Avx2 -mavx2 -mtune=skylake)
  set(options_Avx512 -mavx512f -mavx512vl -mavx512bw -mavx512dq -mprefer-vector-width=512
                     -mtune=icelake-server)
  foreach(level IN LISTS levels)
    set(copy ${name}${level})
    add_library(${copy} OBJECT ${source})
    oravo_configure(${copy})
    set_target_properties(${copy} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_include_directories(${copy} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_compile_definitions(${copy} PRIVATE ORAVO_KERNELS=${copy})
    target_compile_options(${copy} PRIVATE ${options_${level}})
    target_sources(${target} PUBLIC $<TARGET_OBJECTS:${copy}>)
  endforeach()
endfunction()
