# The worker beside the build: one folder above the plug-in's, a link to the system's ffmpeg.
if(DECODER_WORKER)
  set(worker ${DECODER_WORKER})
else()
  find_program(FFMPEG_PROGRAM ffmpeg REQUIRED)
  set(worker ${FFMPEG_PROGRAM})
endif()
file(CREATE_LINK ${worker} ${CMAKE_BINARY_DIR}/ffmpeg-lgpl.exe COPY_ON_ERROR SYMBOLIC)
