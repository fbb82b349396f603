# Cross-compiling for 64-bit Windows with clang and lld, over the headers and runtimes of mingw-w64 and its GCC.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${triple})
set(CMAKE_CXX_COMPILER_TARGET ${triple})
set(CMAKE_RC_COMPILER ${triple}-windres)
foreach(tool ar ranlib nm objcopy objdump)
  string(TOUPPER ${tool} variable)
  find_program(CMAKE_${variable} ${triple}-${tool} REQUIRED)
endforeach()
set(CMAKE_SYSROOT /usr/${triple})
set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# clang doesn't look into the folder that Debian gives the posix-threads flavour of GCC.
execute_process(COMMAND ${triple}-g++-posix -print-libgcc-file-name OUTPUT_VARIABLE libgcc
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc)
# Thread-local variables as the runtimes of GCC have them.
set(CMAKE_C_FLAGS_INIT "-femulated-tls")
set(CMAKE_CXX_FLAGS_INIT
    "-femulated-tls -pthread -stdlib++-isystem ${gcc}/include/c++ -stdlib++-isystem ${gcc}/include/c++/${triple}")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -pthread -B${gcc} -L${gcc}")
endforeach()
