# The platform library for Windows.
target_compile_definitions(options INTERFACE
  _WIN32_WINNT=0x0A00 UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)
target_compile_options(options INTERFACE -ffunction-sections -fdata-sections)
target_link_options(options INTERFACE -static -Wl,--gc-sections -s)

include(WindowsHardening)

file(GLOB platform_sources CONFIGURE_DEPENDS platform/windows/*.cpp)
add_library(platform STATIC ${platform_sources})
target_link_libraries(platform PUBLIC options advapi32 iphlpapi wtsapi32 ws2_32 user32 msi)
