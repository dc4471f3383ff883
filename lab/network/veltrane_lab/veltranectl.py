"""The command-line client on the machine, with its output redirected or at a console.

  python3 -m veltrane_lab.veltranectl [KEY=VALUE...]   writes office.conf, with these changes
"""

import fcntl
import os
import pty
import re
import select
import struct
import subprocess
import sys
import termios
import threading

from .places import MACHINE, command_in
from .waiting import wait_until
from .windows import PROGRAM, WINE, command_lines, profile

DONE, RISK, UNDONE, NOT_RUNNING = 0, 7, 8, 13  # exit codes
LOSE_ADMINISTRATION = "--accept-risk", "lose-remote-administration"
QUESTION = "Type keep and press Enter to keep the connection:"
KEEP = "keep"

# So wide that no line is broken.
_ROWS, _COLUMNS = 60, 1000
_CURSOR_RIGHT = re.compile(r"\x1b\[(\d*)C")
_CONTROL = re.compile(r"\x1b\[[0-9;?]*[A-Za-z]")


def write_profile(name="office.conf", **changes):
    """Writes a connect request that the lab's server accepts, with these changes, as the client reads
    it. Returns the name, which is a path for the client."""
    request = profile(**changes)
    (PROGRAM / name).write_text(
        f"[Interface]\nPrivateKey = {request['client_private_key']}\n"
        f"Address = {request['address_cidr']}\n"
        f"[Peer]\nPublicKey = {request['server_public_key']}\n"
        f"AllowedIPs = {request['allowed_ips_csv']}\n"
        f"Endpoint = {request['endpoint_host']}:{request['endpoint_port']}\n")
    return name


def _command(words, any_server):
    """The client trusts a service in console mode only when it is told to; "confirm" asks none."""
    trust = ("--any-server",) if any_server and words[0] != "confirm" else ()
    return command_in(MACHINE, WINE, PROGRAM / "veltranectl.exe", *words, *trust)


def run(*words, any_server=True, **settings):
    """Runs the client to its end, without a console and with these environment variables. Returns its
    exit code and what it printed, on both streams."""
    done = subprocess.run(_command(words, any_server), env=dict(os.environ, **settings),
                          cwd=PROGRAM, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True)
    return done.returncode, done.stdout


def watchdogs():
    """Returns the ids of the processes that watch over a connection."""
    return [process for process, line in command_lines().items()
            if "veltranectl.exe watchdog" in line]


class Console:
    """The client at a console of its own, a pseudo terminal, from construction until its end."""

    def __init__(self, *words, **settings):
        self._terminal, end_of_client = pty.openpty()
        fcntl.ioctl(end_of_client, termios.TIOCSWINSZ,
                    struct.pack("HHHH", _ROWS, _COLUMNS, 0, 0))
        self._printed = bytearray()
        self._process = subprocess.Popen(
            _command(words, True), env=dict(os.environ, **settings), cwd=PROGRAM, stdin=end_of_client,
            stdout=end_of_client, stderr=end_of_client, start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(end_of_client)
        self._closing = threading.Event()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        """Until the terminal is closed, or nobody holds its other end any more, which Wine's own
        processes may do longer than the client."""
        try:
            while not self._closing.is_set():
                if select.select([self._terminal], [], [], 0.1)[0]:
                    self._printed += os.read(self._terminal, 4096)
        except OSError:
            pass

    def screen(self):
        """What has been printed, as plain lines, without those that were erased again."""
        text = bytes(self._printed).decode("utf-8", "replace")
        text = _CURSOR_RIGHT.sub(lambda move: " " * int(move[1] or 1), text)
        lines = _CONTROL.sub("", text).split("\n")
        return "\n".join(line.rstrip("\r").rpartition("\r")[2].rstrip() for line in lines).strip()

    def wait_for(self, text):
        """Waits until the text is on the screen."""
        wait_until(lambda: text in self.screen() or self._process.poll() is not None,
                   f"the client prints {text!r}")
        if text not in self.screen():
            raise AssertionError(f"the client ended without {text!r}:\n{self.screen()}")

    def type(self, line):
        """Types the line and presses Enter, once Wine's console reads keys. The kernel would make
        another key of an earlier Enter."""
        wait_until(lambda: not termios.tcgetattr(self._terminal)[3] & termios.ICANON,
                   "the console reads keys")
        os.write(self._terminal, f"{line}\r".encode())

    def has_ended(self):
        return self._process.poll() is not None

    def exit_code(self, bound=120):
        """Waits for the end."""
        wait_until(self.has_ended, "the client ends", bound)
        return self._process.returncode

    def kill(self):
        """Ends the process at once."""
        self._process.kill()
        self._process.wait()

    def hang_up(self):
        """Closes the console, as the window of one is closed, and waits for the client's end. Windows
        ends a process that has not gone five seconds later; Wine leaves one now and then."""
        if not self._closing.is_set():
            self._closing.set()
            self._reader.join()
            os.close(self._terminal)
        try:
            self._process.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.kill()

    def close(self):
        """Takes everything away, whether or not the client has ended."""
        self.kill()
        self.hang_up()


if __name__ == "__main__":
    print(write_profile(**dict(change.split("=", 1) for change in sys.argv[1:])))
