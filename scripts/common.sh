# Sourced by ./run and ./test: installs packages, builds, and prepares a private Wine.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build

say() { printf '%s\n' "$*"; }
heading() { printf '\n== %s\n' "$*"; }
die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# need_packages NAME...: installs the Debian packages that are missing; without root, prints the
# command that installs them and exits.
need_packages() {
  local missing=() name
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return
  if [ "$(id -u)" -ne 0 ]; then
    die "these packages are missing; install them with:
  sudo apt-get update && sudo apt-get install -y --no-install-recommends ${missing[*]}"
  fi
  say "installing ${missing[*]}"
  mkdir -p "$build"
  { apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y \
    --no-install-recommends "${missing[@]}"; } >"$build/apt.log" 2>&1 ||
    die "apt-get failed; see build/apt.log"
}

# The Debian packages that build the Windows executables, run them, and lay out the lab.
# shellcheck disable=SC2034
windows_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix libcli11-dev nlohmann-json3-dev googletest)
# shellcheck disable=SC2034
wine_packages=(wine wine64)
# What ./package makes of the executables, signs and reads them with.
# shellcheck disable=SC2034
package_packages=(git jq zip msitools wixl osslsigncode libengine-pkcs11-openssl python3 python3-debian
  python3-pefile)
# shellcheck disable=SC2034
lab_packages=(iproute2 nftables util-linux wireguard-go wireguard-tools iputils-ping python3)

# build_preset PRESET [TARGET...]: configures and builds what is out of date; prints nothing unless
# that fails.
build_preset() {
  local preset=$1 log=$build/$1.log
  shift
  say "building (preset $preset)"
  mkdir -p "$build"
  {
    cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}
  } >"$log" 2>&1 || {
    grep -E 'error|Error|FAILED' -A 6 "$log" | head -60
    die "the build of preset $preset failed; see build/$preset.log"
  }
}

# use_wine FOLDER: makes FOLDER the Wine prefix of this shell, and unsets every variable that the
# service reads.
use_wine() {
  export WINEPREFIX=$1 WINEDEBUG=-all
  unset DISPLAY WAYLAND_DISPLAY
  local name
  for name in $(compgen -e | grep -E '^(VELTRANE_|ADMIN_BYPASS_IPS?$|ProgramData$)'); do
    unset "$name"
  done
  grep -qs '"Graphics"="null"' "$WINEPREFIX/user.reg" || prepare_prefix
}

# The Unix process of `wine x.exe` is the Windows process itself. The `wine` wrapper is not used: it
# warns about a missing 32-bit Wine, which nothing here needs.
wine64_binary=/usr/lib/wine/wine64

prepare_prefix() {
  mkdir -p "$build" "$WINEPREFIX"
  "$wine64_binary" wineboot --init >"$build/wineboot.log" 2>&1 ||
    die "the Wine prefix could not be created; see build/wineboot.log"
  # Without a display, windows exist only with this driver, which shows nothing.
  "$wine64_binary" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1 ||
    die "the Wine prefix could not be given a driver for windows"
  # Our services depend on services that wineboot has just registered. The service control manager
  # that is still running does not know those; the next one does.
  stop_wine
}

# Ends every process of the private Wine prefix, and returns when its registry is in its files.
stop_wine() {
  wineserver -k 2>/dev/null || true
  wineserver -w 2>/dev/null || true
}
