# Every target of ours is compiled with the same warnings, and each folder of src/ is one static library.

add_library(quorvane_options INTERFACE)
target_include_directories(quorvane_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
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

# quorvane_subsystem(NAME capture SOURCES a.cpp ... USES support platform ... LIBRARIES PkgConfig::X ...)
# USES names the folders that this one may include: the arrows of the house. LIBRARIES stay private to the folder.
function(quorvane_subsystem)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;USES;LIBRARIES" ${ARGN})
  add_library(quorvane_${ARG_NAME} STATIC ${ARG_SOURCES})
  list(TRANSFORM ARG_USES PREPEND quorvane_)
  target_link_libraries(quorvane_${ARG_NAME}
    PUBLIC quorvane_options ${ARG_USES} PRIVATE ${ARG_LIBRARIES} Threads::Threads)
endfunction()

# quorvane_unit_test(NAME capture SOURCES a_test.cpp ... USES capture ... LIBRARIES ...): one test program a folder.
function(quorvane_unit_test)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;USES;LIBRARIES" ${ARGN})
  add_executable(unit_${ARG_NAME} ${ARG_SOURCES})
  list(TRANSFORM ARG_USES PREPEND quorvane_)
  target_include_directories(unit_${ARG_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  # What is tested is optimised, the tests themselves need not be: most of a build's time is theirs.
  target_compile_options(unit_${ARG_NAME} PRIVATE -O0)
  target_link_libraries(unit_${ARG_NAME}
    PRIVATE quorvane_options ${ARG_USES} ${ARG_LIBRARIES} GTest::gmock_main Threads::Threads)
  add_test(NAME unit_${ARG_NAME} COMMAND unit_${ARG_NAME})
  set(suppressions suppressions=${PROJECT_SOURCE_DIR}/tests)
  set_tests_properties(unit_${ARG_NAME} PROPERTIES ENVIRONMENT
    "LSAN_OPTIONS=${suppressions}/leak_suppressions.txt;TSAN_OPTIONS=${suppressions}/race_suppressions.txt")
endfunction()
