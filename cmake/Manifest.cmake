# add_manifest(TARGET)
#
# Tells Windows that the program takes paths of any length and speaks UTF-8. Nothing on other systems.
function(add_manifest target)
  set(manifest ${CMAKE_SOURCE_DIR}/packaging/windows/program.manifest)
  if(MSVC)
    target_sources(${target} PRIVATE ${manifest})
  elseif(WIN32)
    # Resource 1 of type 24: the manifest of a program.
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}-manifest.rc)
    file(CONFIGURE OUTPUT ${source} CONTENT "1 24 \"${manifest}\"\n")
    set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS ${manifest})
    target_sources(${target} PRIVATE ${source})
  endif()
endfunction()
