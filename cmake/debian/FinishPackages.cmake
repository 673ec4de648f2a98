# What CPack does not write of its own accord into Debian packages: the field Multi-Arch, and which version of the library
# brought each symbol. CPack runs this once its packages are made, before it hands them over.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Libraries of several architectures may lie side by side where each has a folder of its own; programs and documents serve
# packages of any. The NumPy package loads the library of its own process, so it has no such field.
set(any_folder "^(lib|gstreamer)")
set(any_architecture "^oravo-superres$|-doc$")

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  cmake_path(GET package FILENAME name)
  string(REGEX REPLACE "_.*" "" name "${name}")
  set(tree "${CPACK_TEMPORARY_DIRECTORY}/${name}.tree")
  run(dpkg-deb -R "${package}" "${tree}")

  set(field "")
  if(name MATCHES "${any_architecture}")
    set(field "\nMulti-Arch: foreign")
  elseif(name MATCHES "${any_folder}" AND CPACK_ORAVO_LIBDIR MATCHES "/")
    set(field "\nMulti-Arch: same")
  endif()
  file(READ "${tree}/DEBIAN/control" control)
  string(REGEX REPLACE "(Architecture: [^\n]*)" "\\1${field}" control "${control}")
  file(WRITE "${tree}/DEBIAN/control" "${control}")
  if(name STREQUAL CPACK_DEBIAN_LIBRARY_PACKAGE_NAME)
    # Fails when a symbol is gone; those that are not in the list are of this version.
    run(dpkg-gensymbols "-p${name}" "-P${tree}" "-v${CPACK_PACKAGE_VERSION}" "-I${CPACK_ORAVO_SYMBOLS}"
        "-O${tree}/DEBIAN/symbols")
  endif()

  run(dpkg-deb --root-owner-group -b "${tree}" "${package}")
  file(REMOVE_RECURSE "${tree}")
endforeach()
