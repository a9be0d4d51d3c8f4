# What every target of the tree is built with.
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/floors.cmake)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

option(KESTREL_TESTS "Build the tests" OFF)

# The gain of -O3 is within the noise here, and its inlining makes up warnings.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# No program tells in which folder it was built (scripts/reproducible). The last map that fits
# counts, and the build's folder mostly lies in the sources'.
add_compile_options(-ffile-prefix-map=${KESTREL_ROOT}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)

add_library(warnings INTERFACE)
target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Werror)
