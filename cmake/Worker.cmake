# The worker beside the build: one folder above the plug-in's. A link to the system's ffmpeg, or what a script has
# fetched there; DECODER_WORKER replaces either. Nothing but running needs one.
set(worker ${CMAKE_BINARY_DIR}/ffmpeg-lgpl.exe)
set(program ${DECODER_WORKER})
if(NOT program AND NOT WIN32)
  find_program(FFMPEG_PROGRAM ffmpeg)
  set(program ${FFMPEG_PROGRAM})
endif()
# What lies there stays when CMake merely runs again: it may have been fetched since.
if(program AND (NOT EXISTS ${worker} OR NOT "${DECODER_WORKER}" STREQUAL "${DECODER_LINKED_WORKER}"))
  file(CREATE_LINK ${program} ${worker} COPY_ON_ERROR SYMBOLIC)
  set(DECODER_LINKED_WORKER "${DECODER_WORKER}" CACHE INTERNAL "DECODER_WORKER of the present link")
elseif(NOT EXISTS ${worker})
  message(NOTICE "There is no worker yet, so nothing will be decoded and tests will fail: put FFmpeg there as ${worker}, "
                 "or set DECODER_WORKER to it.")
endif()
