# What is linked whole, so that its functions are the library's, too: minizip, and parson where the machine
# has it.
add_library(fcx_archive_libraries INTERFACE)

find_library(MINIZIP_LIBRARY libminizip.a)
find_path(MINIZIP_INCLUDE_DIR minizip/zip.h)
if(NOT MINIZIP_LIBRARY OR NOT MINIZIP_INCLUDE_DIR)
  message(FATAL_ERROR "libminizip.a or minizip/zip.h is missing: install the package libminizip-dev")
endif()
target_include_directories(fcx_archive_libraries SYSTEM INTERFACE ${MINIZIP_INCLUDE_DIR})
target_link_options(fcx_archive_libraries INTERFACE -Wl,--whole-archive,${MINIZIP_LIBRARY},--no-whole-archive)

include(cmake/parson.cmake)
fcx_link_parson(fcx_archive_libraries)
