"""The WireGuard interface of one configuration file, brought up as the tunnel library would.

The interface is named "veltrane-tunnel", so that the service recognises a tunnel by its alias.
Every AllowedIPs network becomes a route through it. 0.0.0.0/0 becomes a second default route with
metric 0, which wins over the physical one with metric 5; a host route wins over both.

The encrypted packets themselves must not enter the tunnel. On Windows their socket is bound to the
physical interface, which no routing table shows. Here the packets carry a mark, and a policy rule
sends marked packets to a separate table with the physical default route. The main table, which is
all that the service sees, shows no more of this than on Windows.
"""

import os
import re
import subprocess
import tempfile
import time

from .commands import run

NAME = "veltrane-tunnel"
CONTROL_SOCKET = f"/run/wireguard/{NAME}.sock"
MARK = "0x5645"
MARKED_TABLE = "100"
# Keys of [Interface] that belong to the tunnel library, not to WireGuard itself.
LIBRARY_KEYS = {"address", "dns", "mtu"}


class Refused(Exception):
    """The configuration cannot be brought up; the text says why."""


def split_configuration(text):
    """Splits a configuration file into the text for `wg setconf` and a dictionary of the rest."""
    own_lines, library, section = [], {}, ""
    for line in text.splitlines():
        line = line.split("#")[0].strip()
        if re.fullmatch(r"\[\w+\]", line):
            section = line.lower()
        elif line:
            key, equals, value = (part.strip() for part in line.partition("="))
            if not equals or not value:
                raise Refused(f"the line '{key}' has no value")
            if section == "[interface]" and key.lower() in LIBRARY_KEYS:
                library[key.lower()] = value
                continue
        own_lines.append(line)
    if "address" not in library:
        raise Refused("there is no address")
    return "\n".join(own_lines) + "\n", library


def allowed_ips(own_lines):
    """Returns the AllowedIPs networks, in order."""
    networks = re.findall(r"(?im)^AllowedIPs\s*=\s*(.*)$", own_lines)
    return [network.strip() for line in networks for network in line.split(",") if network.strip()]


class WireguardInterface:
    """Up from construction until take_down. The constructor raises Refused."""

    def __init__(self, conf, force_default_route):
        own_lines, library = split_configuration(conf)
        self._process = None
        try:
            self._start_process()
            self._configure(own_lines)
            self._bring_up(library)
            self._add_routes(allowed_ips(own_lines), force_default_route)
        except Refused:
            self.take_down()
            raise

    def _start_process(self):
        if os.path.exists(CONTROL_SOCKET):  # left by a wireguard-go that was killed
            os.unlink(CONTROL_SOCKET)
        self._process = subprocess.Popen(
            ["wireguard-go", "--foreground", NAME], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(300):
            if os.path.exists(CONTROL_SOCKET):
                return
            if self._process.poll() is not None:
                break
            time.sleep(0.02)
        raise Refused("wireguard-go did not start")

    def _configure(self, own_lines):
        with tempfile.NamedTemporaryFile("w", suffix=".conf", dir="/run") as file:
            file.write(own_lines)
            file.flush()
            self._must("wg", "setconf", NAME, file.name)
        self._must("wg", "set", NAME, "fwmark", MARK)

    def _bring_up(self, library):
        for address in library["address"].split(","):
            self._must("ip", "address", "add", address.strip(), "dev", NAME)
        self._must("ip", "link", "set", NAME, "mtu", library.get("mtu", "1420"), "up")

    def _add_routes(self, networks, force_default_route):
        _, default_route = run("ip", "-4", "route", "show", "default")
        if default_route:
            physical = default_route.splitlines()[0].split()
            self._must("ip", "route", "add", *physical, "table", MARKED_TABLE)
            self._must("ip", "rule", "add", "fwmark", MARK, "lookup", MARKED_TABLE, "priority", 100)
        if force_default_route:
            networks = networks + ["0.0.0.0/0"]
        for network in networks:
            if ":" not in network:  # the lab has no IPv6
                self._must("ip", "route", "replace", network, "dev", NAME, "metric", 0)

    def _must(self, *arguments):
        environment = dict(os.environ, WG_ENDPOINT_RESOLUTION_RETRIES="0")
        code, output = run(*arguments, env=environment)
        if code != 0:
            raise Refused(" ".join(output.split()) or f"{arguments[0]} failed")

    def take_down(self):
        """Removes the interface, its policy rule and its routes; waits for the process to end."""
        if self._process is None:
            return
        while run("ip", "rule", "delete", "fwmark", MARK, "lookup", MARKED_TABLE)[0] == 0:
            pass
        run("ip", "route", "flush", "table", MARKED_TABLE)
        self._process.terminate()
        self._process.wait()
        self._process = None
