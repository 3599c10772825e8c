# The version stands in the header that a build without CMake reads as well.
set(version_header ${CMAKE_CURRENT_LIST_DIR}/../include/fcx/version.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})
foreach(part MAJOR MINOR PATCH)
  file(STRINGS ${version_header} FCX_VERSION_${part} REGEX "^#define FCX_VERSION_${part} [0-9]+$")
  string(REGEX REPLACE "[^0-9]" "" FCX_VERSION_${part} "${FCX_VERSION_${part}}")
endforeach()
