# shellcheck shell=bash
# The environment of every process in a lab. Sourced by lay_out and by the shells.

lab_programs=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
export LAB_FOLDER=/run/veltrane-lab
export PYTHONPATH=$lab_programs PYTHONDONTWRITEBYTECODE=1
export WINEPREFIX=$LAB_FOLDER/prefix WINEDEBUG=-all
export WINEDLLOVERRIDES='iphlpapi,wtsapi32=n,b;mscoree,mshtml=;winemenubuilder.exe=d'
# The caller's values of the variables that the service reads must not get into the lab.
unset DISPLAY WAYLAND_DISPLAY ProgramData "${!VELTRANE_@}" "${!ADMIN_BYPASS@}"
