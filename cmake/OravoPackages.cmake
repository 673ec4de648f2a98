# Debian packages, one per component, made by `cpack -G DEB` in a build folder; scripts/package.sh does all of it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oravo-superresolution)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "oravo super-resolution <superresolution@oravo.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # or it would be the first line, the synopsis, of every package
set(CPACK_COMPONENTS_ALL library development program python)
if(TARGET gstoravosuperres)
  list(APPEND CPACK_COMPONENTS_ALL gstreamer)
endif()
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(runtime liboravo-superresolution${ORAVO_INTERFACE_VERSION})
set(same_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
# The first version that may have another interface; the tilde sorts before it and what leads up to it.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  math(EXPR next_minor "${PROJECT_VERSION_MINOR} + 1")
  set(next_interface "0.${next_minor}~")
else()
  math(EXPR next_major "${PROJECT_VERSION_MAJOR} + 1")
  set(next_interface "${next_major}~")
endif()

# What all packages have: name, description (one line, then some), copyright, changelog.
function(oravo_debian_package component name section part contents)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  string(JOIN "\n" description "super-resolution of infrared frames - ${part}"
         "A short burst of slightly displaced infrared frames becomes one image of twice" "the resolution." "."
         "${contents}")
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}" PARENT_SCOPE)
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/copyright" DESTINATION share/doc/${name} COMPONENT ${component}
          EXCLUDE_FROM_ALL)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz" DESTINATION share/doc/${name}
          COMPONENT ${component} EXCLUDE_FROM_ALL)
  set(overrides "${PROJECT_SOURCE_DIR}/cmake/debian/lintian-overrides.${component}")
  if(EXISTS "${overrides}")
    install(FILES "${overrides}" RENAME ${name} DESTINATION share/lintian/overrides COMPONENT ${component}
            EXCLUDE_FROM_ALL)
  endif()
endfunction()

oravo_debian_package(library ${runtime} libs "shared library" "This package contains the shared library.")
oravo_debian_package(development liboravo-superresolution-dev libdevel "development files"
  "This package contains the headers of the C and C++ interfaces, a CMake package\nand a pkg-config module.")
oravo_debian_package(program oravo-superres graphics "program"
  "This package contains the program oravo-superres, which enlarges recordings,\nsimulates bursts, measures results, and finds and repairs bad pixels.")
oravo_debian_package(python python3-oravo-superres python "NumPy package"
  "This package contains the Python package oravo_superres.")
if(TARGET gstoravosuperres)
  oravo_debian_package(gstreamer gstreamer1.0-oravosuperres libs "GStreamer plugin"
    "This package contains the GStreamer element oravosuperres, which enlarges streams of\n16-bit frames.")
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime} (= ${same_version}), libopencv-dev (>= 4.6), libopencv-dev (<< 4.7~)")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "${runtime} (>= ${PROJECT_VERSION}), ${runtime} (<< ${next_interface})"
    "python3 (>= 3.11), python3 (<< 4~), python3-numpy (>= 1:1.24), python3-numpy (<< 1:2~)")
list(JOIN CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", " CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS)
# Of archives: the program that enhances recordings, and what spreads them.
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "oravo-superres, python3-distributed")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/cmake/debian/postinst" "${PROJECT_SOURCE_DIR}/cmake/debian/prerm")

configure_file(cmake/debian/changelog.in changelog.Debian @ONLY)
oravo_compress("${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian" changelog)
include(CPack)
