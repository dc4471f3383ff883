# The compile options of every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

add_library(options INTERFACE)
target_include_directories(options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  # GCC 12 warns about overlaps in string concatenation that do not exist (GCC bug 105329).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
