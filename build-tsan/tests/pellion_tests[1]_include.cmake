if(EXISTS "/work/wt-mendhost/build-tsan/tests/pellion_tests")
  if(NOT EXISTS "/work/wt-mendhost/build-tsan/tests/pellion_tests[1]_tests.cmake" OR
     NOT "/work/wt-mendhost/build-tsan/tests/pellion_tests[1]_tests.cmake" IS_NEWER_THAN "/work/wt-mendhost/build-tsan/tests/pellion_tests" OR
     NOT "/work/wt-mendhost/build-tsan/tests/pellion_tests[1]_tests.cmake" IS_NEWER_THAN "${CMAKE_CURRENT_LIST_FILE}")
    include("/usr/share/cmake-3.25/Modules/GoogleTestAddTests.cmake")
    gtest_discover_tests_impl(
      TEST_EXECUTABLE [==[/work/wt-mendhost/build-tsan/tests/pellion_tests]==]
      TEST_EXECUTOR [==[]==]
      TEST_WORKING_DIR [==[/work/wt-mendhost/build-tsan/tests]==]
      TEST_EXTRA_ARGS [==[]==]
      TEST_PROPERTIES [==[TIMEOUT;120]==]
      TEST_PREFIX [==[]==]
      TEST_SUFFIX [==[]==]
      TEST_FILTER [==[]==]
      NO_PRETTY_TYPES [==[FALSE]==]
      NO_PRETTY_VALUES [==[FALSE]==]
      TEST_LIST [==[pellion_tests_TESTS]==]
      CTEST_FILE [==[/work/wt-mendhost/build-tsan/tests/pellion_tests[1]_tests.cmake]==]
      TEST_DISCOVERY_TIMEOUT [==[5]==]
      TEST_XML_OUTPUT_DIR [==[]==]
    )
  endif()
  include("/work/wt-mendhost/build-tsan/tests/pellion_tests[1]_tests.cmake")
else()
  add_test(pellion_tests_NOT_BUILT pellion_tests_NOT_BUILT)
endif()
