# The platform library for the host: a simulated Windows machine in memory.
file(GLOB simulated_sources CONFIGURE_DEPENDS tests/simulated/*.cpp)
list(FILTER simulated_sources EXCLUDE REGEX "_test\\.cpp$")
add_library(platform STATIC ${simulated_sources})
target_link_libraries(platform PUBLIC options Threads::Threads)
