# add_room(NAME FOLDER SOURCES ... [USES ...] [BELOW ...])
#
# A static library from the folder FOLDER, which lies below src/ or what BELOW names, that may include and link
# only the rooms it names under USES. Every room has an include root of its own that shows nothing but that room
# under its full name, so an include against the direction of the arrows doesn't compile. Where symbolic links can't
# be made (Windows gives that right to few users) the rooms see one another, and everything else is the same.
function(add_room name folder)
  cmake_parse_arguments(PARSE_ARGV 2 room "" "BELOW" "SOURCES;USES")
  if(NOT room_BELOW)
    set(room_BELOW ${CMAKE_SOURCE_DIR}/src)
  endif()
  list(TRANSFORM room_SOURCES PREPEND ${room_BELOW}/${folder}/)
  add_library(${name} STATIC ${room_SOURCES})
  set(root ${CMAKE_BINARY_DIR}/rooms/${name})
  cmake_path(GET folder PARENT_PATH parent)
  file(MAKE_DIRECTORY ${root}/${parent})
  file(CREATE_LINK ${room_BELOW}/${folder} ${root}/${folder} RESULT failure SYMBOLIC)
  if(failure)
    set(root ${room_BELOW})
  endif()
  target_include_directories(${name} PUBLIC ${root})
  target_link_libraries(${name} PUBLIC ${room_USES} PRIVATE decoder_options)
endfunction()
