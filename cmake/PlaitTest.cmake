# SPDX-License-Identifier: MIT
# plait_add_test(NAME tst_x SOURCES tst_x.cpp LIBS ... [LABELS ...] [TIMEOUT s]): one Qt Test program, one ctest entry.

find_package(Qt6 6.4 REQUIRED COMPONENTS Test)

# As for the product, Qt's headers are read once for all tests. A test's own folders among Qt Test's definitions would
# make these headers different ones in each.
set_property(TARGET Qt6::Test PROPERTY INTERFACE_COMPILE_DEFINITIONS QT_TESTLIB_LIB)
file(CONFIGURE OUTPUT testheaders.cpp CONTENT "// Nothing but the headers is wanted of it.\n")
add_library(plaittestheaders OBJECT "${CMAKE_CURRENT_BINARY_DIR}/testheaders.cpp")
target_link_libraries(plaittestheaders PRIVATE plait_rules Qt6::Test Qt6::Network)
# Tests wait for servers and disks: to optimise them as far as the product takes half as long again, for nothing. What
# shares headers has to be built alike.
set(plait_test_options $<$<CONFIG:Release>:-O1>)
target_compile_options(plaittestheaders PRIVATE ${plait_test_options})
target_precompile_headers(plaittestheaders PRIVATE <QtCore> <QtNetwork> <QtTest> <functional> <memory> <optional>)

# For programs and libraries that link Qt Test and Network.
function(plait_share_test_headers target)
  target_precompile_headers(${target} REUSE_FROM plaittestheaders)
  target_compile_options(${target} PRIVATE ${plait_test_options})
endfunction()

# plait_add_bench(NAME x SOURCES ... LIBS ...): what several test programs of a folder share, compiled once.
function(plait_add_bench)
  cmake_parse_arguments(arg "" "NAME" "SOURCES;LIBS" ${ARGN})
  add_library(${arg_NAME} STATIC ${arg_SOURCES})
  target_link_libraries(${arg_NAME} PUBLIC Qt6::Test Qt6::Network ${arg_LIBS} PRIVATE plait_rules)
  plait_share_test_headers(${arg_NAME})
endfunction()

function(plait_add_test)
  cmake_parse_arguments(arg "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_link_libraries(${arg_NAME} PRIVATE plait_rules Qt6::Test Qt6::Network plaitfatalassertions ${arg_LIBS})
  plait_share_test_headers(${arg_NAME})
  # Nearly always empty, because tests include their own: reading all headers for it took a fifth of a test's time.
  set_source_files_properties("${CMAKE_CURRENT_BINARY_DIR}/${arg_NAME}_autogen/mocs_compilation.cpp"
    PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
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
