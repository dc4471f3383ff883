# shellcheck shell=bash
# The startup file of the shells of "lab shell" and "lab join"; "places" lists its commands.

# shellcheck source-path=SCRIPTDIR source=environment.bash
. "$(dirname "${BASH_SOURCE[0]}")/environment.bash"
PS1='lab:$(ip netns identify)\$ '

places() {
  cat <<'TEXT'
machine 192.168.77.2   gateway 192.168.77.1   administrator 203.0.113.5 (.6 .7 .8)
server 198.51.100.2 (in the tunnel 10.66.66.1)   outside 192.0.2.10

at PLACE COMMAND...        runs a command in a place; "at PLACE bash" is a shell there
prepare                    turns the machine into a Windows machine (once, about 10 s)
service [NAME=VALUE...]    starts the service with these environment variables
stop_service               kills it
request status | disconnect | connect [KEY=VALUE...] | TEXT
profile [KEY=VALUE...]     writes office.conf, a profile that the server accepts, with these changes
client ARGUMENT...         runs veltranectl.exe: client connect office.conf --any-server
tell knob NAME VALUE | fault FUNCTION NTH STATUS | calls | buffers | reset
administrator              a connection to port 3389 that counts; Ctrl+C ends it
watch_packets PLACE        shows the packets at a place (needs tcpdump)
TEXT
}

at() { ip netns exec "$@"; }
prepare() { "$lab_programs/prepare_windows"; }

service() {
  env "$@" ip netns exec machine /usr/lib/wine/wine64 \
    "$LAB_FOLDER/program/VeltraneVpnService.exe" --console \
    >>"$LAB_FOLDER/logs/service.log" 2>&1 </dev/null &
  echo $! >"$LAB_FOLDER/service.pid"
  disown
  echo "its output is in $LAB_FOLDER/logs/service.log"
}

stop_service() { kill -KILL "$(<"$LAB_FOLDER/service.pid")"; }
request() { python3 -m veltrane_lab.request "$@"; }
profile() { python3 -m veltrane_lab.veltranectl "$@"; }
client() { (cd "$LAB_FOLDER/program" && ip netns exec machine /usr/lib/wine/wine64 veltranectl.exe "$@"); }
tell() { python3 -m veltrane_lab.tell "$@"; }
administrator() { python3 -m veltrane_lab.echoes; }
watch_packets() { ip netns exec "$1" tcpdump -n -l -i any "${@:2}"; }

places
