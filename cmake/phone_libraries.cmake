# The phone's libraries below this one, as the image's build provides them. The library of a HIDL package has
# the package's name, with no "lib" before it.
add_library(fcx_phone_libraries INTERFACE)
add_library(fcx::phone_libraries ALIAS fcx_phone_libraries)
set(FCX_FACTORY_ITEM_LIBRARY "" CACHE STRING "The vendor's factory item library")
if(NOT FCX_FACTORY_ITEM_LIBRARY)
  message(FATAL_ERROR "Set FCX_FACTORY_ITEM_LIBRARY to the vendor's factory item library")
endif()
set(FCX_MODEM_INTERFACE_LIBRARY fcx_modeminterface CACHE STRING "The daemon's direct modem interface")
set(FCX_DIAG_LIBRARY diag CACHE STRING "The diagnostic library")
set(FCX_SYSFS_LIBRARY qveunifiedsysfs CACHE STRING "The vendor's unified sysfs library")
set(FCX_FEATURES_LIBRARY qvefeatures CACHE STRING "The vendor's feature library")
list(TRANSFORM FCX_INTERFACE_PACKAGES REPLACE "^.+$" "-l:\\0.so" OUTPUT_VARIABLE interface_libraries)
target_link_libraries(fcx_phone_libraries INTERFACE log cutils utils hardware_legacy selinux xml2 z hidlbase
  ${interface_libraries} ${FCX_FACTORY_ITEM_LIBRARY} ${FCX_MODEM_INTERFACE_LIBRARY} ${FCX_DIAG_LIBRARY}
  ${FCX_FEATURES_LIBRARY} ${FCX_SYSFS_LIBRARY})
# Its functions are the library's, too. Of a shared one nothing is to be linked whole.
target_link_options(fcx_phone_libraries INTERFACE -Wl,--whole-archive,-lminizip,--no-whole-archive)
include(cmake/parson.cmake)
fcx_link_parson(fcx_phone_libraries)
