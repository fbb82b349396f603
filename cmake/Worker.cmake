# The worker beside the build: one folder above the plug-in's. A link to the system's ffmpeg, or the Windows
# build that scripts/fetch-windows-ffmpeg puts there; DECODER_WORKER replaces both.
set(worker ${CMAKE_BINARY_DIR}/ffmpeg-lgpl.exe)
if(DECODER_WORKER)
  file(CREATE_LINK ${DECODER_WORKER} ${worker} COPY_ON_ERROR SYMBOLIC)
elseif(NOT WIN32)
  find_program(FFMPEG_PROGRAM ffmpeg REQUIRED)
  file(CREATE_LINK ${FFMPEG_PROGRAM} ${worker} COPY_ON_ERROR SYMBOLIC)
elseif(NOT EXISTS ${worker})
  message(FATAL_ERROR "There is no ${worker}: run scripts/fetch-windows-ffmpeg, or set DECODER_WORKER.")
endif()
