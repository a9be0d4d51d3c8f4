# Target `version`: "version/version.h", which Kestrel this is. The version has its home in
# project(), the commit is asked of git when the tree is configured, which each commit causes. Of
# the sources one small unit holds it, and none of them a date, so that builds can be repeated.
include_guard(GLOBAL)

# For sources without a repository, a package's for example.
set(KESTREL_COMMIT "" CACHE STRING "The commit that the programs tell of (default: asked of git)")

# Runs git in the root; empty when it fails.
function(ask_git variable)
  execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} ${ARGN}
    OUTPUT_VARIABLE told OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failure)
  if(failure)
    set(told "")
  endif()
  set(${variable} "${told}" PARENT_SCOPE)
endfunction()

# KESTREL_COMMIT_TOLD: the commit that is built, or "unknown".
set(KESTREL_COMMIT_TOLD "${KESTREL_COMMIT}")
ask_git(top rev-parse --show-toplevel)
file(REAL_PATH ${PROJECT_SOURCE_DIR} root)
# A repository around unpacked sources tells nothing of them.
if(NOT KESTREL_COMMIT_TOLD AND top STREQUAL root)
  ask_git(KESTREL_COMMIT_TOLD rev-parse HEAD)
  string(SUBSTRING "${KESTREL_COMMIT_TOLD}" 0 12 KESTREL_COMMIT_TOLD)
  ask_git(log rev-parse --path-format=absolute --git-path logs/HEAD)
  if(log AND EXISTS ${log})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${log})
  endif()
endif()
if(NOT KESTREL_COMMIT_TOLD)
  set(KESTREL_COMMIT_TOLD unknown)
endif()

set(view ${CMAKE_BINARY_DIR}/views/version)
foreach(file version.h version.cpp)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/version/${file}.in ${view}/version/${file} @ONLY)
endforeach()
add_library(version STATIC ${view}/version/version.cpp)
target_include_directories(version PUBLIC ${view})
target_link_libraries(version PRIVATE warnings)
