# SPDX-License-Identifier: MIT
# The one place for compiler rules: every target of ours links plait_rules.

option(PLAIT_WERROR "Treat warnings as errors" ON)
set(PLAIT_SANITIZE "" CACHE STRING "Sanitizers for everything built here, as in -fsanitize=: address,undefined or thread")
option(PLAIT_COVERAGE "Instrument for gcov" OFF)
option(PLAIT_ASSERTS "End the program where a promise that its parts make each other is broken, in every kind of build" ON)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_AUTOMOC ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# What is installed may be moved as a whole.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_library(plait_rules INTERFACE)
target_include_directories(plait_rules INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(plait_rules INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH QT_NO_KEYWORDS
  QT_DISABLE_DEPRECATED_BEFORE=0x060400
  # Qt's own switch: without it only builds of the kind Debug have asserts.
  $<$<BOOL:${PLAIT_ASSERTS}>:QT_FORCE_ASSERTS>)
# Error records name their place in the source as a path from the root of the tree, wherever it was built.
target_compile_options(plait_rules INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wunused
  -Wduplicated-cond -Wlogical-op -Wformat=2 -Wimplicit-fallthrough
  # This compiler takes every optimised std::optional for one; valgrind and the sanitizers find the true ones.
  -Wno-maybe-uninitialized
  $<$<BOOL:${PLAIT_WERROR}>:-Werror>
  "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/="
  -fstack-protector-strong
  $<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
target_link_options(plait_rules INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,--no-undefined)

if(PLAIT_SANITIZE)
  # Vptr checks need every type to be visible across libraries; ours are hidden on purpose.
  add_compile_options(-fsanitize=${PLAIT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${PLAIT_SANITIZE})
  add_compile_definitions(PLAIT_FATAL_ASSERTIONS)
  if(PLAIT_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()
if(PLAIT_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# Reading Qt's headers takes longer than compiling what a source says: they are read once for all that is built of ours.
# The preset "tidy" goes without, to see that each file includes what it uses.
file(CONFIGURE OUTPUT headers.cpp CONTENT "// Nothing but the headers is wanted of it.\n")
add_library(plaitheaders OBJECT "${CMAKE_CURRENT_BINARY_DIR}/headers.cpp")
target_link_libraries(plaitheaders PRIVATE plait_rules Qt6::Core Qt6::Network)
target_precompile_headers(plaitheaders PRIVATE <QtCore> <QtNetwork> <functional> <memory> <optional>)

# For libraries that link Qt Network.
function(plait_share_headers target)
  target_precompile_headers(${target} REUSE_FROM plaitheaders)
endfunction()
