# The logic over a simulated machine, and its tests: one executable for each folder below tests/.
find_package(GTest REQUIRED)
enable_testing()

file(GLOB simulated_sources CONFIGURE_DEPENDS tests/simulated/*.cpp)
list(FILTER simulated_sources EXCLUDE REGEX "_test\\.cpp$")
add_library(simulated STATIC ${simulated_sources})
target_link_libraries(simulated PUBLIC rooms)

# Adds the test executable <folder>_tests from tests/<folder>/*.cpp.
function(add_host_tests folder)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tests/${folder}/*_test.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${folder}_tests ${sources})
  target_link_libraries(${folder}_tests PRIVATE
    -Wl,--start-group rooms simulated -Wl,--end-group GTest::gmock GTest::gtest_main)
  target_precompile_headers(${folder}_tests PRIVATE
    <gmock/gmock.h> <gtest/gtest.h> <map> <optional> <string> <thread> <vector>)
  add_test(NAME ${folder} COMMAND ${folder}_tests)
endfunction()

foreach(folder simulated service ipc tunnel bypass bypass_local_addresses guard platform scenarios)
  add_host_tests(${folder})
endforeach()

if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/client/CMakeLists.txt)
  add_subdirectory(client)
  add_host_tests(client)
  if(TARGET client_tests)
    target_link_libraries(client_tests PRIVATE
      -Wl,--start-group client rooms simulated -Wl,--end-group client_headers)
  endif()
endif()
