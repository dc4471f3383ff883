# Sourced by run_all: with a tunnel, which the stand-in library plays.
# shellcheck shell=bash disable=SC2154

with_tunnel='product:  %s
folder:   C:\\Program Files\\Veltrane VPN\\
files:    all
command:  "C:\\Program Files\\Veltrane VPN\\VeltraneVpnService.exe" --run-as-service
start:    0x2
settings: VELTRANE_POC_AUTO_STOP_SECONDS=3600
services: RUNNING, tunnel RUNNING
config:   ProgramData/Veltrane
users/Public/Veltrane
users/Public/Veltrane/tunnels
users/Public/Veltrane/tunnels/active.conf 316
'
refusal='A tunnel is up, and runs from a file that would be replaced, which would need a restart of Windows. Disconnect it first (veltranectl disconnect), or add TUNNEL=stop to have it brought down. Nothing was changed.'

msi /i "$old" AUTO_STOP_SECONDS=3600 START=auto
connect
msi /i "$new"
# shellcheck disable=SC2059
expect "an upgrade is refused while a tunnel is up" 67 "$refusal" < <(printf "$with_tunnel" 0.9.0)
msi /i "$old"
# shellcheck disable=SC2059
expect "so is a repair" 67 "$refusal" < <(printf "$with_tunnel" 0.9.0)
# Wine lets the older version's own actions run, which take the empty folder of programs away.
msi /i "$new" TUNNEL=stop
expect "TUNNEL=stop disconnects, and then upgrades" 0 "A tunnel is up: the service has disconnected.
The service has been started." <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x2
settings: VELTRANE_POC_AUTO_STOP_SECONDS=3600
services: RUNNING, tunnel none
config:   users/Public/Veltrane
users/Public/Veltrane/tunnels
users/Public/Veltrane/tunnels/active.conf 4096
END
verdict "and leaves nothing of the private key" "the configuration file" \
  "$(tr -d '\0' <"$drive/users/Public/Veltrane/tunnels/active.conf" | head -c 100)"

connect
# shellcheck disable=SC2059
verdict "the upgraded service connects" "registry, services, files" \
  "$(differs "$(printf "${with_tunnel/ProgramData\/Veltrane$'\n'/}" 1.0.0)" "$(machine)")"
msi /x "$new"
expect_nothing "a removal disconnects, and takes both services and the file" 0 \
  "A tunnel is up: the service has disconnected."

msi /i "$new" START=auto
connect
tool sc stop VeltraneVpnTunnel >/dev/null
echo "of another" >"$drive/users/Public/Veltrane/tunnels/other.txt"
msi /x "$new"
expect "a removal stops a tunnel without its service, and leaves others' files" 0 \
  "A tunnel is up: the service is not running.
The tunnel is still up: its service is being stopped.
C:\\users\\Public\\Veltrane\\tunnels stays, because something else is in it." <<'END'
product:  none
folder:   none
files:    none
command:  none
start:    none
settings: none
services: none, tunnel none
config:   ProgramData/Veltrane
users/Public/Veltrane
users/Public/Veltrane/tunnels
users/Public/Veltrane/tunnels/other.txt 11
END
