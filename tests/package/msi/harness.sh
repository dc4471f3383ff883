# Sourced by run_all: runs msiexec, and reads the machine that it has changed.
# shellcheck shell=bash disable=SC2154

passed=0
failed=0
log=$work/log.txt
service_key='HKLM\SYSTEM\CurrentControlSet\Services\VeltraneVpnTunnel'
drive=
msi_exit=

# begin_machine FOLDER: makes a Wine prefix in which services run.
begin_machine() {
  use_wine "$1"
  drive=$WINEPREFIX/drive_c
  # Without any process of a user, Wine ends its services after some seconds.
  rm -f "$1/keeper"
  mkfifo "$1/keeper"
  "$wine64_binary" cmd <"$1/keeper" >/dev/null 2>&1 &
  exec 9>"$1/keeper"
}

end_machine() {
  exec 9>&-
  stop_wine
}

# msi ARGUMENT...: runs msiexec silently, or with the windows that msi_windows says. Its exit code is in
# msi_exit; Wine passes on the low 8 bits.
msi() {
  msi_exit=0
  rm -f "$log"
  "$wine64_binary" msiexec "$@" "${msi_windows:-/qn}" /l*v "Z:${log//\//\\}" </dev/null >"$work/msiexec.out" 2>&1 ||
    msi_exit=$?
}

# What the actions have said in the log.
said() { sed -n 's/\r$//; s/^Veltrane VPN: //p' "$log"; }

tool() { "$wine64_binary" "$@" </dev/null 2>/dev/null | tr -d '\r'; }

service_value() { tool reg query "$service_key" /v "$1" | sed -nE "s/^ +$1 +REG_[A-Z_]+ +//p"; }

service_state() {
  local state
  state=$(tool sc query "$1" | sed -nE 's/^ *STATE *: *[0-9]+ +([A-Z_]+).*/\1/p')
  printf '%s' "${state:-none}"
}

# The installed versions, as "Apps" of Windows shows them.
products() {
  tool reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall' /s |
    awk '/DisplayName +REG_SZ +Veltrane VPN$/ {ours = 1} /DisplayVersion/ && ours {print $3; ours = 0}' | xargs
}

# The installed files: "all", "none", or how they differ from those of the stage.
files() {
  local folder="$drive/Program Files/Veltrane VPN" path missing=0 changed="" added=""
  while read -r path; do
    if [ ! -e "$folder/$path" ]; then
      missing=$((missing + 1))
    elif ! cmp -s "$stage/$path" "$folder/$path"; then
      changed+=" changed:$path"
    fi
  done < <(cd "$stage" && find . -type f)
  while read -r path; do
    [ -e "$stage/$path" ] || added+=" added:$path"
  done < <(cd "$folder" 2>/dev/null && find . -type f)
  case $missing in
    0) say "all$changed$added" ;;
    "$(find "$stage" -type f | wc -l)") say "none$added" ;;
    *) say "$missing missing$changed$added" ;;
  esac
}

# What is below the folders in which the configuration file can be: Wine has one ProgramData for
# programs, so that the installation makes the folder there, and another for services.
configuration() {
  local found
  found=$(cd "$drive" && find ProgramData users/Public -ipath '*/Veltrane*' -printf '%p %s\n' 2>/dev/null |
    sed -E 's/ [0-9]+$/&/; /tunnels? [0-9]+$|Veltrane [0-9]+$/s/ [0-9]+$//' | sort)
  say "${found:-none}"
}

# The machine, as what the tests compare.
machine() {
  printf 'product:  %s\n' "$(products | grep . || say none)"
  printf 'folder:   %s\n' "$(tool reg query 'HKLM\SOFTWARE\Veltrane' /s |
    sed -nE 's/^ +InstallFolder +REG_SZ +//p' | grep . || say none)"
  printf 'files:    %s\n' "$(files)"
  printf 'command:  %s\n' "$(service_value ImagePath | grep . || say none)"
  printf 'start:    %s\n' "$(service_value Start | grep . || say none)"
  printf 'settings: %s\n' "$(service_value Environment | grep . || say none)"
  printf 'services: %s, tunnel %s\n' "$(service_state VeltraneVpnTunnel)" \
    "$(service_state 'VeltraneVpnTunnel$Active')"
  printf 'config:   %s\n' "$(configuration)"
}

# verdict NAME READ WRONG: a row of the table; the test has passed when nothing is wrong.
verdict() {
  if [ -z "$3" ]; then
    passed=$((passed + 1))
    printf '%-70s| %-42s| passed\n' "$1" "$2"
  else
    failed=$((failed + 1))
    printf '%-70s| %-42s| FAILED\n%s\n' "$1" "$2" "$3"
  fi
}

# differs EXPECTED FOUND: prints how, or nothing.
differs() { diff <(printf '%s\n' "$1") <(printf '%s\n' "$2") | sed 's/^/    /' || true; }

# expect NAME EXIT SAID: what msiexec has answered and said, and the machine, which is on standard
# input.
expect() {
  local wrong
  wrong=$(differs "exit code $2" "exit code $msi_exit")
  wrong+=$(differs "$3" "$(said)")
  wrong+=$(differs "$(cat)" "$(machine)")
  verdict "$1" "exit code, log, registry, services, files" "$wrong"
}

# The machine before the product came.
expect_nothing() {
  expect "$1" "$2" "$3" <<'END'
product:  none
folder:   none
files:    none
command:  none
start:    none
settings: none
services: none, tunnel none
config:   none
END
}

# in_program COMMAND...: runs a program of the installation folder.
in_program() { (cd "$drive/Program Files/Veltrane VPN" && tool "$@"); }

connect() {
  in_program veltranectl.exe connect "Z:${profile//\//\\}" >"$work/connect.out" ||
    printf 'connect failed: %s\n' "$(cat "$work/connect.out")"
}
