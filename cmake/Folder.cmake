# One static library a folder:
#   tamsell_folder(core SOURCES A.cpp B.cpp LINKS tamsell_crypto QT)
# QT adds Qt Core, moc, and the precompiled header that has Qt in it.
function(tamsell_folder name)
  cmake_parse_arguments(arg "QT" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(tamsell_${name} STATIC ${arg_SOURCES})
  target_link_libraries(tamsell_${name} PUBLIC tamsell_flags ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
  tamsell_prepare(tamsell_${name} ${arg_QT})
endfunction()

# What libraries, programs and tests have in common beyond the flags.
function(tamsell_prepare target qt)
  if(qt)
    target_link_libraries(${target} PUBLIC Qt6::Core)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
      QT_NO_FOREACH QT_NO_KEYWORDS)
    set_target_properties(${target} PROPERTIES AUTOMOC ON)
    target_precompile_headers(${target} PRIVATE <QCoreApplication> <QObject> <QTimer>)
  endif()
  target_precompile_headers(${target} PRIVATE
    <algorithm> <chrono> <cstdint> <functional> <map> <memory> <optional> <span> <string>
    <string_view> <system_error> <variant> <vector>)
endfunction()

# tamsell_test(core SOURCES A.cpp LINKS tamsell_core [QT]): the tests of a folder as one program.
function(tamsell_test name)
  cmake_parse_arguments(arg "QT;OWN_MAIN" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name}_test ${arg_SOURCES})
  target_include_directories(${name}_test PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  target_compile_definitions(${name}_test PRIVATE
    TAMSELL_FIXTURES="${CMAKE_SOURCE_DIR}/tests/fixtures"
    TAMSELL_BIN="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  target_link_libraries(${name}_test PRIVATE tamsell_flags ${arg_LINKS} GTest::gmock)
  if(NOT arg_OWN_MAIN)
    target_link_libraries(${name}_test PRIVATE GTest::gmock_main)
  endif()
  set_target_properties(${name}_test PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  tamsell_prepare(${name}_test ${arg_QT})
  target_precompile_headers(${name}_test PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  gtest_discover_tests(${name}_test TEST_PREFIX "${name}/" DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 120)
endfunction()
