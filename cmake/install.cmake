# The library, its headers and a package, so that a daemon can find_package(fcx_common) or ask pkg-config.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/fcx_common)

install(TARGETS fcx_common EXPORT fcx_common LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
fcx_debug_information_apart(fcx_common ${CMAKE_INSTALL_LIBDIR})
if(FCX_HOME STREQUAL bench)
  # A program on the bench links the phone's home beside the library.
  install(TARGETS fcx_virtual_phone EXPORT fcx_common LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  fcx_debug_information_apart(fcx_virtual_phone ${CMAKE_INSTALL_LIBDIR})
  install(TARGETS fcx RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  fcx_debug_information_apart(fcx ${CMAKE_INSTALL_BINDIR})
  # What the tool prints for shells and readers; a build for a machine that cannot run it has none.
  foreach(row "bash;bash-completion/completions;fcx" "zsh;zsh/site-functions;_fcx"
      "fish;fish/vendor_completions.d;fcx.fish" "man;man/man1;fcx.1")
    list(GET row 0 what)
    list(GET row 1 place)
    list(GET row 2 name)
    install(FILES ${PROJECT_BINARY_DIR}/tools/printed/${what}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/${place} RENAME ${name} OPTIONAL)
  endforeach()
endif()
if(FCX_HOME STREQUAL bench)
  # What an editor checks test plans with, and plans to begin with.
  install(FILES docs/plan.schema.json docs/junit.xsd DESTINATION ${CMAKE_INSTALL_DATADIR}/fcx_common)
  install(DIRECTORY examples/plans DESTINATION ${CMAKE_INSTALL_DATADIR}/fcx_common)
endif()
install(DIRECTORY include/fcx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT fcx_common NAMESPACE fcx:: FILE fcx_common-targets.cmake DESTINATION ${package_dir})

configure_package_config_file(cmake/fcx_common-config.cmake.in
  ${PROJECT_BINARY_DIR}/fcx_common-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fcx_common-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/fcx_common-config.cmake
  ${PROJECT_BINARY_DIR}/fcx_common-config-version.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH prefix_from_here ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_here ${prefix_from_here})
configure_file(cmake/fcx_common.pc.in ${PROJECT_BINARY_DIR}/fcx_common.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/fcx_common.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
