# Runs while the project is installed, for one file, as cmake/debug_files.cmake says: takes the debug
# information from the file that is installed (what = stripped), or installs it (what = debug).
execute_process(COMMAND ${readelf} --notes ${built} OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
  message(FATAL_ERROR "${built} has no build identifier, by which its debug information would be found")
endif()
set(folder .build-id/${CMAKE_MATCH_1})
set(debug_file ${work}/${folder}/${CMAKE_MATCH_2}.debug)

file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/${folder})
execute_process(COMMAND ${objcopy} --only-keep-debug --compress-debug-sections ${built} ${debug_file}
  COMMAND_ERROR_IS_FATAL ANY)
if(what STREQUAL debug)
  file(INSTALL ${debug_file} DESTINATION ${CMAKE_INSTALL_PREFIX}/${debug_directory}/${folder})
else()
  get_filename_component(installed ${installed} ABSOLUTE BASE_DIR ${CMAKE_INSTALL_PREFIX})
  execute_process(COMMAND ${objcopy} --strip-unneeded --add-gnu-debuglink=${debug_file} $ENV{DESTDIR}${installed}
    COMMAND_ERROR_IS_FATAL ANY)
endif()
