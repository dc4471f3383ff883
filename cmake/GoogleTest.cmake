# GoogleTest for programs that run under Windows or Wine: the targets gmock and gtest.
set(gtest_force_shared_crt ON)
set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)  # the setting above is a plain variable
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
