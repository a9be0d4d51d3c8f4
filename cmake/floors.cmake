# A folder of the house as a target that sees what lies below it and nothing else.
include_guard(GLOBAL)

get_filename_component(KESTREL_ROOT ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)

# Makes `folder`, a path from the root, includable as "folder/x.h" for `target` and for what
# links it. Each target has an include directory of its own with a link to that one folder
# in it, so an include of a folder that is not linked finds no file.
function(show_folder target folder scope)
  set(view ${CMAKE_BINARY_DIR}/views/${target})
  get_filename_component(parent ${view}/${folder} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  if(NOT EXISTS ${view}/${folder})
    file(CREATE_LINK ${KESTREL_ROOT}/${folder} ${view}/${folder} SYMBOLIC)
  endif()
  target_include_directories(${target} ${scope} ${view})
endfunction()

# A library of all units in `folder`; a new file needs no line anywhere. What follows are the
# targets below, which it shows on to those above.
function(add_floor target folder)
  file(GLOB sources CONFIGURE_DEPENDS ${KESTREL_ROOT}/${folder}/*.cpp)
  # A program of the folder is no part of its library.
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(${target} STATIC ${sources})
  show_folder(${target} ${folder} PUBLIC)
  target_link_libraries(${target} PUBLIC ${ARGN} PRIVATE warnings)
endfunction()
