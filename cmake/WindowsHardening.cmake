# What makes a mistake of ours harder to exploit, and the finished files the same for everybody who
# builds them. scripts/check_executables looks for all of it in the finished files.

# Windows chooses the addresses at random, from the whole address space, and executes nothing but
# code. The linker of today would say so by itself, and that of tomorrow may not.
target_link_options(options INTERFACE -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)

# A function that overruns an array on its stack ends the process, and so does a call of the C library
# that overruns an object of known size. At the link the option adds libssp, which -static takes from
# its archive. There is no control-flow guard: GCC cannot make the tables that Windows would check.
target_compile_options(options INTERFACE -fstack-protector-strong)
target_compile_definitions(options INTERFACE _FORTIFY_SOURCE=2)
target_link_options(options INTERFACE -fstack-protector-strong)

# The same sources give the same bytes, whatever the folders are called and whenever they are built.
target_compile_options(options INTERFACE
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
target_link_options(options INTERFACE -Wl,--no-insert-timestamp)
