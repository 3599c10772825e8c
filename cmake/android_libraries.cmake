# The Android platform's own libraries: on Debian they live in folders named "android".
find_path(ANDROID_INCLUDE_DIR log/log.h PATH_SUFFIXES android REQUIRED)
find_library(ANDROID_LOG_LIBRARY log PATH_SUFFIXES android REQUIRED)

add_library(Android::log UNKNOWN IMPORTED)
set_target_properties(Android::log PROPERTIES
  IMPORTED_LOCATION ${ANDROID_LOG_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR})

get_filename_component(ANDROID_LIBRARY_DIR ${ANDROID_LOG_LIBRARY} DIRECTORY)
