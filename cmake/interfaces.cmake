# C++ headers of the HIDL interfaces, made by hidl-gen on the machine that builds. Link fcx_interfaces
# to include them.
find_program(HIDL_GEN hidl-gen REQUIRED)

# A phone's build has the platform's definitions, the bench its own.
if(FCX_HOME STREQUAL phone)
  set(FCX_ANDROID_HIDL_ROOT "" CACHE PATH
    "The platform's definitions of android.hidl: the folder with base/1.0 and manager/1.0")
  if(NOT FCX_ANDROID_HIDL_ROOT)
    message(FATAL_ERROR "Set FCX_ANDROID_HIDL_ROOT to the platform's definitions of android.hidl")
  endif()
  set(platform_packages base manager)
else()
  set(FCX_ANDROID_HIDL_ROOT ${PROJECT_SOURCE_DIR}/virtual_phone/hidl/android)
  set(platform_packages base)
endif()
set(FCX_HIDL_ROOTS
  -R -r vendor.qve.hardware:${PROJECT_SOURCE_DIR}/interfaces -r android.hidl:${FCX_ANDROID_HIDL_ROOT})
set(FCX_INTERFACE_PACKAGES vendor.qve.hardware.filehandle@1.0 vendor.qve.hardware.qvatcmd@1.0)
set(hidl_output ${PROJECT_BINARY_DIR}/interfaces)

add_library(fcx_interfaces INTERFACE)
# Generated code trips warnings that are none of ours.
target_include_directories(fcx_interfaces SYSTEM INTERFACE ${hidl_output})

# Generates a package from the definitions in `folder`. They, their hashes and whatever else is named are
# its dependencies.
function(fcx_generate_interface package hashes folder)
  string(REGEX REPLACE "[.@]" "_" target ${package})
  string(REGEX REPLACE "[.@]" "/" headers ${package})
  string(REGEX REPLACE "/([0-9]+)/([0-9]+)$" "/\\1.\\2" headers ${hidl_output}/${headers})
  file(GLOB definitions CONFIGURE_DEPENDS ${folder}/*.hal)
  set(made "")
  foreach(definition ${definitions})
    get_filename_component(name ${definition} NAME_WE)
    list(APPEND made ${headers}/${name}.h)
    if(name MATCHES "^I(.*)")
      list(APPEND made ${headers}/Bs${CMAKE_MATCH_1}.h)
    endif()
  endforeach()
  set(stamp ${hidl_output}/${package}.stamp)
  add_custom_command(OUTPUT ${stamp} BYPRODUCTS ${made}
    COMMAND ${HIDL_GEN} -o ${hidl_output} -L c++-headers ${FCX_HIDL_ROOTS} ${package}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${definitions} ${hashes} ${ARGN}
    COMMENT "Generating ${package}"
    VERBATIM)
  add_custom_target(${target} DEPENDS ${stamp})
  add_dependencies(fcx_interfaces ${target})
endfunction()

foreach(package ${platform_packages})
  fcx_generate_interface(android.hidl.${package}@1.0 ${FCX_ANDROID_HIDL_ROOT}/current.txt
    ${FCX_ANDROID_HIDL_ROOT}/${package}/1.0)
endforeach()
file(GLOB platform_definitions CONFIGURE_DEPENDS ${FCX_ANDROID_HIDL_ROOT}/base/1.0/*.hal)
foreach(package ${FCX_INTERFACE_PACKAGES})
  string(REGEX REPLACE "^vendor\\.qve\\.hardware\\.(.*)@(.*)$" "\\1/\\2" folder ${package})
  fcx_generate_interface(${package} ${PROJECT_SOURCE_DIR}/interfaces/current.txt
    ${PROJECT_SOURCE_DIR}/interfaces/${folder} ${platform_definitions} ${FCX_ANDROID_HIDL_ROOT}/current.txt)
endforeach()
