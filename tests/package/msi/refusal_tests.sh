# Sourced by run_all: what is refused before anything is changed.
# shellcheck shell=bash disable=SC2154

# refused NAME WORD SAID PROPERTY...: an installation on a machine without the product.
refused() {
  msi /i "$new" "${@:3}"
  expect_nothing "$1" 67 "$2"
}

refused "an address that cannot be parsed is refused" \
  'ADMIN_BYPASS_IPS: "203.0.113.256" is not an IPv4 address such as 203.0.113.5. Nothing was changed.' \
  ADMIN_BYPASS_IPS=198.51.100.7,203.0.113.256
refused "a number that is none is refused" \
  'AUTO_STOP_SECONDS: "10m" is neither a number from 0 to 2147483647 nor none. Nothing was changed.' \
  AUTO_STOP_SECONDS=10m
refused "a guard that is neither on nor off is refused" \
  'DISABLE_DEFAULT_ROUTE: "maybe" is neither 1 nor 0 nor none. Nothing was changed.' \
  DISABLE_DEFAULT_ROUTE=maybe
refused "START=never is refused" 'START: "never" is neither auto nor demand. Nothing was changed.' \
  START=never
refused "TUNNEL=start is refused" 'TUNNEL: "start" is not stop. Nothing was changed.' TUNNEL=start

mkdir -m 777 "$drive/open"
msi /i "$new" 'INSTALLFOLDER=C:\open\veltrane'
expect_nothing "a folder that others can write is refused" 67 \
  'Local System is to run the program, so only administrators may be able to write to its folder: C:\open can be written by S-1-1-0; to fix it: icacls "C:\open" /inheritance:r /grant:r "*S-1-5-18:(OI)(CI)F" "*S-1-5-32-544:(OI)(CI)F" "*S-1-5-32-545:(OI)(CI)RX" /remove:g "*S-1-1-0". Nothing was changed.'

mkdir "$drive/by_hand"
cp "$stage/VeltraneVpnService.exe" "$drive/by_hand"
tool 'C:\by_hand\VeltraneVpnService.exe' --install >/dev/null
msi /i "$new"
expect "a service that runs another program is left alone" 67 \
  'The service VeltraneVpnTunnel is registered for another program, with the command line "C:\by_hand\VeltraneVpnService.exe" --run-as-service. Unregister it first, as an administrator: VeltraneVpnService.exe --uninstall. Nothing was changed.' <<'END'
product:  none
folder:   none
files:    none
command:  "C:\by_hand\VeltraneVpnService.exe" --run-as-service
start:    0x3
settings: none
services: STOPPED, tunnel none
config:   none
END
tool 'C:\by_hand\VeltraneVpnService.exe' --uninstall >/dev/null

# A last action that fails: one of the product's without its plan.
cp "$work/new.msi" "$work/failing.msi"
msibuild "$work/failing.msi" \
  -q "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`, \`Target\`) VALUES ('Fail', 3073, 'VeltraneSetup', 'VeltraneStop')" \
  "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('Fail', 6590)"
msi /i "Z:${work//\//\\}\\failing.msi" START=auto AUTO_STOP_SECONDS=60
expect_nothing "an installation that fails at its end is rolled back" 67 \
  "The service has been started.
The plan of the installation cannot be read."
