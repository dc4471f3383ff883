"""The WireGuard interface of one configuration file, brought up as the tunnel library would.

The library names its adapter after the configuration file, "active". Every AllowedIPs network
becomes a route through it, and so does the network of every address. 0.0.0.0/0 becomes a second
default route with metric 0, which wins over the physical one with metric 5; a host route wins over
both. With one peer and a network of length /0 the kill switch comes with it (kill_switch.py).

The encrypted packets themselves must not enter the tunnel. On Windows their socket is bound to the
physical interface, which no routing table shows. Here the packets carry a mark, and a policy rule
sends marked packets to a separate table with the physical default route. The main table, which is
all that the service sees, shows no more of this than on Windows.
"""

import ipaddress
import os
import re
import subprocess
import tempfile
import time

from . import kill_switch
from .commands import check, run

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


def is_address(text):
    """False for a search domain, which may stand among the DNS servers too."""
    try:
        ipaddress.ip_address(text)
        return True
    except ValueError:
        return False


class WireguardInterface:
    """Up from construction until take_down. The constructor raises Refused."""

    def __init__(self, conf, name, force_default_route):
        own_lines, library = split_configuration(conf)
        self._name = name
        self._process = None
        self._rows = set()
        try:
            networks = allowed_ips(own_lines)
            self._start_process()
            self._configure(own_lines)
            self._bring_up(library)
            if kill_switch.applies_to(own_lines, networks):
                self._block_everything_else(library)
            self._add_routes(networks, force_default_route)
        except (Refused, RuntimeError, ValueError) as error:
            self.take_down()
            raise Refused(str(error)) from error

    def _start_process(self):
        control_socket = f"/run/wireguard/{self._name}.sock"
        if os.path.exists(control_socket):  # left by a wireguard-go that was killed
            os.unlink(control_socket)
        self._process = subprocess.Popen(
            ["wireguard-go", "--foreground", self._name], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(300):
            if os.path.exists(control_socket):
                return
            if self._process.poll() is not None:
                break
            time.sleep(0.02)
        raise Refused("wireguard-go did not start")

    def _configure(self, own_lines):
        with tempfile.NamedTemporaryFile("w", suffix=".conf", dir="/run") as file:
            file.write(own_lines)
            file.flush()
            self._must("wg", "setconf", self._name, file.name)
        self._must("wg", "set", self._name, "fwmark", MARK)

    def _bring_up(self, library):
        addresses = [address.strip() for address in library["address"].split(",")]
        for address in addresses:
            self._must("ip", "address", "add", address, "dev", self._name, "noprefixroute")
        self._must("ip", "link", "set", self._name, "mtu", library.get("mtu", "1420"), "up")
        self._add_rows([address for address in addresses
                        if ipaddress.ip_interface(address).network.num_addresses > 1])

    def _add_routes(self, networks, force_default_route):
        _, default_route = run("ip", "-4", "route", "show", "default")
        if default_route:
            physical = default_route.splitlines()[0].split()
            self._must("ip", "route", "add", *physical, "table", MARKED_TABLE)
            self._must("ip", "rule", "add", "fwmark", MARK, "lookup", MARKED_TABLE, "priority", 10)
        if force_default_route:
            networks = networks + ["0.0.0.0/0"]
        self._add_rows(networks)

    def _add_rows(self, networks):
        """Rows that win over others to the same network, as metric 0 does on Windows, and leave those
        where they are: the physical adapter's own network, a pinned host route."""
        for network in networks:
            # Linux refuses host bits, and takes the metric 0 of an IPv6 route for 1024.
            exact = str(ipaddress.ip_network(network, strict=False))
            if ":" in network:
                self._must("ip", "-6", "route", "replace", exact, "dev", self._name, "metric", 1)
            elif exact not in self._rows:
                self._must("ip", "-4", "route", "prepend", exact, "dev", self._name, "metric", 0)
            self._rows.add(exact)

    def _block_everything_else(self, library):
        servers = [word.strip() for word in library.get("dns", "").split(",")]
        kill_switch.switch_on(self._name, MARK, check("wg", "show", self._name, "listen-port"),
                              [server for server in servers if is_address(server)])

    def _must(self, *arguments):
        environment = dict(os.environ, WG_ENDPOINT_RESOLUTION_RETRIES="0")
        code, output = run(*arguments, env=environment)
        if code != 0:
            raise Refused(" ".join(output.split()) or f"{arguments[0]} failed")

    def take_down(self):
        """Removes the interface, its policy rule and its routes; waits for the process to end."""
        if self._process is None:
            return
        kill_switch.switch_off()
        while run("ip", "rule", "delete", "fwmark", MARK, "lookup", MARKED_TABLE)[0] == 0:
            pass
        run("ip", "route", "flush", "table", MARKED_TABLE)
        self._process.terminate()
        self._process.wait()
        self._process = None
