"""The service as the control manager runs it, with settings that differ from the client's.

Wine's control manager gives a service the machine's environment as it was when Wine started, as that
of Windows does. It ignores the value Environment of the service's own key, as that of Windows ignores
one that is written after the start; one that is there before is played by the same settings in the
machine's environment."""

import subprocess

from veltrane_lab import places, windows
from veltrane_lab.waiting import wait_until

SERVICE = "VeltraneVpnTunnel"
SERVICE_KEY = rf"HKLM\SYSTEM\CurrentControlSet\Services\{SERVICE}"
ENVIRONMENT_KEY = r"HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
EVERY_SETTING = ("VELTRANE_POC_DISABLE_DEFAULT_ROUTE", "VELTRANE_POC_ADMIN_BYPASS",
                 "ADMIN_BYPASS_IP", "ADMIN_BYPASS_IPS")


class RegisteredService(windows.Requests):
    """Runs from construction until `kill`."""

    def __init__(self, client, registered):
        super().__init__(client)
        _wine("net", "start", SERVICE)
        self.status()
        _set_machine_environment(registered.machine_later)
        if registered.own_later:
            _set_own_value(registered.own_later)

    def kill(self):
        _wine("net", "stop", SERVICE, check=False)
        for process, line in windows.command_lines().items():
            if "--run-as-service" in line:
                windows.end_process(process)


def restart_windows(client, registered):
    """Starts Wine again, with a service that is registered and not yet running. Ends the client, which
    holds Wine up until then; returns one that does from then on."""
    # On a busy machine Wine's control manager may answer too late.
    wait_until(lambda: _wine(windows.PROGRAM / "VeltraneVpnService.exe", "--install",
                             check=False).returncode == 0, "the service is registered")
    for name in EVERY_SETTING:
        _wine("reg", "delete", ENVIRONMENT_KEY, "/v", name, "/f", check=False)
    _set_machine_environment(registered.own_at_start or registered.machine_at_boot)
    _wine("reg", "delete", SERVICE_KEY, "/v", "Environment", "/f", check=False)
    if registered.own_at_start:
        _set_own_value(registered.own_at_start)
    client.close()
    subprocess.run(["wineserver", "-k"], check=False)
    subprocess.run(["wineserver", "-w"], check=True)
    return windows.PipeClient()


def _set_machine_environment(settings):
    for name, value in settings:
        _wine("reg", "add", ENVIRONMENT_KEY, "/v", name, "/d", value, "/f")


def _set_own_value(settings):
    entries = r"\0".join(f"{name}={value}" for name, value in settings)
    _wine("reg", "add", SERVICE_KEY, "/v", "Environment", "/t", "REG_MULTI_SZ", "/d", entries, "/f")


def _wine(*arguments, check=True):
    """Whoever starts Wine hands its output to the control manager, so it must not be a pipe."""
    return subprocess.run(places.command_in(places.MACHINE, windows.WINE, *arguments), check=check,
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL)
