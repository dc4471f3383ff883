"""The Windows side of the machine: the service's processes, and requests to them."""

import json
import os
import pathlib
import queue
import signal
import subprocess
import threading

from .places import MACHINE, command_in
from .waiting import wait_until

FOLDER = pathlib.Path(os.environ.get("LAB_FOLDER", "/run/veltrane-lab"))
PROGRAM = FOLDER / "program"
LOGS = FOLDER / "logs"
CONF = FOLDER / "prefix/drive_c/ProgramData/Veltrane/tunnels/active.conf"
LAB_PROGRAMS = pathlib.Path(__file__).resolve().parent.parent
WINE = "/usr/lib/wine/wine64"
ANSWER_SECONDS = 120


def key(name):
    return (FOLDER / "keys" / name).read_text().strip()


def profile(**changes):
    """Returns a connect request that the lab's WireGuard server accepts, with these changes."""
    request = {"op": "connect", "node_id": "lab-node", "address_cidr": "10.66.66.7/32",
               "endpoint_host": "198.51.100.2", "endpoint_port": "51820",
               "server_public_key": key("server.public"),
               "client_private_key": key("client.private"), "allowed_ips_csv": "10.66.66.0/24"}
    request.update(changes)
    return request


class PipeClient:
    """One client process for many requests, each on its own connection to the control pipe."""

    def __init__(self):
        self._process = subprocess.Popen(
            command_in(MACHINE, WINE, PROGRAM / "pipe_client.exe"), stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self._lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self._process.stdout:
            self._lines.put(line.rstrip("\n"))
        self._lines.put("the client has ended")

    def ask(self, line):
        """Sends a line and returns the reply. Raises AssertionError when none comes; do not use the
        client after that."""
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        try:
            return self._lines.get(timeout=ANSWER_SECONDS)
        except queue.Empty as error:
            # The line is not shown: it may contain a private key.
            raise AssertionError(f"no answer within {ANSWER_SECONDS} s") from error

    def close(self):
        self._process.stdin.close()
        self._process.wait()


class Requests:
    """Requests to whatever serves the control pipe."""

    def __init__(self, client):
        self.client = client

    def request(self, request):
        """Sends a request; returns the reply, which must be JSON."""
        text = self.client.ask(json.dumps(request))
        try:
            return json.loads(text)
        except ValueError as error:
            raise AssertionError(f"the reply is not JSON: {text!r}") from error

    def connect(self, **changes):
        return self.request(profile(**changes))

    def disconnect(self):
        return self.request({"op": "disconnect"})

    def status(self):
        return self.request({"op": "status"})

    def wait_for_tunnel(self):
        wait_until(lambda: self.status()["tunnel_running"], "the tunnel service runs")

    def usage(self):
        return self.client.ask("#usage")


class Service(Requests):
    """The control service in the foreground, with the given environment variables."""

    def __init__(self, client, **environment):
        super().__init__(client)
        LOGS.mkdir(parents=True, exist_ok=True)
        self._log = open(LOGS / "service.log", "wb")
        self.process = subprocess.Popen(
            command_in(MACHINE, WINE, PROGRAM / "VeltraneVpnService.exe", "--console"),
            env=dict(os.environ, **environment), stdin=subprocess.DEVNULL, stdout=self._log,
            stderr=self._log)

    def printed(self):
        return (LOGS / "service.log").read_text(errors="replace").replace("\r", "")

    def startup_report(self):
        """Returns the passive startup report that the process has printed."""
        line = next(line for line in self.printed().splitlines() if "startup report: " in line)
        return json.loads(line.split("startup report: ")[1])

    def kill(self):
        """Ends the process at once, as a crash would."""
        self.process.kill()
        self.process.wait()
        self._log.close()


def dry_run():
    """Runs the passive startup check; returns what it writes to standard output and to standard
    error, as bytes without carriage returns."""
    done = subprocess.run(
        command_in(MACHINE, WINE, PROGRAM / "VeltraneVpnService.exe", "--dry-run-startup"),
        stdin=subprocess.DEVNULL, capture_output=True, timeout=ANSWER_SECONDS, check=True)
    return done.stdout.replace(b"\r", b""), done.stderr.replace(b"\r", b"")


def end_process(process):
    os.kill(process, signal.SIGKILL)


def command_lines():
    """Returns the command line of every process in the lab, joined with spaces, by process id."""
    lines = {}
    for entry in pathlib.Path("/proc").iterdir():
        try:
            if entry.name.isdigit():
                command = (entry / "cmdline").read_bytes()
                lines[int(entry.name)] = command.replace(b"\0", b" ").decode(errors="replace").strip()
        except OSError:  # the process has ended
            continue
    return lines


def tunnel_service_processes():
    """Returns the ids of the processes that run `VeltraneVpnService.exe /service`."""
    return [process for process, line in command_lines().items()
            if "VeltraneVpnService.exe" in line and "/service" in line]


def tunnel_processes():
    """Returns the ids of the processes of a tunnel: the Windows one and its wireguard-go."""
    return tunnel_service_processes() + [
        process for process, line in command_lines().items()
        if "wireguard-go --foreground" in line]
