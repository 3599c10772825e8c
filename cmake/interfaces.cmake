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
# Definitions use each other, and their hashes count as much: every package depends on all of them.
file(GLOB_RECURSE hidl_definitions CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/interfaces/*.hal ${PROJECT_SOURCE_DIR}/interfaces/current.txt
  ${FCX_ANDROID_HIDL_ROOT}/*.hal ${FCX_ANDROID_HIDL_ROOT}/current.txt)

add_library(fcx_interfaces INTERFACE)
# Generated code trips warnings that are none of ours.
target_include_directories(fcx_interfaces SYSTEM INTERFACE ${hidl_output})

# Generates the headers of PACKAGE@VERSION, which is defined in ROOT/.../VERSION.
function(fcx_generate_interface package root)
  string(REGEX MATCH "^(.*\\.([^.]*))@(.*)$" matched ${package})
  set(folder ${root}/${CMAKE_MATCH_2}/${CMAKE_MATCH_3})
  string(REPLACE "." "/" headers ${CMAKE_MATCH_1})
  string(PREPEND headers ${hidl_output}/)
  string(APPEND headers /${CMAKE_MATCH_3})

  # Ninja must know what it includes later; of what else is made, the bench includes the wrappers.
  set(made "")
  file(GLOB definitions CONFIGURE_DEPENDS ${folder}/*.hal)
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
    DEPENDS ${hidl_definitions}
    COMMENT "Generating ${package}"
    VERBATIM)
  string(MAKE_C_IDENTIFIER ${package} target)
  add_custom_target(${target} DEPENDS ${stamp})
  add_dependencies(fcx_interfaces ${target})
endfunction()

foreach(package ${platform_packages})
  fcx_generate_interface(android.hidl.${package}@1.0 ${FCX_ANDROID_HIDL_ROOT})
endforeach()
foreach(package ${FCX_INTERFACE_PACKAGES})
  fcx_generate_interface(${package} ${PROJECT_SOURCE_DIR}/interfaces)
endforeach()
