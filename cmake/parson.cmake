# The JSON library: its functions are the library's, too, under their published names. It is linked whole
# where the machine, or the phone's image, has an archive of it.
set(FCX_PARSON AUTO CACHE STRING
  "The JSON library's archive: AUTO looks for libparson.a, a path names it, OFF goes without")

function(fcx_link_parson target)
  if(FCX_PARSON STREQUAL AUTO)
    find_library(PARSON_LIBRARY libparson.a)
    set(archive ${PARSON_LIBRARY})
  else()
    set(archive ${FCX_PARSON})
  endif()
  if(NOT archive)
    message(STATUS "No libparson.a (FCX_PARSON is ${FCX_PARSON}): the library goes without the JSON functions")
    return()
  endif()
  if(NOT IS_ABSOLUTE "${archive}" OR NOT EXISTS "${archive}")
    message(FATAL_ERROR "FCX_PARSON is AUTO, OFF or the whole path of an archive, not \"${archive}\"")
  endif()
  message(STATUS "The JSON functions are from ${archive}")
  target_link_options(${target} INTERFACE -Wl,--whole-archive,${archive},--no-whole-archive)
  set_property(TARGET ${target} APPEND PROPERTY INTERFACE_LINK_DEPENDS ${archive})
endfunction()
