# Sourced by the scripts of tests/fuzz/, in the root folder: the targets, and how one is run.
# shellcheck shell=bash

fuzz_targets=()
for source in tests/fuzz/targets/*.cpp; do fuzz_targets+=("$(basename "$source" .cpp)"); done

is_fuzz_target() { [ -e "tests/fuzz/targets/$1.cpp" ]; }

# fuzz_target TARGET SECONDS KEPT OPTION...: runs the target's corpus and then, unless SECONDS is 0,
# mutations of it and of the inputs in the folder KEPT, which gets those that reach new code. Fails
# when an input breaks a property, hangs, or is caught by a sanitizer.
fuzz_target() {
  local target=$1 seconds=$2 kept=$3
  shift 3
  mkdir -p build/fuzz/found "$kept"
  local limit="-max_total_time=$seconds"
  [ "$seconds" -gt 0 ] || limit=-runs=0
  # What the stack of an allocation looked like is of use only once something has been found.
  ASAN_OPTIONS=malloc_context_size=4 "build/host-fuzz/fuzz_$target" "$limit" -timeout=25 \
    -dict=tests/fuzz/words.dict -artifact_prefix="build/fuzz/found/$target-" "$@" "$kept" \
    "tests/fuzz/corpus/$target"
}
