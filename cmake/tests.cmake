# A test program a folder, named after it: tests/front makes test_front.
include_guard(GLOBAL)

find_package(GTest REQUIRED)
include(GoogleTest)

function(add_test_program name folder)
  file(GLOB sources CONFIGURE_DEPENDS ${KESTREL_ROOT}/tests/${folder}/*.cpp)
  add_executable(test_${name} ${sources})
  show_folder(test_${name} tests PRIVATE)
  target_link_libraries(test_${name} PRIVATE ${ARGN} GTest::gtest GTest::gtest_main warnings)
  # Each case is a test of its own: `ctest -N` lists them, `ctest -R NAME` runs one.
  gtest_discover_tests(test_${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300)
endfunction()
