# The product, and what tries it under Windows or Wine.
add_executable(VeltraneVpnService service/main.cpp)
target_link_libraries(VeltraneVpnService PRIVATE rooms)
target_link_options(VeltraneVpnService PRIVATE -municode)

add_subdirectory(lab)
add_subdirectory(examples)
add_subdirectory(tests/windows)
add_subdirectory(tests/client_windows)
