# cmake -DLIBRARY=... -DOBJDUMP=... -DNM=... -P symbols.cmake
#
# The built plug-in exports the nine functions and nothing else, under their plain names, and needs no library
# but the system's own. On Linux nothing of it is destroyed while the process exits, for a host may go on calling
# then, and a thread's first touch of its variables takes no memory. Lists what it found.
cmake_minimum_required(VERSION 3.25)

set(functions Close Create DecodeBlock DeleteATag Destroy Get Open Set SetPosition)
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)

if(LIBRARY MATCHES "[.]dll$")
  set(system_libraries KERNEL32.dll msvcrt.dll ole32.dll WS2_32.dll)
  set(import_line "DLL Name: ([^ \n]+)")
  # "[Ordinal/Name Pointer] Table", then "[   0] Close" and so on up to an empty line.
  string(REGEX MATCH "Name Pointer. Table[^\n]*(\n[ \t]+[^\n]+)+" table "${headers}")
  string(REGEX MATCHALL "[A-Za-z_][^ \t\n]*\n" exports "${table}\n")
  list(POP_FRONT exports)
  list(TRANSFORM exports STRIP)
else()
  set(system_libraries libstdc++.so.6 libm.so.6 libgcc_s.so.1 libc.so.6 ld-linux-x86-64.so.2)
  set(import_line "NEEDED +([^ \n]+)")
  execute_process(COMMAND ${NM} -D --defined-only --format=just-symbols ${LIBRARY} OUTPUT_VARIABLE exports
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" exports "${exports}")
  execute_process(COMMAND ${NM} -D --undefined-only --format=just-symbols ${LIBRARY} OUTPUT_VARIABLE needed
                  COMMAND_ERROR_IS_FATAL ANY)
  foreach(function __cxa_atexit atexit __cxa_thread_atexit __cxa_thread_atexit_impl __tls_get_addr)
    if(needed MATCHES "(^|\n)${function}(@[^\n]*)?\n")
      message(FATAL_ERROR "${function} is called: an object that is destroyed at exit, or a dynamic thread-local")
    endif()
  endforeach()
endif()

list(SORT exports)
list(JOIN exports " " shown)
message("Exports: ${shown}")
if(NOT "${exports}" STREQUAL "${functions}")
  message(FATAL_ERROR "The exports have to be: ${functions}")
endif()

string(REGEX MATCHALL "${import_line}" imports "${headers}")
if(imports STREQUAL "")
  message(FATAL_ERROR "No imports were found: has the listing another form?")
endif()
foreach(import IN LISTS imports)
  string(REGEX REPLACE "${import_line}" "\\1" import "${import}")
  message("Imports: ${import}")
  if(NOT import IN_LIST system_libraries)
    message(FATAL_ERROR "${import} isn't one of ${system_libraries}")
  endif()
endforeach()
