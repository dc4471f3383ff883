# Sourced by run_all: from version 0.9.0 to 1.0.0, without a tunnel.
# shellcheck shell=bash disable=SC2154

begin_machine "$work/prefix"

msi /i "$old" ADMIN_BYPASS_IPS=203.0.113.5 AUTO_STOP_SECONDS=600 START=auto
tool reg add "$service_key" /v Environment /t REG_MULTI_SZ \
  /d 'ADMIN_BYPASS_IPS=203.0.113.5\0VELTRANE_POC_AUTO_STOP_SECONDS=600\0OTHERS=stay' /f >/dev/null
msi /i "$new"
expect "an upgrade keeps settings, start type and a service that runs" 0 \
  "The service has been started." <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x2
settings: ADMIN_BYPASS_IPS=203.0.113.5\0VELTRANE_POC_AUTO_STOP_SECONDS=600\0OTHERS=stay
services: RUNNING, tunnel none
config:   ProgramData/Veltrane
END
verdict "the registration after it is that of --install, but for these" "the key of the service" \
  "$(differs '"Environment"=hex(7)
"Start"=dword:00000002' "$(diff <(printf '%s\n' "$by_msi") <(registered) |
    sed -nE 's/^> ("[A-Za-z]+"=(hex\(7\)|dword:[0-9]+)).*/\1/p')")"

msi /i "$old"
expect "a downgrade is refused" 67 \
  "A newer version is installed; uninstall it first. Nothing was changed." <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x2
settings: ADMIN_BYPASS_IPS=203.0.113.5\0VELTRANE_POC_AUTO_STOP_SECONDS=600\0OTHERS=stay
services: RUNNING, tunnel none
config:   ProgramData/Veltrane
END

msi /x "$new"
expect_nothing "a removal stops a service that runs, and takes its settings" 0 ""

msi /i "$old" AUTO_STOP_SECONDS=600
msi /i "$new" AUTO_STOP_SECONDS=none ADMIN_BYPASS_IPS=198.51.100.7
expect "an upgrade with properties changes what they name" 0 "" <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x3
settings: ADMIN_BYPASS_IPS=198.51.100.7
services: STOPPED, tunnel none
config:   ProgramData/Veltrane
END
msi /x "$new"

# A folder of the operator's, which the upgrade finds by itself.
msi /i "$old" 'INSTALLFOLDER=C:\Program Files\Elsewhere'
msi /i "$new"
expect "an upgrade stays in the folder of the older version" 0 "" <<'END'
product:  1.0.0
folder:   C:\Program Files\Elsewhere\
files:    none
command:  "C:\Program Files\Elsewhere\VeltraneVpnService.exe" --run-as-service
start:    0x3
settings: none
services: STOPPED, tunnel none
config:   ProgramData/Veltrane
END
msi /x "$new"
expect_nothing "so does its removal" 0 ""

# A double click goes through the tables of the windows too, although there are none.
msi /i "$old" 'INSTALLFOLDER=C:\Program Files\Elsewhere'
msi_windows=/qr msi /i "$new"
verdict "so does an upgrade with windows" "registry" \
  "$(differs '"C:\Program Files\Elsewhere\VeltraneVpnService.exe" --run-as-service' "$(service_value ImagePath)")"
msi /x "$new"
verdict "and nothing stays in that folder" "files" "$(ls "$drive/Program Files/Elsewhere" 2>/dev/null || true)"
