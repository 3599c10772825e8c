# What is installed has no debug information. That is a component of its own, "debug", where a debugger
# finds it by the build's identifier: lib/debug/.build-id. It is taken apart when it is installed, so
# that no link waits for it.

# For a target that is installed into DESTINATION; after its install(TARGETS).
function(fcx_debug_information_apart target destination)
  set(step [=[
set(objcopy [[@CMAKE_OBJCOPY@]])
set(readelf [[@CMAKE_READELF@]])
set(built [[$<TARGET_FILE:@target@>]])
set(installed [[@destination@/$<TARGET_FILE_NAME:@target@>]])
set(work [[@CMAKE_CURRENT_BINARY_DIR@/debug_files/@target@]])
set(debug_directory [[@CMAKE_INSTALL_LIBDIR@/debug]])
include([[@PROJECT_SOURCE_DIR@/cmake/take_debug_information_apart.cmake]])
]=])
  string(CONFIGURE "${step}" step @ONLY)
  install(CODE "set(what stripped)\n${step}")
  install(CODE "set(what debug)\n${step}" COMPONENT debug EXCLUDE_FROM_ALL)
endfunction()
