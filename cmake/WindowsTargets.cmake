# The service executable, and the programs that test it on Windows or under Wine.
add_executable(VeltraneVpnService service/main.cpp)
target_link_libraries(VeltraneVpnService PRIVATE rooms)
target_link_options(VeltraneVpnService PRIVATE -municode)
describe_executable(VeltraneVpnService "Veltrane VPN service")

include(GoogleTest)
add_subdirectory(lab)
add_subdirectory(examples)
add_subdirectory(tests/windows)
add_subdirectory(tests/client_windows)

# The contract of platform/*.h, over Windows; cmake/HostTests.cmake has it over the simulated machine.
file(GLOB contract_sources CONFIGURE_DEPENDS
  tests/contract/*_test.cpp tests/contract/stage_windows*.cpp)
add_executable(contract_tests ${contract_sources})
target_link_libraries(contract_tests PRIVATE platform gmock)
target_compile_definitions(contract_tests PRIVATE NTDDI_VERSION=0x0A000006)  # pseudo consoles
# When it optimises, GCC 12 sees bounds broken where a short wide literal becomes a text.
target_compile_options(contract_tests PRIVATE -O0)
target_precompile_headers(contract_tests PRIVATE
  <gmock/gmock.h> <gtest/gtest.h> <optional> <string> <vector>)

# What platform/windows/ makes of answers that the real system gives at no other time.
file(GLOB platform_windows_sources CONFIGURE_DEPENDS tests/platform_windows/*.cpp)
add_executable(platform_windows_tests ${platform_windows_sources})
target_link_libraries(platform_windows_tests PRIVATE rooms gmock_main)
