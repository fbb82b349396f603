# Folders of an installation, below the prefix.
if(WIN32)
  set(docs .)
else()
  set(docs share/doc/decoder-ffmpeg)
endif()
# No PATH, for CMake would take one from the command line for a folder of the build's.
set(CMAKE_INSTALL_DOCDIR ${docs} CACHE STRING "Documents, below the prefix")
include(GNUInstallDirs)
# Some makers of packages give whole paths. What is installed finds its parts from one to the other.
foreach(folder BINDIR INCLUDEDIR DOCDIR MANDIR)
  cmake_path(IS_ABSOLUTE CMAKE_INSTALL_${folder} whole)
  if(whole)
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_${folder} BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
  endif()
endforeach()

if(WIN32)
  # One folder, as hosts lay it out: the program, the worker that the user puts beside it, and the plug-in below.
  set(DECODER_INSTALL_PRIVATE .)
  set(DECODER_INSTALL_BIN .)
else()
  # Private to the program and to hosts that ask for the path, so it needs no folder of the architecture.
  set(DECODER_INSTALL_PRIVATE lib/decoder-ffmpeg)
  set(DECODER_INSTALL_BIN ${CMAKE_INSTALL_BINDIR})
endif()
set(plugin_folder ${DECODER_INSTALL_PRIVATE}/decoders)
cmake_path(NORMAL_PATH plugin_folder)
set(DECODER_INSTALL_PLUGIN ${plugin_folder}/decoder_ffmpeg${CMAKE_SHARED_MODULE_SUFFIX})

# How the program finds the plug-in of its installation, wherever that was moved to.
file(RELATIVE_PATH DECODER_PLUGIN_FROM_PROGRAM /prefix/${DECODER_INSTALL_BIN} /prefix/${plugin_folder})
