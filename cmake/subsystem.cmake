# Every target of ours is compiled with the same warnings, and each folder of src/ is one static library.

add_library(quorvane_options INTERFACE)
target_include_directories(quorvane_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
# PipeWire's users are to define it; where all do, all can use the same precompiled headers.
target_compile_definitions(quorvane_options INTERFACE _REENTRANT)
target_compile_options(quorvane_options INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wconversion -Wno-sign-conversion -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(quorvane_options INTERFACE -Wthread-safety)
endif()
if(QUORVANE_SANITIZE)
  target_compile_options(quorvane_options INTERFACE
    -fsanitize=${QUORVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(quorvane_options INTERFACE -fsanitize=${QUORVANE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # Clang 14 cannot emit a coroutine with the data that this check puts in front of a function.
    target_compile_options(quorvane_options INTERFACE -fno-sanitize=function)
  endif()
endif()
if(QUORVANE_FUZZERS)
  # A fuzzer sees which way its input took only through what is compiled so.
  target_compile_options(quorvane_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Most of a build's time would go into parsing and instantiating over and over what nearly every file includes. So that
# is parsed once (quorvane_headers: the standard library's, for the system itself; quorvane_test_headers: GoogleTest's,
# too, for the tests, which are not optimised), and the tests of a folder are compiled some files at a time.
# A target that uses a set has to be compiled with its options. Without QUORVANE_SHARED_COMPILATION each file stands for
# itself: so clang-tidy sees them, and an include that a file leaves out is found there.
function(quorvane_precompiled_headers NAME OPTIONS)
  set(source ${CMAKE_BINARY_DIR}/${NAME}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "// Carries the precompiled headers.\n")
  add_library(${NAME} OBJECT ${source})
  target_compile_options(${NAME} PRIVATE ${OPTIONS})
  target_link_libraries(${NAME} PRIVATE quorvane_options Threads::Threads)
  target_precompile_headers(${NAME} PRIVATE
    <algorithm> <array> <chrono> <functional> <map> <memory> <optional> <string> <string_view> <utility> <vector>)
endfunction()
if(QUORVANE_SHARED_COMPILATION)
  quorvane_precompiled_headers(quorvane_headers "")
  if(QUORVANE_TESTS)
    quorvane_precompiled_headers(quorvane_test_headers -O0)
    target_link_libraries(quorvane_test_headers PRIVATE GTest::gmock)
    target_precompile_headers(quorvane_test_headers PRIVATE
      <future> <thread> <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp>)
  endif()
endif()

# What is tested is optimised, the tests themselves need not be.
function(quorvane_test_code TARGET)
  target_link_libraries(${TARGET} PRIVATE GTest::gmock)
  target_compile_options(${TARGET} PRIVATE -O0)
  if(QUORVANE_SHARED_COMPILATION)
    target_precompile_headers(${TARGET} REUSE_FROM quorvane_test_headers)
    set_target_properties(${TARGET} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 6)
  endif()
endfunction()

# quorvane_subsystem(NAME capture SOURCES a.cpp ... USES support platform ... LIBRARIES PkgConfig::X ...)
# USES names the folders that this one may include: the arrows of the house. LIBRARIES stay private to the folder.
function(quorvane_subsystem)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;USES;LIBRARIES" ${ARGN})
  add_library(quorvane_${ARG_NAME} STATIC ${ARG_SOURCES})
  list(TRANSFORM ARG_USES PREPEND quorvane_)
  target_link_libraries(quorvane_${ARG_NAME}
    PUBLIC quorvane_options ${ARG_USES} PRIVATE ${ARG_LIBRARIES} Threads::Threads)
  if(QUORVANE_SHARED_COMPILATION)
    target_precompile_headers(quorvane_${ARG_NAME} REUSE_FROM quorvane_headers)
  endif()
endfunction()

# quorvane_unit_test(NAME capture SOURCES a_test.cpp ... USES capture ... LIBRARIES ...): one test program a folder.
function(quorvane_unit_test)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;USES;LIBRARIES" ${ARGN})
  add_executable(unit_${ARG_NAME} ${ARG_SOURCES})
  list(TRANSFORM ARG_USES PREPEND quorvane_)
  target_include_directories(unit_${ARG_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(unit_${ARG_NAME}
    PRIVATE quorvane_options ${ARG_USES} ${ARG_LIBRARIES} GTest::gmock_main Threads::Threads)
  quorvane_test_code(unit_${ARG_NAME})
  add_test(NAME unit_${ARG_NAME} COMMAND unit_${ARG_NAME})
  set(suppressions suppressions=${PROJECT_SOURCE_DIR}/tests)
  set_tests_properties(unit_${ARG_NAME} PROPERTIES ENVIRONMENT
    "LSAN_OPTIONS=${suppressions}/leak_suppressions.txt;TSAN_OPTIONS=${suppressions}/race_suppressions.txt")
endfunction()
