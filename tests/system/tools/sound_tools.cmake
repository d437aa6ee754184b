# The tools that play known sound, for the system tests and for the sound adapter's own tests.
include_guard(GLOBAL)

pkg_check_modules(PIPEWIRE_TOOLS REQUIRED IMPORTED_TARGET libpipewire-0.3)

add_library(quorvane_test_sound STATIC ${CMAKE_CURRENT_LIST_DIR}/sound_player.cpp)
target_include_directories(quorvane_test_sound PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(quorvane_test_sound
  PUBLIC quorvane_options PRIVATE PkgConfig::PIPEWIRE_TOOLS Threads::Threads)

add_executable(sound_source ${CMAKE_CURRENT_LIST_DIR}/sound_source.cpp)
target_link_libraries(sound_source PRIVATE quorvane_test_sound)
