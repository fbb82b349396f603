# The worker beside the build: one folder above the plug-in's. A link to the system's ffmpeg, or the Windows
# build that scripts/fetch-windows-ffmpeg puts there; DECODER_WORKER replaces both. Nothing but running needs one.
set(worker ${CMAKE_BINARY_DIR}/ffmpeg-lgpl.exe)
set(program ${DECODER_WORKER})
if(NOT program AND NOT WIN32)
  find_program(FFMPEG_PROGRAM ffmpeg)
  set(program ${FFMPEG_PROGRAM})
endif()
if(program)
  file(CREATE_LINK ${program} ${worker} COPY_ON_ERROR SYMBOLIC)
elseif(NOT EXISTS ${worker})
  message(NOTICE "There is no worker yet, so nothing will be decoded and tests will fail: put FFmpeg there as ${worker}, "
                 "or set DECODER_WORKER to it.")
endif()
