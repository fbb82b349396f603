# split_debug_information(TARGET)
#
# Leaves the program or DLL without symbols and puts all that was known of it into NAME.debug beside it, where GDB and
# LLDB find it by the name that the program keeps. For the compilers of MinGW; others write such a file of their own.
function(split_debug_information target)
  if(NOT MINGW)
    return()
  endif()
  set(file $<TARGET_FILE:${target}>)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
                     COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${file} ${file}.debug
                     COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${file}.debug ${file})
endfunction()
