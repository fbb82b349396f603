# What goes where. Two components: "runtime" (plug-in, worker's link, program) and "dev" (what a host compiles
# against). Nothing that is installed holds an absolute path but the worker's link.
include(CMakePackageConfigHelpers)

install(TARGETS decoder_ffmpeg LIBRARY DESTINATION ${plugin_folder} COMPONENT runtime)
install(TARGETS decoder-host RUNTIME DESTINATION ${DECODER_INSTALL_BIN} COMPONENT runtime)
if(NOT WIN32)
  # The link may name a program that this machine doesn't have: it is the installed system's that counts.
  install(CODE "
    set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${DECODER_INSTALL_PRIVATE}\")
    file(MAKE_DIRECTORY \"\${folder}\")
    file(CREATE_LINK \"${DECODER_INSTALLED_WORKER}\" \"\${folder}/ffmpeg-lgpl.exe\" SYMBOLIC)
    message(STATUS \"Installing: \${folder}/ffmpeg-lgpl.exe -> ${DECODER_INSTALLED_WORKER}\")"
          COMPONENT runtime)
endif()

# Documents lie as in the source tree, so that links between them hold. The header lies where compilers look for it.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY LICENSES docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime PATTERN *.dot EXCLUDE)
file(RELATIVE_PATH include_from_docs /prefix/${CMAKE_INSTALL_DOCDIR}/docs /prefix/${CMAKE_INSTALL_INCLUDEDIR})
install(CODE "
  set(index \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DOCDIR}/docs/README.md\")
  file(READ \"\${index}\" text)
  string(REPLACE \"](../include/\" \"](${include_from_docs}/\" text \"\${text}\")
  file(WRITE \"\${index}\" \"\${text}\")"
        COMPONENT runtime)
install(DIRECTORY examples bindings DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev
        PATTERN CMakeLists.txt EXCLUDE PATTERN tests EXCLUDE PATTERN __pycache__ EXCLUDE PATTERN *.egg-info EXCLUDE
        PATTERN build EXCLUDE)

if(MINGW)
  # For hosts that link against the DLL instead of loading it.
  set(import_library ${CMAKE_BINARY_DIR}/libdecoder_ffmpeg.dll.a)
  target_link_options(decoder_ffmpeg PRIVATE -Wl,--out-implib,${import_library})
  install(FILES ${import_library} DESTINATION lib COMPONENT dev)
  install(FILES src/codecs/decoders/ffmpeg/exports.def DESTINATION lib RENAME decoder_ffmpeg.def COMPONENT dev)
endif()
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
add_library(decoder_plugin_header INTERFACE)
set_target_properties(decoder_plugin_header PROPERTIES EXPORT_NAME header)
target_include_directories(decoder_plugin_header INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS decoder_plugin_header EXPORT decoder_pluginTargets COMPONENT dev)

# Text alone, the same for every architecture.
set(package_folder share/cmake/decoder_plugin)
install(EXPORT decoder_pluginTargets NAMESPACE decoder_plugin:: DESTINATION ${package_folder} COMPONENT dev)
configure_package_config_file(packaging/decoder_pluginConfig.cmake.in decoder_pluginConfig.cmake
                              INSTALL_DESTINATION ${package_folder} PATH_VARS DECODER_INSTALL_PLUGIN)
write_basic_package_version_file(decoder_pluginConfigVersion.cmake COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/decoder_pluginConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/decoder_pluginConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT dev)

set(pc_folder share/pkgconfig)
file(RELATIVE_PATH DECODER_PC_TO_PREFIX /prefix/${pc_folder} /prefix)
string(REGEX REPLACE "/$" "" DECODER_PC_TO_PREFIX "${DECODER_PC_TO_PREFIX}")
configure_file(packaging/decoder_plugin.pc.in decoder_plugin.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/decoder_plugin.pc DESTINATION ${pc_folder} COMPONENT dev)
