# What an installation holds: the library with its headers, CMake package and pkg-config module, the program, the Python
# package, and the GStreamer plugin. Components: library, development, program, python, gstreamer.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# oravo_compress(FILE RESULT): the same file under the build folder as .gz, without name and time in it.
function(oravo_compress file result)
  cmake_path(ABSOLUTE_PATH file)
  cmake_path(GET file FILENAME name)
  set(compressed "${CMAKE_CURRENT_BINARY_DIR}/${name}.gz")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  execute_process(COMMAND gzip -9nc "${file}" OUTPUT_FILE "${compressed}" COMMAND_ERROR_IS_FATAL ANY)
  set(${result} "${compressed}" PARENT_SCOPE)
endfunction()

# Debian's python3 looks for packages in /usr/lib/python3/dist-packages, and below other prefixes, /usr/local first, in a
# folder of its own version.
if(NOT DEFINED ORAVO_PYTHON_DIR)  # below the prefix
  set(python_folder python3)
  find_program(debian_python python3 PATHS /usr/bin NO_DEFAULT_PATH NO_CACHE)
  if(debian_python AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    execute_process(COMMAND "${debian_python}" -c "import sys; print('python%d.%d' % sys.version_info[:2])"
                    OUTPUT_VARIABLE python_folder OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  endif()
  set(ORAVO_PYTHON_DIR lib/${python_folder}/dist-packages)
endif()

# The public surface, which is every header outside detail/, and then those internal headers that it includes.
file(GLOB headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}"
     vision/superresolution/*.h vision/superresolution/reference/*.h)
list(APPEND headers capi/Burst.h capi/SessionValues.h capi/SuperResolution.h support/Exception.h support/Export.h support/ImageIO.h
     support/StopWatch.h support/Version.h support/neon.h)
set(unread ${headers})
while(unread)
  list(POP_FRONT unread header)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${header}")
  file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" includes REGEX "^#include \"")
  list(TRANSFORM includes REPLACE "^#include \"(.*)\".*" "\\1")
  foreach(include IN LISTS includes)
    if(NOT include IN_LIST headers)
      list(APPEND headers ${include})
      list(APPEND unread ${include})
    endif()
  endforeach()
endwhile()

foreach(header IN LISTS headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/oravo/${folder}"
          COMPONENT development)
endforeach()

set_target_properties(oravo_superresolution PROPERTIES EXPORT_NAME superresolution)
install(TARGETS oravo_superresolution EXPORT OravoSuperResolutionTargets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
        INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/oravo")

set(dependencies "find_dependency(OpenCV 4.6 COMPONENTS core)")
if(TARGET oravo_superresolution_static)
  set_target_properties(oravo_superresolution_static PROPERTIES EXPORT_NAME superresolution_static)
  install(TARGETS oravo_superresolution_static EXPORT OravoSuperResolutionTargets
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
          INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/oravo")
  set(dependencies "find_dependency(OpenCV 4.6 COMPONENTS core imgproc video)\nfind_dependency(TBB 2021)")
endif()

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/OravoSuperResolution")
install(EXPORT OravoSuperResolutionTargets NAMESPACE oravo:: DESTINATION "${package_folder}" COMPONENT development)
configure_package_config_file(cmake/OravoSuperResolutionConfig.cmake.in OravoSuperResolutionConfig.cmake
                              INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file(OravoSuperResolutionConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/OravoSuperResolutionConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/OravoSuperResolutionConfigVersion.cmake"
        DESTINATION "${package_folder}" COMPONENT development)

# Relative to the module itself, so that an installed tree may be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
           OUTPUT_VARIABLE prefix_from_module)
configure_file(cmake/oravo-superresolution.pc.in oravo-superresolution.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/oravo-superresolution.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

if(TARGET oravo-superres)
  install(TARGETS oravo-superres RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT program)
  if(ORAVO_MANUAL)
    install(FILES "${ORAVO_MANUAL}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT program)
  endif()
  install(FILES tools/completion/oravo-superres.bash RENAME oravo-superres
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT program)
endif()

if(TARGET gstoravosuperres)
  install(TARGETS gstoravosuperres LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0" COMPONENT gstreamer)
endif()

# What Python's own tools (importlib.metadata, pip list) read, as pip would write it.
set(python_metadata "${CMAKE_CURRENT_BINARY_DIR}/oravo_superres-${PROJECT_VERSION}.dist-info")
configure_file(cmake/python-metadata.in "${python_metadata}/METADATA" @ONLY)
file(WRITE "${python_metadata}/INSTALLER" "cmake\n")
install(DIRECTORY "${python_metadata}" DESTINATION "${ORAVO_PYTHON_DIR}" COMPONENT python)
install(DIRECTORY python/oravo_superres DESTINATION "${ORAVO_PYTHON_DIR}" COMPONENT python
        FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
