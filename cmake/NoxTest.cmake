include(GoogleTest)

# nox_add_test(<name> SOURCES <files...> LIBS <targets...>): one GoogleTest executable per
# area, each test case registered with CTest.
function(nox_add_test name)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120
    PROPERTIES ENVIRONMENT "NOX_TEST_TMP=${CMAKE_BINARY_DIR}/test-tmp")
endfunction()

# nox_add_bench(<name> SOURCES <files...> LIBS <targets...>): built, never run by the tests.
function(nox_add_bench name)
  cmake_parse_arguments(B "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${B_SOURCES})
  target_link_libraries(${name} PRIVATE ${B_LIBS})
endfunction()
