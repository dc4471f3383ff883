# The days on the machine (tests/simulation/). The rooms are a shared library of their own, whose
# variables can be set back when a process of the program ends.
if(CMAKE_CXX_FLAGS MATCHES "sanitize")
  return()  # the sanitizers have threads and stacks of their own
endif()

add_library(simulated_program SHARED ${room_sources})
target_link_libraries(simulated_program PRIVATE options Threads::Threads)
target_compile_options(simulated_program PRIVATE -O2)
target_link_options(simulated_program PRIVATE
  -Wl,-z,now -Wl,--wrap=abort -Wl,--wrap=pthread_mutex_lock -Wl,--wrap=pthread_mutex_unlock)

file(GLOB simulation_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/simulation/*.cpp)
list(FILTER simulation_sources EXCLUDE REGEX "(_test|/simulate)\\.cpp$")
# tests/simulation/threads.cpp has what tests/simulated/threads.cpp has elsewhere.
set(simulation_machine ${simulated_sources})
list(FILTER simulation_machine EXCLUDE REGEX "/threads\\.cpp$")
add_library(simulation OBJECT ${simulation_sources} ${simulation_machine})
target_link_libraries(simulation PUBLIC options simulated_program Threads::Threads)
target_compile_options(simulation PRIVATE -O2)

add_executable(simulate tests/simulation/simulate.cpp)
target_link_libraries(simulate PRIVATE simulation)

file(GLOB simulation_tests CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/simulation/*_test.cpp)
add_executable(simulation_tests ${simulation_tests})
target_link_libraries(simulation_tests PRIVATE simulation GTest::gmock GTest::gtest_main)
add_test(NAME simulation COMMAND simulation_tests)
