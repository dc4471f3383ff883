# Sourced by ./test: how the results of the suites are counted. Every suite writes one line
# "NAME PASSED FAILED SKIPPED NOTE" to $logs/results.
# shellcheck shell=bash disable=SC2154  # root and build come from common.sh

logs=$build/test
# No suite waits forever: a hang is a failure.
patience=(timeout --foreground --kill-after=10 2400)

# record NAME PASSED FAILED SKIPPED NOTE: stores and prints the result of a suite.
record() {
  printf '%s\n' "$*" >>"$logs/results"
  printf '%-12s %d passed, %d failed, %d skipped  %s\n' "$1" "$2" "$3" "$4" "$5"
}

# show_failure LOG: prints the failures in the log of a suite.
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

# count_gtests LOG STATUS: adds the results of a GoogleTest run to the caller's counts. A run that
# fails without naming a test counts as one failure, and so does a run without tests.
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

# summary_suite NAME COMMAND...: a suite whose last line is "N passed, N failed[, N skipped]".
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

# counting_suite NAME GOOD BAD COMMAND...: a suite whose last line is "NAME: N GOOD, N BAD", such as
# "faults: 3291 runs, 0 surprises".
counting_suite() {
  local name=$1 good=$2 bad=$3 log=$logs/$1.log status=0 line count wrong
  shift 3
  "${patience[@]}" "$@" >"$log" 2>&1 || status=$?
  line=$(tail -1 "$log")
  count=$(sed -nE "s/^$name: ([0-9]+) $good, [0-9]+ $bad\$/\1/p" <<<"$line")
  wrong=$(sed -nE "s/^$name: [0-9]+ $good, ([0-9]+) $bad\$/\1/p" <<<"$line")
  if { [ "$status" -ne 0 ] || [ -z "$count" ]; } && [ "${wrong:-0}" -eq 0 ]; then wrong=1; fi
  count=$((${count:-0} - ${wrong:-0}))
  record "$name" "$((count > 0 ? count : 0))" "${wrong:-0}" 0 "$line"
  [ "${wrong:-0}" -eq 0 ] || head -150 "$log"
}
