# Takes the debug information out of a program or library, which is installed in that directory: what
# is shipped would be four times as large. It goes to a file beside what was built, and with the
# component "debug" to .debug beside what is installed; debuggers look in both places.
function(split_debug_information target directory)
  if(INVSCAN_SANITIZE OR NOT INVSCAN_SPLIT_DEBUG)
    return()
  endif()
  set(file $<TARGET_FILE:${target}>)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${file} ${file}.debug
    COMMAND ${CMAKE_OBJCOPY} --strip-unneeded --add-gnu-debuglink=${file}.debug ${file}
    VERBATIM)
  install(FILES ${file}.debug DESTINATION ${directory}/.debug COMPONENT debug EXCLUDE_FROM_ALL)
endfunction()
