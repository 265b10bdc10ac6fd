# CMake generated Testfile for 
# Source directory: /work/wt-mendhost/tests
# Build directory: /work/wt-mendhost/build-tsan/tests
# 
# This file includes the relevant testing commands required for 
# testing this directory and lists subdirectories to be tested as well.
include("/work/wt-mendhost/build-tsan/tests/host_tests[1]_include.cmake")
include("/work/wt-mendhost/build-tsan/tests/network_tests[1]_include.cmake")
include("/work/wt-mendhost/build-tsan/tests/pellion_tests[1]_include.cmake")
add_test([=[scenario.connection_dropped]=] "/work/wt-mendhost/build-tsan/pellion" "run" "/work/wt-mendhost/examples/scenarios/connection_dropped.json")
set_tests_properties([=[scenario.connection_dropped]=] PROPERTIES  TIMEOUT "120" _BACKTRACE_TRIPLES "/work/wt-mendhost/tests/CMakeLists.txt;26;add_test;/work/wt-mendhost/tests/CMakeLists.txt;0;")
add_test([=[scenario.device_token]=] "/work/wt-mendhost/build-tsan/pellion" "run" "/work/wt-mendhost/examples/scenarios/device_token.json")
set_tests_properties([=[scenario.device_token]=] PROPERTIES  TIMEOUT "120" _BACKTRACE_TRIPLES "/work/wt-mendhost/tests/CMakeLists.txt;26;add_test;/work/wt-mendhost/tests/CMakeLists.txt;0;")
add_test([=[scenario.refused_then_accepted]=] "/work/wt-mendhost/build-tsan/pellion" "run" "/work/wt-mendhost/examples/scenarios/refused_then_accepted.json")
set_tests_properties([=[scenario.refused_then_accepted]=] PROPERTIES  TIMEOUT "120" _BACKTRACE_TRIPLES "/work/wt-mendhost/tests/CMakeLists.txt;26;add_test;/work/wt-mendhost/tests/CMakeLists.txt;0;")
add_test([=[scenario.token_changes]=] "/work/wt-mendhost/build-tsan/pellion" "run" "/work/wt-mendhost/examples/scenarios/token_changes.json")
set_tests_properties([=[scenario.token_changes]=] PROPERTIES  TIMEOUT "120" _BACKTRACE_TRIPLES "/work/wt-mendhost/tests/CMakeLists.txt;26;add_test;/work/wt-mendhost/tests/CMakeLists.txt;0;")
