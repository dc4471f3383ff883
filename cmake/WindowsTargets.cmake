# The service executable, and the programs that test it on Windows or under Wine.
add_executable(VeltraneVpnService service/main.cpp)
target_link_libraries(VeltraneVpnService PRIVATE rooms)
target_link_options(VeltraneVpnService PRIVATE -municode)

add_subdirectory(lab)
add_subdirectory(examples)
add_subdirectory(tests/windows)
add_subdirectory(tests/client_windows)
