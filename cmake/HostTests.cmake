# The tests on the simulated machine: one executable for each folder of tests.
find_package(GTest REQUIRED)
enable_testing()

# Adds the test executable <folder>_tests from the *_test.cpp in and below tests/<folder>.
function(add_host_tests folder)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_SOURCE_DIR}/tests/${folder}/*_test.cpp)
  add_executable(${folder}_tests ${sources})
  target_link_libraries(${folder}_tests PRIVATE ${ARGN} rooms GTest::gmock GTest::gtest_main)
  target_precompile_headers(${folder}_tests PRIVATE
    <gmock/gmock.h> <gtest/gtest.h> <map> <optional> <string> <thread> <vector>)
  add_test(NAME ${folder} COMMAND ${folder}_tests)
endfunction()

foreach(folder contract simulated service ipc bypass bypass_local_addresses guard tunnel text scenarios
    internal_calls)
  add_host_tests(${folder})
endforeach()
add_host_tests(setup setup)
add_host_tests(client client)
target_sources(client_tests PRIVATE
  tests/client/forecast/describe_situation.cpp
  tests/client/forecast/naive_bits.cpp
  tests/client/forecast/naive_forecast.cpp
  tests/client/forecast/naive_inventor.cpp
  tests/client/forecast/naive_machine.cpp
  tests/client/forecast/random_situation.cpp
  tests/client/forecast/withheld_pieces.cpp)
target_sources(ipc_tests PRIVATE tests/support/allocation_hook.cpp)

# Replaces every operator new of the executable, as the sanitizers do.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_host_tests(allocations)
  target_sources(allocations_tests PRIVATE tests/allocations/live_memory.cpp)
endif()

# The calls between files of the program that a test watches, by the names that the linker has for
# them: MarkStopRequested, InstallService, UninstallService, WriteActiveConf, TunnelManager::Start.
target_sources(internal_calls_tests PRIVATE tests/internal_calls/watched_calls.cpp)
target_link_options(internal_calls_tests PRIVATE
  -Wl,--wrap=_ZN8veltrane17MarkStopRequestedEv
  -Wl,--wrap=_ZN8veltrane14InstallServiceERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEEPS5_
  -Wl,--wrap=_ZN8veltrane16UninstallServiceEPNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE
  -Wl,--wrap=_ZN8veltrane15WriteActiveConfERKNS_17ConnectionProfileEPNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
  -Wl,--wrap=_ZN8veltrane13TunnelManager5StartERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEEPNS2_IcS3_IcESaIcEEE)

# The contract of platform/*.h, over the simulated machine; cmake/WindowsTargets.cmake has it over
# Windows.
target_sources(contract_tests PRIVATE
  tests/contract/stage_simulated.cpp tests/contract/stage_simulated_network.cpp)

include(Simulation)

# The runs in which every boundary call fails once, and the tests of what judges them.
file(GLOB fault_sources CONFIGURE_DEPENDS tests/faults/*.cpp)
list(FILTER fault_sources EXCLUDE REGEX "_test\\.cpp$|/main\\.cpp$")
add_library(fault_runs STATIC ${fault_sources})
target_link_libraries(fault_runs PUBLIC rooms)
target_compile_options(fault_runs PRIVATE -O1)  # thousands of replies are read
add_executable(faults tests/faults/main.cpp)
target_link_libraries(faults PRIVATE fault_runs)
add_host_tests(faults fault_runs)
