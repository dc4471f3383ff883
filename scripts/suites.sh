# Sourced by ./test: the suites, and how each one's outcome is counted. Every suite writes one line
# "NAME PASSED FAILED SKIPPED NOTE" to $logs/results.
# shellcheck shell=bash disable=SC2154  # root and build come from common.sh

logs=$build/test
# No suite waits for ever: a hang is a failure.
patience=(timeout --foreground --kill-after=10 1200)

# record NAME PASSED FAILED SKIPPED NOTE
record() {
  printf '%s\n' "$*" >>"$logs/results"
  printf '%-12s %d passed, %d failed, %d skipped  %s\n' "$1" "$2" "$3" "$4" "$5"
}

# show_failure LOG: what a suite that failed has to say.
show_failure() {
  say "---- $1"
  grep -aE 'FAILED|error:|Failure|Sanitizer' -A 12 "$1" | head -150 || tail -50 "$1"
  say "----"
}

# check NAME COMMAND...: a suite of one check.
check() {
  local name=$1 log=$logs/$1.log
  shift
  if "${patience[@]}" "$@" >"$log" 2>&1; then
    record "$name" 1 0 0 ""
  else
    record "$name" 0 1 0 "see build/test/$name.log"
    head -80 "$log"
  fi
}

# gtests NAME BINARY...: runs GoogleTest executables.
gtests() {
  local name=$1 log=$logs/$1.log binary status passed=0 failed=0 skipped=0
  shift
  for binary in "$@"; do
    status=0
    "${patience[@]}" "$binary" >"$log.part" 2>&1 || status=$?
    count_gtests "$log.part" "$status"
    cat "$log.part" >>"$log"
  done
  rm -f "$log.part"
  record "$name" "$passed" "$failed" "$skipped" \
    "$([ "$failed" -eq 0 ] || say "see build/test/$name.log")"
  [ "$failed" -eq 0 ] || show_failure "$log"
}

# count_gtests LOG STATUS: adds what a GoogleTest run printed to the caller's counts. A run that
# ended badly without naming a test counts as one failure, and so does one without a test.
count_gtests() {
  local p f s
  p=$(sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?.*/\1/p' "$1")
  f=$(sed -nE 's/^\[  FAILED  \] ([0-9]+) tests?, listed below:.*/\1/p' "$1")
  s=$(sed -nE 's/^\[  SKIPPED \] ([0-9]+) tests?, listed below:.*/\1/p' "$1")
  if { [ "$2" -ne 0 ] || [ "${p:-0}" -eq 0 ]; } && [ -z "$f" ]; then f=1; fi
  passed=$((passed + ${p:-0}))
  failed=$((failed + ${f:-0}))
  skipped=$((skipped + ${s:-0}))
}

# summary_suite NAME COMMAND...: a suite whose output says "N passed, N failed[, N skipped]" last.
summary_suite() {
  local name=$1 log=$logs/$1.log status=0 line passed failed skipped
  shift
  "${patience[@]}" "$@" >"$log" 2>&1 || status=$?
  line=$(grep -aE '[0-9]+ passed, [0-9]+ failed' "$log" | tail -1 || true)
  passed=$(sed -nE 's/^(.*[^0-9])?([0-9]+) passed.*/\2/p' <<<"$line")
  failed=$(sed -nE 's/.*[^0-9]([0-9]+) failed.*/\1/p' <<<"$line")
  skipped=$(sed -nE 's/.*[^0-9]([0-9]+) skipped.*/\1/p' <<<"$line")
  if { [ "$status" -ne 0 ] || [ -z "$line" ]; } && [ "${failed:-0}" -eq 0 ]; then failed=1; fi
  record "$name" "${passed:-0}" "${failed:-0}" "${skipped:-0}" \
    "$([ "${skipped:-0}" -eq 0 ] || grep -ai 'skip' "$log" | head -1)"
  [ "${failed:-0}" -eq 0 ] || show_failure "$log"
}

# The test folders in which threads are involved.
threaded_tests=(contract_tests simulated_tests service_tests ipc_tests scenarios_tests
  bypass_local_addresses_tests)

suite_rules() { check rules scripts/check_rooms; }
suite_format() {
  check format bash -c "git ls-files -co --exclude-standard -- '*.h' '*.cpp' |
    xargs clang-format --dry-run -Werror"
}
suite_shell() {
  check shell bash -c "git ls-files -co --exclude-standard |
    xargs grep -lIE '^#!.*\b(bash|sh)$' | xargs shellcheck -x"
}
suite_tidy() { build_preset host rooms && check tidy scripts/tidy; }
suite_host() { build_preset host && gtests host build/host/*_tests; }
suite_asan() { build_preset host-asan && gtests asan build/host-asan/*_tests; }
suite_tsan() {
  build_preset host-tsan "${threaded_tests[@]}"
  gtests tsan "${threaded_tests[@]/#/build/host-tsan/}"
}
suite_windows() {
  build_preset windows && summary_suite windows tests/windows/run_all build/windows
}
suite_contract() {
  build_preset windows contract_tests &&
    summary_suite contract tests/contract/run_all build/windows
}
suite_imports() {
  build_preset windows && check imports bash -c 'scripts/check_imports build/windows/*.exe'
}
suite_plain-run() { check plain-run ./run --plain; }
suite_client() {
  build_preset windows && summary_suite client tests/client_windows/run_all build/windows
}
suite_lab() { build_preset windows && summary_suite lab tests/lab/run_all; }
