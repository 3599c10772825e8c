# The Android platform's own libraries: on Debian they live in folders named "android".
find_path(ANDROID_INCLUDE_DIR log/log.h PATH_SUFFIXES android REQUIRED)

foreach(name cutils log utils)
  string(TOUPPER ANDROID_${name}_LIBRARY variable)
  find_library(${variable} ${name} PATH_SUFFIXES android REQUIRED)
  add_library(Android::${name} UNKNOWN IMPORTED)
  set_target_properties(Android::${name} PROPERTIES
    IMPORTED_LOCATION ${${variable}}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR})
endforeach()

get_filename_component(ANDROID_LIBRARY_DIR ${ANDROID_LOG_LIBRARY} DIRECTORY)
