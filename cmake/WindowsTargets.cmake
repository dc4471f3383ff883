# The product, and what tries it under Windows or Wine.
target_compile_definitions(options INTERFACE
  _WIN32_WINNT=0x0A00 UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)
target_compile_options(options INTERFACE -ffunction-sections -fdata-sections)

file(GLOB platform_sources CONFIGURE_DEPENDS platform/windows/*.cpp)
add_library(windows_platform STATIC ${platform_sources})
target_include_directories(windows_platform PUBLIC ${CMAKE_SOURCE_DIR})
target_link_libraries(windows_platform PUBLIC options advapi32 iphlpapi wtsapi32 ws2_32 user32)

add_executable(VeltraneVpnService service/main.cpp)
target_link_libraries(VeltraneVpnService PRIVATE rooms windows_platform)
target_link_options(VeltraneVpnService PRIVATE
  -municode -mconsole -static -Wl,--gc-sections -s)

if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/client/CMakeLists.txt)
  add_subdirectory(client)
endif()
if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/lab/CMakeLists.txt)
  add_subdirectory(lab)
endif()
if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/tests/windows/CMakeLists.txt)
  add_subdirectory(tests/windows)
endif()
if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/examples/CMakeLists.txt)
  add_subdirectory(examples)
endif()
if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/tests/client_windows/CMakeLists.txt)
  add_subdirectory(tests/client_windows)
endif()
