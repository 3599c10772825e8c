# The library, its headers and a package, so that a daemon can find_package(fcx_common).
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/fcx_common)

install(TARGETS fcx_common EXPORT fcx_common LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(FCX_HOME STREQUAL bench)
  # A program on the bench links the phone's home beside the library.
  install(TARGETS fcx_virtual_phone EXPORT fcx_common LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(TARGETS fcx RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY include/fcx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT fcx_common NAMESPACE fcx:: FILE fcx_common-targets.cmake DESTINATION ${package_dir})

configure_package_config_file(cmake/fcx_common-config.cmake.in
  ${PROJECT_BINARY_DIR}/fcx_common-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fcx_common-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/fcx_common-config.cmake
  ${PROJECT_BINARY_DIR}/fcx_common-config-version.cmake DESTINATION ${package_dir})
