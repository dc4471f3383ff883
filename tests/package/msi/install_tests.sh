# Sourced by run_all: installing, repairing and removing, without a tunnel.
# shellcheck shell=bash disable=SC2154

# registered: the whole key of the service, as text.
registered() {
  tool reg export "$service_key" "Z:${work//\//\\}\\service.reg" /y >/dev/null
  iconv -f UTF-16 -t UTF-8 "$work/service.reg" | tr -d '\r'
}

msi /i "$new"
expect "an installation registers the service, and starts nothing" 0 "" <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x3
settings: none
services: STOPPED, tunnel none
config:   ProgramData/Veltrane
END
by_msi=$(registered)

# What Windows lists, and group policy and management tools go by.
listed=$(tool reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall' /s |
  sed -nE 's/^ +(DisplayName|Publisher|InstallLocation|NoModify) +REG_[A-Z]+ +/\1 /p')
verdict "an installation is listed by Windows" "registry" "$(differs 'DisplayName Veltrane VPN
InstallLocation C:\Program Files\Veltrane VPN\
NoModify 0x1
Publisher Veltrane' "$listed")"

# An operator adds a setting of his own, and loses a file.
tool reg add "$service_key" /v Environment /t REG_MULTI_SZ \
  /d 'ProgramData=C:\ProgramData\0ADMIN_BYPASS_IP=203.0.113.9' /f >/dev/null
rm "$drive/Program Files/Veltrane VPN/docs/limits.md"
echo changed >"$drive/Program Files/Veltrane VPN/LICENSE"
msi /i "$new"
expect "the same version again is a repair, and changes no setting" 0 "" <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x3
settings: ProgramData=C:\ProgramData\0ADMIN_BYPASS_IP=203.0.113.9
services: STOPPED, tunnel none
config:   ProgramData/Veltrane
END

msi /i "$new" 'ADMIN_BYPASS_IPS=203.0.113.5 198.51.100.7' DISABLE_DEFAULT_ROUTE=1 \
  AUTO_STOP_SECONDS=600 START=auto
expect "properties become settings beside those of others" 0 "The service has been started." <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x2
settings: ProgramData=C:\ProgramData\0ADMIN_BYPASS_IP=203.0.113.9\0ADMIN_BYPASS_IPS=203.0.113.5,198.51.100.7\0VELTRANE_POC_DISABLE_DEFAULT_ROUTE=1\0VELTRANE_POC_AUTO_STOP_SECONDS=600
services: RUNNING, tunnel none
config:   ProgramData/Veltrane
END

msi /i "$new" ADMIN_BYPASS_IPS=none DISABLE_DEFAULT_ROUTE=0 START=demand
expect "a repair changes the settings that it names, and no others" 0 "The service has been started." <<'END'
product:  1.0.0
folder:   C:\Program Files\Veltrane VPN\
files:    all
command:  "C:\Program Files\Veltrane VPN\VeltraneVpnService.exe" --run-as-service
start:    0x3
settings: ProgramData=C:\ProgramData\0ADMIN_BYPASS_IP=203.0.113.9\0VELTRANE_POC_DISABLE_DEFAULT_ROUTE=0\0VELTRANE_POC_AUTO_STOP_SECONDS=600
services: RUNNING, tunnel none
config:   ProgramData/Veltrane
END

echo "of the operator" >"$drive/Program Files/Veltrane VPN/own.txt"
msi /x "$new"
expect "a removal takes the product, and leaves the file of another" 0 "" <<'END'
product:  none
folder:   none
files:    none added:./own.txt
command:  none
start:    none
settings: none
services: none, tunnel none
config:   none
END
rm -r "$drive/Program Files/Veltrane VPN"

# What --install alone registers on a machine that never had the product.
end_machine
begin_machine "$work/other_prefix"
mkdir -p "$drive/Program Files/Veltrane VPN"
cp "$stage/VeltraneVpnService.exe" "$drive/Program Files/Veltrane VPN"
tool 'C:\Program Files\Veltrane VPN\VeltraneVpnService.exe' --install >/dev/null
verdict "the registration is that of --install alone" "the key of the service in two prefixes" \
  "$(differs "$(registered)" "$by_msi")$(grep -q '"DependOnService"=' <<<"$by_msi" || say "no dependencies")"
end_machine
