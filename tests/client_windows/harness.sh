# Sourced by run_all.
# shellcheck shell=bash disable=SC2154

passed=0
failed=0
section=
console_pid=
actor_pid=
keeper_pid=

begin() {
  section=$1
  printf '== %s\n' "$section"
}

# verdict NAME TEXT: passes when the text of what is wrong is empty.
verdict() {
  if [ -z "$2" ]; then
    passed=$((passed + 1))
    printf '  ok      %s\n' "$1"
  else
    failed=$((failed + 1))
    printf '  FAILED  %s\n%s\n' "$1" "$2" | sed '2,$s/^/          /'
  fi
}

# Replaces what differs between machines, runs and versions.
normalise() {
  sed -E -e "s/^veltranectl ${version//./\\.}\$/veltranectl VERSION/" \
    -e 's/Z:\\[^"]*\\program\\/PROGRAM\\/g' -e 's/Z:\\[^" ]*\\program( |")/PROGRAM\1/g' \
    -e 's/process [0-9]+/process N/g' \
    -e 's/(@if|interface )[0-9]+/\1N/g' \
    -e 's/[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z/TIME/g'
}

# The client, started by the words of `through` when there are some.
through=()
client() { "$wine64_binary" "${through[@]}" veltranectl.exe "$@" <"${input:-/dev/null}"; }

# compare NAME FILE: what differs from the recorded screen.
compare() {
  local expected=$here/screens/$1
  if [ -n "${RECORD:-}" ]; then
    mkdir -p "$here/screens"
    if [ -s "$2" ]; then cp "$2" "$expected"; else rm -f "$expected"; fi
  elif [ -e "$expected" ]; then
    diff -u "$expected" "$2"
  else
    cat "$2"
  fi
}

# screen NAME EXIT_CODE ARGUMENT...: runs the client; both its streams must be as recorded. A stream
# without a recording must be empty.
screen() {
  local name=$1 expected=$2 status=0 wrong=
  shift 2
  client "$@" >"$work/out" 2>"$work/err" || status=$?
  normalise <"$work/out" >"$work/out.normal"
  normalise <"$work/err" >"$work/err.normal"
  [ "$status" -eq "$expected" ] || wrong="exit code $status, not $expected"$'\n'
  wrong+=$(compare "$name.out" "$work/out.normal")
  wrong+=$(compare "$name.err" "$work/err.normal")
  wrong+=$(private_keys_in "$work/out" "$work/err")
  verdict "$name: veltranectl $*" "$wrong"
}

# other_doctor NAME EXIT_CODE ARGUMENT...: runs veltranectl doctor and keeps its screen for
# compare_doctors.
other_doctor() {
  local name=$1 expected=$2 status=0 wrong=
  shift 2
  mkdir -p "$work/doctors"
  client doctor "$@" >"$work/out" 2>"$work/err" || status=$?
  normalise <"$work/out" >"$work/doctors/$name"
  [ "$status" -eq "$expected" ] || wrong="exit code $status, not $expected"$'\n'
  wrong+=$(cat "$work/err")
  verdict "$name: veltranectl doctor $*" "$wrong"
}

# Compares the screens that other_doctor has kept. What is recorded of each is its difference to the
# screen service_doctor.
compare_doctors() {
  local doctor
  for doctor in "$work"/doctors/*; do
    diff "$here/screens/service_doctor.out" "$doctor" | grep '^[<>]' >"$work/difference"
    verdict "$(basename "$doctor"): its screen" "$(compare "$(basename "$doctor").diff" "$work/difference")"
  done
}

private_keys_in() {
  local key
  while read -r key; do
    grep -hF "${key:0:12}" "$@" | sed 's/^/a key: /'
  done < <(sed -nE 's/^(PrivateKey|PresharedKey) = //p' profile.conf)
}

# report NAME SCHEMA EXIT_CODE ARGUMENT...: keeps what --json prints for the schema check.
report() {
  local name=$1 schema=$2 expected=$3 status=0 wrong=
  shift 3
  client "$@" >"$replies/$name.$schema.json" 2>"$work/err" || status=$?
  [ "$status" -eq "$expected" ] || wrong="exit code $status, not $expected"
  [ -s "$replies/$name.$schema.json" ] || wrong+=" no reply"
  verdict "$name: veltranectl $*" "$wrong"
}

# raw_request NAME REQUEST [SCHEMA]: sends what veltranectl would refuse to send; keeps the reply.
raw_request() {
  local schema=${3:-reply-error} wrong=
  "$wine64_binary" pipe_client.exe <<<"$2" >"$replies/$1.$schema.json" ||
    wrong=$(cat "$replies/$1.$schema.json")
  verdict "$1: $2" "$wrong"
}

# terminal NAME ARGUMENT...: runs the client on a pseudo terminal, where it must use colours, but not
# with NO_COLOR.
terminal() {
  local name=$1 wrong=
  shift
  script -qc "$wine64_binary veltranectl.exe $*" /dev/null </dev/null >"$work/out" 2>&1
  grep -q $'\x1b\\[1mdisconnected\x1b\\[0m' "$work/out" || wrong="no colour on a terminal"
  NO_COLOR=1 script -qc "$wine64_binary veltranectl.exe $*" /dev/null </dev/null >"$work/out" 2>&1
  grep -q $'\x1b\\[[0-9;]*m' "$work/out" && wrong+=" colour despite NO_COLOR"
  grep -q 'disconnected' "$work/out" || wrong+=" no output without colour"
  verdict "$name: veltranectl $*" "$wrong"
}

example_client() {
  local status=0 wrong=
  "$wine64_binary" minimal_client.exe '{"op":"status"}' >"$replies/example.reply-status.json" \
    2>"$work/err" || status=$?
  [ "$status" -eq 0 ] || wrong="exit code $status: $(cat "$work/err")"
  verdict "examples/minimal_client" "$wrong"
}

# await WHAT COMMAND...: waits until the command succeeds, for half a minute at most.
await() {
  local what=$1 tries
  shift
  for ((tries = 0; tries < 300; ++tries)); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.1
  done
  verdict "$what" "did not happen"
  return 1
}

# Wine ends its services with the last other process, so one is kept running.
keep_windows_up() {
  mkfifo "$work/keeper"
  "$wine64_binary" cmd <"$work/keeper" >/dev/null 2>&1 &
  keeper_pid=$!
  exec 9>"$work/keeper"
}

end_process() {
  [ -n "$1" ] || return 0
  kill "$1" 2>/dev/null
  wait "$1" 2>/dev/null
}

end_processes() {
  end_process "$console_pid"
  end_process "$actor_pid"
  end_process "$keeper_pid"
}

pipe_answers() { client status --json --any-server; }

# start_console [VARIABLE=VALUE...]: the service in the foreground, with these variables.
start_console() {
  env "$@" "$wine64_binary" VeltraneVpnService.exe --console >"$work/console.log" 2>&1 &
  console_pid=$!
  await "the pipe in console mode" pipe_answers
}

stop_console() {
  end_process "$console_pid"
  console_pid=
}

# start_actor ARGUMENT...: see pipe_actor.cpp.
start_actor() {
  : >"$work/actor.log"  # that of an earlier one has the word already
  "$wine64_binary" pipe_actor.exe "$@" >"$work/actor.log" 2>/dev/null &
  actor_pid=$!
  await "pipe_actor $*" grep -q ready "$work/actor.log"
}

stop_actor() {
  end_process "$actor_pid"
  actor_pid=
}

# Frees the pipe that "pipe_actor hold release" keeps busy: now, or while the next command is waiting
# for it. If that command starts later, it finds a free pipe and passes too.
release_pipe() {
  : >release
  wait "$actor_pid"
  actor_pid=
  rm release
}

release_pipe_later() { (sleep 2 && : >release) & }

await_release() {
  await "the file that frees the pipe" test -e release
  release_pipe
}

# actor_heard NAME TEXT: the impostor must have been sent this and nothing else.
actor_heard() { verdict "$1: what it was sent" "$(diff <(echo "$2") <(tr -d '\r' <"$work/actor.log"))"; }

sc() { "$wine64_binary" sc "$@" 2>/dev/null | tr -d '\r'; }
service_is() { sc query VeltraneVpnTunnel | grep -q "STATE.*$1"; }

install_service() {
  "$wine64_binary" VeltraneVpnService.exe --install >/dev/null 2>&1
  service_is STOPPED || verdict "install" "the service is not there"
}

# On a busy machine Wine's control manager can give up on a process that starts slowly.
service_starts() {
  service_is RUNNING && return
  sc start VeltraneVpnTunnel >/dev/null
  service_is RUNNING
}

start_service() { await "the running service" service_starts; }

await_pipe() { await "the service's pipe" client status --json; }

stop_service() {
  sc stop VeltraneVpnTunnel >/dev/null
  await "the stopped service" service_is STOPPED
}

uninstall_service() { "$wine64_binary" VeltraneVpnService.exe --uninstall >/dev/null 2>&1; }

# Validates the files in $replies, which are named NAME.SCHEMA.json.
schemas() {
  local line finished=
  while read -r line; do
    case $line in
      FAILED*) verdict "${line#FAILED }" "see docs/schema" ;;
      *' passed, '*) passed=$((passed + ${line%% *})) finished=yes ;;
    esac
  done < <("$root/tests/docs/replies.py" "$replies"/*.json)
  [ -n "$finished" ] || verdict "tests/docs/replies.py" "did not finish"
}
