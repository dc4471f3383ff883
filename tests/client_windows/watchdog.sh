# Sourced by run_all: the watchdog of a connect that waits for its confirmation. The test is its
# client: a pipe leads to its standard input, another one from its standard output.
# shellcheck shell=bash disable=SC2154

watch_client=
undone='undone the connection to "fra 1" has been undone'
undone_unknown="$undone; the service did not know that tunnel (it had been restarted, or had refused"
undone_unknown+=' a connect over it), so host routes that were pinned for it may stay until Windows'
undone_unknown+=' restarts: route print -4'

# start_watch SECONDS NODE: starts a watchdog whose client is a process of its own.
start_watch() {
  rm -f "$work/say" "$work/told"
  mkfifo "$work/say"
  { "$wine64_binary" veltranectl.exe watchdog "--seconds=$1" "--node-id=$2" <"$work/say" 2>&1
    echo "exit $?"; } | cat >"$work/told" &
  # It holds the pipe open, and passes on what the test says.
  tail -f "$work/words" >"$work/say" 2>/dev/null &
  watch_client=$!
  disown
  await "a watchdog's first word" grep -q . "$work/told"
}

# The same, and the client is about to send.
start_sending() {
  start_watch "$@"
  say_to_watchdog sending
  await "the watchdog to know of the sending" grep -q watching "$work/told"
}

say_to_watchdog() { echo "$1" >>"$work/words"; }

kill_watch_client() {
  kill -9 "$watch_client" 2>/dev/null
  watch_client=
}

watch_has_ended() { grep -q '^exit ' "$work/told"; }

# watch_ends NAME RUNS LINE...: the watchdog must have said these lines at its end, and the tunnel
# must run (true) or not (false).
watch_ends() {
  local name=$1 runs=$2 wrong
  shift 2
  await "$name: the end of the watchdog" watch_has_ended
  [ -z "$watch_client" ] || kill_watch_client
  : >"$work/words"
  wrong=$(diff <(printf '%s\n' "$@") <(tr -d '\r' <"$work/told"))
  [ "$(tunnel_runs)" = "$runs" ] || wrong+=$'\n'"tunnel_running is not $runs"
  verdict "$name" "$wrong"
}

tunnel_runs() { client status --json | sed -E 's/.*"tunnel_running":([a-z]+).*/\1/'; }

tunnel_is() { [ "$(tunnel_runs)" = "$1" ]; }

connect_to() {
  client connect profile.conf --node-id "$1" --json >"$work/out" 2>&1
  await "the tunnel to $1" tunnel_is true
}

disconnect() {
  client disconnect --json >"$work/out" 2>&1
  await "the end of the tunnel" tunnel_is false
}

# How the client can end, once it is about to send.
end_kill() { kill_watch_client; }
end_kill_after_reply() { say_to_watchdog answered && kill_watch_client; }
end_lost() { say_to_watchdog lost; }
end_deadline() { say_to_watchdog answered; }
end_session() { "$wine64_binary" pipe_actor.exe end-session >/dev/null 2>&1; }
end_window_closed() { "$wine64_binary" pipe_actor.exe close-window >/dev/null 2>&1; }

# What had happened to the connection by then; told and runs are what comes of it.
happen_connected() {
  connect_to "fra 1"
  told=$undone
  runs=false
}
happen_nothing() {
  told='undone there is no connection any more'
  runs=false
}
happen_other() {
  connect_to berlin
  told='undone that connection has gone; somebody has connected to "berlin" since, which was left'
  told+=' alone'
  runs=true
}
happen_restart() {
  connect_to "fra 1"
  stop_service
  start_service
  await_pipe
  told=$undone_unknown
  runs=false
}

# Every end of the client with everything that can have happened.
table_of_ends() {
  local end happening told runs
  for happening in connected nothing other restart; do
    for end in kill kill_after_reply lost deadline session window_closed; do
      "happen_$happening"
      start_sending 1 "fra 1"
      "end_$end"
      watch_ends "$end x $happening" "$runs" armed watching "$told" 'exit 8'
    done
    disconnect
  done
}

# Every end before anything is sent leaves a connection to the same node alone.
early_ends() {
  local end
  connect_to "fra 1"
  for end in kill lost session window_closed; do
    start_watch 60 "fra 1"
    "end_$end"
    watch_ends "$end before anything is sent" true armed 'exit 0'
  done
}

# Wine does not show the reason, but it notes that it has been asked to.
session_waits() {
  connect_to "fra 1"
  WINEDEBUG=-all,fixme+graphics start_sending 60 "fra 1"
  end_session
  await "the end of the watchdog" watch_has_ended
  sed -nE 's/^.*(ShutdownBlockReason[A-Z][a-z]+) \([0-9A-Fa-f]+(, L".*")?\): stub.*$/\1\2/p' \
    "$work/told" >"$work/reasons"
  sed -i '/fixme:graphics/d' "$work/told"
  watch_ends "a session that is to wait" false armed watching "$undone" 'exit 8'
  verdict "the reason why it is to wait" "$(diff "$work/reasons" - <<'REASONS'
ShutdownBlockReasonCreate, L"VeltraneVpn: the connection is being undone"
ShutdownBlockReasonDestroy
REASONS
)"
}

watchdog_tests() {
  : >"$work/words"
  table_of_ends
  early_ends
  session_waits

  connect_to "fra 1"
  start_sending 60 "fra 1"
  say_to_watchdog refused
  watch_ends "a refusal" true armed watching 'exit 0'

  start_sending 60 "fra 1"
  say_to_watchdog answered
  say_to_watchdog confirmed
  watch_ends "a confirmation" true armed watching confirmed 'exit 0'

  screen confirm_nobody 4 confirm
  report confirm_nobody client-error 4 confirm --json
  start_sending 60 "fra 1"
  screen confirm_early 4 confirm
  say_to_watchdog answered
  start_actor hold release '\\.\pipe\VeltraneVpnConfirm'
  release_pipe_later
  screen confirm 0 confirm
  await_release
  watch_ends "a confirmation from another session" true armed watching confirmed 'exit 0'

  start_sending 2 "fra 1"
  start_actor hold release '\\.\pipe\VeltraneVpnConfirm'
  say_to_watchdog answered
  watch_ends "a program that says nothing" false armed watching "$undone" 'exit 8'
  release_pipe

  connect_to "fra 1"
  start_sending 60 "fra 1"
  mkfifo "$work/second_says"
  exec 6<>"$work/second_says"
  "$wine64_binary" veltranectl.exe watchdog --seconds=60 --node-id=second <&6 2>&1 |
    cat >"$work/second"
  exec 6>&-
  verdict "a second watchdog" "$(diff <(echo another) <(tr -d '\r' <"$work/second"))"
  # The pipe is busy when the client ends, and for longer than one try.
  start_actor hold release
  kill_watch_client
  sleep 3
  screen confirm_late 8 confirm
  report confirm_late client-error 8 confirm --json
  release_pipe
  watch_ends "a busy pipe" false armed watching "$undone" 'exit 8'

  connect_to "fra 1"
  start_sending 60 "fra 1"
  stop_service
  kill_watch_client
  sleep 3
  start_service
  await_pipe
  watch_ends "a service that was stopped in the middle" false armed watching "$undone_unknown" 'exit 8'
}
