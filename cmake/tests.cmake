# A test program a folder, named after it: tests/front makes test_front.
include_guard(GLOBAL)

find_package(GTest REQUIRED)

function(add_test_program name folder)
  file(GLOB sources CONFIGURE_DEPENDS ${KESTREL_ROOT}/tests/${folder}/*.cpp)
  add_executable(test_${name} ${sources})
  show_folder(test_${name} tests PRIVATE)
  target_link_libraries(test_${name} PRIVATE ${ARGN} GTest::gtest GTest::gtest_main warnings)
  add_test(NAME ${name} COMMAND test_${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()
