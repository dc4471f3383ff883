# The platform library for the host: a simulated Windows machine in memory.
file(GLOB simulated_sources CONFIGURE_DEPENDS tests/simulated/*.cpp)
list(FILTER simulated_sources EXCLUDE REGEX "_test\\.cpp$")
add_library(platform STATIC ${simulated_sources})
target_link_libraries(platform PUBLIC options Threads::Threads)
# The start of a std::thread and the lock of a std::mutex go through tests/simulated/threads.cpp, which
# -u links even where nothing else of it is used.
target_link_options(platform PUBLIC -Wl,-u,__wrap_pthread_mutex_lock -Wl,--wrap=pthread_mutex_lock
  -Wl,--wrap=_ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE)
