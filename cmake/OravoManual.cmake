# The program's manual page, made of docs/oravo-superres.md, which is a page of the documentation site as well. It takes
# Debian's Sphinx with its MyST parser; where they are missing, there is no manual page.
find_program(debian_python python3 PATHS /usr/bin NO_DEFAULT_PATH NO_CACHE)
set(sphinx_failure 1)
if(debian_python)
  execute_process(COMMAND "${debian_python}" -c "import myst_parser, sphinx" RESULT_VARIABLE sphinx_failure ERROR_QUIET)
endif()
if(NOT sphinx_failure EQUAL 0)
  message(STATUS "The manual page is not made: that needs python3-sphinx and python3-myst-parser")
  return()
endif()

set(ORAVO_MANUAL "${CMAKE_CURRENT_BINARY_DIR}/manual/oravo-superres.1.gz")
add_custom_command(OUTPUT "${ORAVO_MANUAL}"
  COMMAND "${debian_python}" -B -m sphinx $<$<BOOL:${ORAVO_WARNINGS_AS_ERRORS}>:-W> -q -b man -d manual/doctrees -c "${PROJECT_SOURCE_DIR}/docs/man"
          "${PROJECT_SOURCE_DIR}/docs" manual
  # Sphinx begins sections by a space that is not shown, and names a font that only some readers of manual pages know.
  COMMAND sed -z -i -e [[s/\n\(\.S[HS] [^\n]*\)\n\.sp\n/\n\1\n/g]] -e [[s/\n\.ft C\n/\n.ft CR\n/g]] manual/oravo-superres.1
  COMMAND gzip -9nf manual/oravo-superres.1
  DEPENDS docs/oravo-superres.md docs/man/conf.py support/Version.h cmake/debian/changelog.in
  COMMENT "Making the manual page" VERBATIM COMMAND_EXPAND_LISTS)
add_custom_target(oravo_manual ALL DEPENDS "${ORAVO_MANUAL}")
add_dependencies(oravo-superres oravo_manual)  # whoever builds the program to install it gets its page
