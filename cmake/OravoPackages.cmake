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
set(ORAVO_SITE "" CACHE PATH "Folder of the documentation site; with it a package of the documentation is made")

# Read by that script alone.
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/debian/FinishPackages.cmake")
configure_file(cmake/debian/symbols.in symbols @ONLY)
set(CPACK_ORAVO_SYMBOLS "${CMAKE_CURRENT_BINARY_DIR}/symbols")
set(CPACK_ORAVO_LIBDIR "${CMAKE_INSTALL_LIBDIR}")

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
    "This package contains the GStreamer element oravosuperres, which enlarges\nstreams of 16-bit frames.")
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SHLIBDEPS ON)
endif()
if(ORAVO_SITE)
  list(APPEND CPACK_COMPONENTS_ALL documentation)
  set(documentation oravo-superresolution-doc)
  oravo_debian_package(documentation ${documentation} doc "documentation"
    "This package contains guides, the method, the reference of the C, C++ and\nPython interfaces, a gallery, and small complete programs.")
  set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
  # Scripts that Sphinx puts into every site are Debian's own ones, which get Debian's fixes.
  set(scripts_folder javascript/sphinxdoc/1.0)
  file(GLOB scripts RELATIVE "/usr/share/${scripts_folder}" "/usr/share/${scripts_folder}/*.js")
  foreach(script IN LISTS scripts)
    if(EXISTS "${ORAVO_SITE}/_static/${script}")
      set(link "${CMAKE_CURRENT_BINARY_DIR}/scripts/${script}")
      file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/scripts")
      file(CREATE_LINK "../../../../${scripts_folder}/${script}" "${link}" SYMBOLIC)
      install(FILES "${link}" DESTINATION share/doc/${documentation}/html/_static COMPONENT documentation EXCLUDE_FROM_ALL)
      list(APPEND excluded PATTERN "_static/${script}" EXCLUDE)
    endif()
  endforeach()
  set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_DEPENDS "libjs-sphinxdoc (>= 5.3)")
  install(DIRECTORY "${ORAVO_SITE}/" DESTINATION share/doc/${documentation}/html COMPONENT documentation EXCLUDE_FROM_ALL
          PATTERN .buildinfo EXCLUDE PATTERN .doctrees EXCLUDE ${excluded})
  install(FILES cmake/debian/doc-base DESTINATION share/doc-base RENAME ${documentation} COMPONENT documentation EXCLUDE_FROM_ALL)
  install(DIRECTORY examples DESTINATION share/doc/${documentation} COMPONENT documentation EXCLUDE_FROM_ALL
          PATTERN __pycache__ EXCLUDE)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime} (= ${same_version}), libopencv-dev (>= 4.6), libopencv-dev (<< 4.7~)")
if(ORAVO_BUILD_STATIC)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libtbb-dev (>= 2021), libtbb-dev (<< 2022~)")
endif()
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
# Of camera files: radiometric JPEGs and videos.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "libimage-exiftool-perl, ffmpeg")
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
