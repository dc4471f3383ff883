"""The service as the control manager runs it, with settings that differ from the client's.

Wine's control manager gives a service the machine's environment as it was when Wine started, as that
of Windows does. It ignores the value Environment of the service's own key, as that of Windows does
with a value that is written after the start."""

import re
import subprocess
import time

from veltrane_lab import places, windows

SERVICE = "VeltraneVpnTunnel"
SERVICE_KEY = rf"HKLM\SYSTEM\CurrentControlSet\Services\{SERVICE}"
ENVIRONMENT_KEY = r"HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
# The machine's environment in Wine's file, from its head to the next key.
STORED_ENVIRONMENT = re.compile(
    r"(?ms)^\[System\\\\CurrentControlSet\\\\Control\\\\Session Manager\\\\Environment\] (?P<seconds>\d+)\n"
    r"#time=(?P<time>[0-9a-f]+)\n(?P<values>.*?)\n\n")
LONG_AGO_SECONDS = 1262304000  # 2010
FILETIME_OF_1970 = 116444736000000000


class RegisteredService(windows.Requests):
    """Runs from construction until `kill`."""

    def __init__(self, client, registered):
        super().__init__(client)
        _wine("net", "start", SERVICE)
        self.status()
        for name, value in registered.machine_later:
            _wine("reg", "add", ENVIRONMENT_KEY, "/v", name, "/d", value, "/f")
        if registered.own_value:
            entries = r"\0".join(f"{name}={value}" for name, value in registered.own_value)
            _wine("reg", "add", SERVICE_KEY, "/v", "Environment", "/t", "REG_MULTI_SZ",
                  "/d", entries, "/f")

    def kill(self):
        _wine("net", "stop", SERVICE, check=False)
        for process, line in windows.command_lines().items():
            if "--run-as-service" in line:
                windows.end_process(process)


def restart_windows(registered):
    """Starts Wine again, with a service that is registered and not yet running. No process under Wine
    may be in use. Returns a new client, which holds Wine up."""
    _wine(windows.PROGRAM / "VeltraneVpnService.exe", "--install")
    _wine("reg", "delete", SERVICE_KEY, "/v", "Environment", "/f", check=False)
    _end_wine()
    _store_environment(registered.machine_at_boot, registered.proved)
    return windows.PipeClient()


def _store_environment(values, long_ago):
    """Writes the machine's environment while Wine is down."""
    file = windows.FOLDER / "prefix/system.reg"
    text, count = STORED_ENVIRONMENT.subn(
        lambda found: _environment_key(found, values, long_ago), file.read_text())
    if count != 1:
        raise AssertionError(f"{count} keys hold the machine's environment")
    file.write_text(text)


def _environment_key(found, values, long_ago):
    head = found.group(0).split("]")[0]
    kept = [line for line in found["values"].splitlines()
            if not line.startswith(('"VELTRANE_', '"ADMIN_BYPASS_'))]
    added = [f'"{name}"="{value}"' for name, value in values]
    seconds = LONG_AGO_SECONDS if long_ago else int(time.time())
    moment = FILETIME_OF_1970 + seconds * 10_000_000
    return "\n".join([f"{head}] {seconds}", f"#time={moment:x}", *kept, *added]) + "\n\n"


def _end_wine():
    subprocess.run(["wineserver", "-k"], check=False)
    subprocess.run(["wineserver", "-w"], check=True)


def _wine(*arguments, check=True):
    """Whoever starts Wine hands its output to the control manager, so it must not be a pipe."""
    subprocess.run(places.command_in(places.MACHINE, windows.WINE, *arguments), check=check,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
