# Warnings, sanitizers and what every target of ours is compiled with.
add_library(decoder_options INTERFACE)
if(MSVC)
  target_compile_options(decoder_options INTERFACE /W4)
  add_compile_options(/utf-8 /permissive- /Zc:__cplusplus)
else()
  target_compile_options(decoder_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Unique symbols would keep the library from ever being unloaded.
  add_compile_options(-fno-gnu-unique)
endif()

if(NOT WIN32)
  # Thread-local variables that are there from the thread's start: the other models take memory at a thread's first
  # touch, and end the process when there is none.
  add_compile_options(-ftls-model=initial-exec)
endif()

if(DECODER_SANITIZE)
  add_compile_options(-fsanitize=${DECODER_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # The check of vptrs opens a pipe to look at memory, and cries wolf in the tests that run out of descriptors.
  add_compile_options(-fno-sanitize=vptr)
  add_link_options(-fsanitize=${DECODER_SANITIZE})
endif()

if(WIN32)
  add_compile_definitions(UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
  # No runtime DLL beside ours.
  if(MSVC)
    set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  else()
    add_link_options(-static)
  endif()
endif()
