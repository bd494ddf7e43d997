# GoogleTest for both builds: the Debian package natively; built from the sources that the
# Debian package ships for the MinGW-w64 build.
if(CMAKE_CROSSCOMPILING)
  set(TX_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources (Debian googletest package)")
  set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(${TX_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/third_party/googletest EXCLUDE_FROM_ALL SYSTEM)
  # The googletest project defines the GTest::gtest and GTest::gmock aliases itself.
else()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# tx_add_test(NAME SOURCES... LIBS...)
# Native tests are discovered one CTest entry per test case. Windows tests run one program per
# CTest entry under the Wine runner (CMAKE_CROSSCOMPILING_EMULATOR); they share one Wine prefix,
# so they take a common lock and never run at the same time.
function(tx_add_test name)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} tx_test_main)
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK wineprefix TIMEOUT 600)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  endif()
endfunction()
