# The fuzzing targets: one executable fuzz_<name> for each tests/fuzz/targets/<name>.cpp, over the
# simulated machine. Only Clang has libFuzzer.
file(GLOB fuzz_sources CONFIGURE_DEPENDS tests/fuzz/*.cpp)
add_library(fuzz_support STATIC ${fuzz_sources})
target_link_libraries(fuzz_support PUBLIC client rooms)
# What the product does guides the search, and not what judges it.
target_compile_options(fuzz_support PRIVATE -fno-sanitize=fuzzer-no-link)

file(GLOB target_sources CONFIGURE_DEPENDS tests/fuzz/targets/*.cpp)
foreach(source ${target_sources})
  get_filename_component(name ${source} NAME_WE)
  add_executable(fuzz_${name} ${source})
  target_link_libraries(fuzz_${name} PRIVATE fuzz_support)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endforeach()
