# What CPack makes: two Debian packages on Linux, one zip on Windows. `scripts/package` runs it.
set(CPACK_PACKAGE_VENDOR "the decoder_ffmpeg authors")
set(CPACK_PACKAGE_CONTACT "the decoder_ffmpeg authors <decoder-ffmpeg@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "decode and tag audio files through the ffmpeg program")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSES/MIT.txt)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)

# The notices of what is compiled in, as the machine that builds the package has them.
set(notices libcli11-dev libkissfft-dev libstb-dev nlohmann-json3-dev)
if(WIN32)
  list(APPEND notices mingw-w64-common gcc-mingw-w64-base)
endif()
foreach(package ${notices})
  set(notice /usr/share/doc/${package}/copyright)
  if(EXISTS ${notice})
    install(FILES ${notice} DESTINATION ${CMAKE_INSTALL_DOCDIR}/licences RENAME ${package}.txt COMPONENT runtime)
  endif()
endforeach()

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME decoder_ffmpeg-${PROJECT_VERSION}-win64)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION sound)
  set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.org/decoder_ffmpeg")

  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME decoder-ffmpeg)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ffmpeg)
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "A plug-in for audio applications, and the program decoder-host, which
does from a command line all that the plug-in can. What FFmpeg reads
becomes sound; tags of TTA, TAK, DTS and Matroska files are read,
written and deleted in place.")

  set(CPACK_DEBIAN_DEV_PACKAGE_NAME decoder-ffmpeg-dev)
  set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEV_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "decoder-ffmpeg (>= ${PROJECT_VERSION})")
  set(CPACK_COMPONENT_DEV_DESCRIPTION "The header that an application compiles against to load the plug-in
decoder_ffmpeg, a wrapper in C++, a CMake package and a pkg-config
file.")

  # The files that Debian wants in the folder of each package, and nobody else.
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  find_program(GZIP_PROGRAM gzip REQUIRED)
  string(TIMESTAMP DECODER_BUILD_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
  configure_file(packaging/debian/changelog.in changelog.Debian)
  foreach(text changelog.Debian changelog)
    set(source ${CMAKE_BINARY_DIR}/changelog.Debian)
    if(text STREQUAL changelog)
      set(source ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
    endif()
    add_custom_command(OUTPUT ${text}.gz COMMAND ${GZIP_PROGRAM} -9nc ${source} > ${text}.gz DEPENDS ${source} VERBATIM)
    list(APPEND changelogs ${CMAKE_BINARY_DIR}/${text}.gz)
  endforeach()
  add_custom_target(packaged_changelogs ALL DEPENDS ${changelogs})
  foreach(component runtime dev)
    string(TOUPPER ${component} upper)
    set(folder share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES packaging/debian/copyright ${changelogs} DESTINATION ${folder} COMPONENT ${component}
            EXCLUDE_FROM_ALL)
  endforeach()
endif()
include(CPack)
