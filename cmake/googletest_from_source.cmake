# GoogleTest with the standard library that the tests are built with: the packaged one has GCC's.
find_path(GOOGLETEST_SOURCE googletest/src/gtest-all.cc PATHS /usr/src/googletest NO_DEFAULT_PATH REQUIRED)
add_library(fcx_googletest STATIC EXCLUDE_FROM_ALL
  ${GOOGLETEST_SOURCE}/googletest/src/gtest-all.cc
  ${GOOGLETEST_SOURCE}/googletest/src/gtest_main.cc
  ${GOOGLETEST_SOURCE}/googlemock/src/gmock-all.cc)
target_include_directories(fcx_googletest
  SYSTEM PUBLIC ${GOOGLETEST_SOURCE}/googletest/include ${GOOGLETEST_SOURCE}/googlemock/include
  PRIVATE ${GOOGLETEST_SOURCE}/googletest ${GOOGLETEST_SOURCE}/googlemock)
target_compile_options(fcx_googletest PRIVATE -w)
add_library(GTest::gmock ALIAS fcx_googletest)
add_library(GTest::gtest_main ALIAS fcx_googletest)
