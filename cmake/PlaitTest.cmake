# SPDX-License-Identifier: MIT
# plait_add_test(NAME tst_x SOURCES tst_x.cpp LIBS ... [LABELS ...] [TIMEOUT s]): one Qt Test program, one ctest entry.

find_package(Qt6 6.4 REQUIRED COMPONENTS Test)

function(plait_add_test)
  cmake_parse_arguments(arg "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_link_libraries(${arg_NAME} PRIVATE plait_rules Qt6::Test ${arg_LIBS})
  set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  add_test(NAME ${arg_NAME} COMMAND ${arg_NAME})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  set_tests_properties(${arg_NAME} PROPERTIES
    TIMEOUT ${arg_TIMEOUT}
    LABELS "${arg_LABELS}"
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8")
endfunction()
