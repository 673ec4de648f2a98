# OpenCV's modules of a foreign architecture, under the target names of its CMake package: that package is not
# installed for two architectures at once, the modules are.
find_path(OpenCV_INCLUDE_DIR opencv2/core.hpp PATHS /usr/include/opencv4)
mark_as_advanced(OpenCV_INCLUDE_DIR)
if(OpenCV_INCLUDE_DIR)
  file(READ "${OpenCV_INCLUDE_DIR}/opencv2/core/version.hpp" version)
  string(REGEX MATCH "CV_VERSION_MAJOR +([0-9]+)" _ "${version}")
  set(OpenCV_VERSION ${CMAKE_MATCH_1})
  string(REGEX MATCH "CV_VERSION_MINOR +([0-9]+)" _ "${version}")
  string(APPEND OpenCV_VERSION .${CMAKE_MATCH_1})
endif()

foreach(module IN LISTS OpenCV_FIND_COMPONENTS)
  find_library(OpenCV_${module}_LIBRARY opencv_${module})
  mark_as_advanced(OpenCV_${module}_LIBRARY)
  if(OpenCV_${module}_LIBRARY)
    set(OpenCV_${module}_FOUND TRUE)
    if(NOT TARGET opencv_${module})
      add_library(opencv_${module} SHARED IMPORTED)
      set_target_properties(opencv_${module} PROPERTIES
        IMPORTED_LOCATION "${OpenCV_${module}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIR}")
    endif()
  endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCV
  REQUIRED_VARS OpenCV_INCLUDE_DIR
  VERSION_VAR OpenCV_VERSION
  HANDLE_COMPONENTS)
