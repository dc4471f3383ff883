# Sourced by ./test: the suites. Each has a name, a description, the Debian packages that it needs,
# and a function that runs it.
# shellcheck shell=bash disable=SC2034,SC2154  # ./test reads the tables; common.sh sets the paths

host_suites=()
windows_suites=()
long_suites=()
declare -A suite_about suite_packages

# host_suite NAME DESCRIPTION PACKAGE... and windows_suite add a suite to one of the two lists, which
# run in parallel. Each list runs in its own order.
host_suite() {
  host_suites+=("$1")
  describe "$@"
}
windows_suite() {
  windows_suites+=("$1")
  describe "$@"
}
# long_suite adds one that takes minutes, and therefore runs only when it is named, behind the others.
long_suite() {
  long_suites+=("$1")
  describe "$@"
}
describe() {
  suite_about[$1]=$2
  suite_packages[$1]=${*:3}
}

# "./test quick": the suites that need neither Wine nor root. clang-tidy takes longer than all of these.
quick_suites=(rules format shell docs host faults)

host_packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libcli11-dev nlohmann-json3-dev)
# The test executables that note replies for the suite docs, and those that use threads.
noting_tests=(scenarios_tests ipc_tests client_tests)
threaded_tests=(contract_tests simulated_tests service_tests ipc_tests scenarios_tests
  bypass_local_addresses_tests internal_calls_tests)

host_suite rules "the include rules of the folders (scripts/check_rooms)" git
suite_rules() { check rules scripts/check_rooms; }

host_suite format "the format of the C++ sources (clang-format)" git clang-format
suite_format() {
  check format bash -o pipefail -c "git ls-files -co --exclude-standard -- '*.h' '*.cpp' |
    xargs clang-format --dry-run -Werror"
}

host_suite shell "the shell scripts (shellcheck)" git shellcheck
suite_shell() {
  check shell bash -c "git ls-files -co --exclude-standard |
    xargs grep -lIE '^#!.*\b(bash|sh)$' | xargs shellcheck -x"
}

host_suite docs "documents, JSON schemas, replies and words of the service agree" \
  "${host_packages[@]}" python3-jsonschema
suite_docs() {
  build_preset host "${noting_tests[@]}"
  summary_suite docs tests/docs/run_all "${noting_tests[@]/#/build/host/}"
}

host_suite host "the logic over the simulated machine" "${host_packages[@]}"
suite_host() { build_preset host && gtests host build/host/*_tests; }

host_suite faults "every boundary call of every story failed once, over the simulated machine" \
  "${host_packages[@]}"
suite_faults() { build_preset host faults && counting_suite faults runs surprises build/host/faults; }

host_suite simulation "days on the simulated machine, from a fixed set of seeds" "${host_packages[@]}"
suite_simulation() {
  build_preset host simulate
  counting_suite simulation steps "broken invariants" tests/simulation/run_all build/host
}

host_suite tidy "the C++ sources (clang-tidy)" git "${host_packages[@]}" clang-tidy
suite_tidy() { build_preset host rooms && check tidy scripts/tidy; }

host_suite asan "the host tests with AddressSanitizer and UndefinedBehaviorSanitizer" \
  "${host_packages[@]}" clang libclang-rt-14-dev
suite_asan() { build_preset host-asan && gtests asan build/host-asan/*_tests; }

host_suite tsan "the host tests that use threads, with ThreadSanitizer" "${host_packages[@]}"
suite_tsan() {
  build_preset host-tsan "${threaded_tests[@]}"
  TSAN_OPTIONS="suppressions=$root/tests/tsan.supp" \
    gtests tsan "${threaded_tests[@]/#/build/host-tsan/}"
}

host_suite fuzz "what reads foreign text: its corpora, then some seconds of libFuzzer per target" \
  cmake ninja-build g++ clang libclang-rt-14-dev libcli11-dev nlohmann-json3-dev
suite_fuzz() { build_preset host-fuzz && summary_suite fuzz tests/fuzz/run_all; }

windows_suite imports "the finished executables: imports, hardening, version, manifest" \
  "${windows_packages[@]}" python3-pefile
suite_imports() {
  build_preset windows && summary_suite imports tests/executables/run_all build/windows
}

windows_suite contract "platform/windows/ keeps the contracts of platform/, under Wine" \
  "${windows_packages[@]}" "${wine_packages[@]}" jq
suite_contract() {
  build_preset windows contract_tests platform_windows_tests &&
    summary_suite contract tests/contract/run_all build/windows
}

windows_suite windows "the real executable under Wine" "${windows_packages[@]}" "${wine_packages[@]}" jq
suite_windows() {
  build_preset windows && summary_suite windows tests/windows/run_all build/windows
}

windows_suite client "veltranectl under Wine (root only)" \
  "${windows_packages[@]}" "${wine_packages[@]}" iproute2 python3-jsonschema
suite_client() {
  build_preset windows && summary_suite client tests/client_windows/run_all build/windows
}

windows_suite package "./package: what it makes and refuses, the same bytes again, the installer under Wine" \
  "${windows_packages[@]}" "${wine_packages[@]}" "${package_packages[@]}" python3-jsonschema openssl softhsm2
suite_package() {
  build_preset windows product plain_tunnel && summary_suite package tests/package/run_all
}

windows_suite plain-run "./run --plain" "${windows_packages[@]}" "${wine_packages[@]}" jq procps
suite_plain-run() { check plain-run ./run --plain; }

windows_suite lab "real packets around the real executable, in network namespaces (root only)" \
  "${windows_packages[@]}" "${wine_packages[@]}" "${lab_packages[@]}"
suite_lab() { build_preset windows && summary_suite lab tests/lab/run_all all; }

long_suite soak "300 connects in the lab, and what the service holds afterwards (root only)" \
  "${windows_packages[@]}" "${wine_packages[@]}" "${lab_packages[@]}"
suite_soak() {
  local patience=(timeout --foreground --kill-after=10 5400)
  build_preset windows
  # Its progress is shown while it runs.
  summary_suite soak bash -o pipefail -c \
    'tests/lab/run_all soak | tee >(grep --line-buffered "^soak:" >&3)' 3>&1
}
