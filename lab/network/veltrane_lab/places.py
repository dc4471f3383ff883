"""The places of the network, and running things in them."""

import contextlib
import ctypes
import os
import socket

from .commands import check, run

MACHINE, GATEWAY, ADMINISTRATOR = "machine", "gateway", "administrator"
SERVER, OUTSIDE = "server", "outside"

MACHINE_IP = "192.168.77.2"
MACHINE_IP6 = "2001:db8:77::2"
GATEWAY_IP = "192.168.77.1"
ADMINISTRATOR_IP = "203.0.113.5"
ADMINISTRATOR_IP6 = "2001:db8:113::5"
SERVER_IP = "198.51.100.2"
OUTSIDE_IP = "192.0.2.10"
TUNNEL_IP = "10.66.66.7"
# The interface of the tunnel: the library names its adapter after the file.
TUNNEL = "active"
# The second adapter and its network, which a scenario may plug in. The address counts as public.
SECOND_ADAPTER, SECOND_IP, SECOND_GATEWAY_IP = "eth1", "198.18.0.2", "198.18.0.1"
SERVER_TUNNEL_IP = "10.66.66.1"

_CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)


def _enter(path):
    descriptor = os.open(path, os.O_RDONLY)
    try:
        if _libc.setns(descriptor, _CLONE_NEWNET) != 0:
            raise OSError(ctypes.get_errno(), f"setns {path}")
    finally:
        os.close(descriptor)


@contextlib.contextmanager
def inside(place):
    """Puts this thread into a place for the block. Sockets opened in the block stay there."""
    _enter(f"/run/netns/{place}")
    try:
        yield
    finally:
        _enter("/proc/1/ns/net")


def command_in(place, *arguments):
    """Returns the command line that runs a program in a place."""
    return ["ip", "netns", "exec", place, *map(str, arguments)]


def run_in(place, *arguments, **options):
    return run(*command_in(place, *arguments), **options)


def check_in(place, *arguments, **options):
    return check(*command_in(place, *arguments), **options)


def plug_in(interface, index, end_at_gateway):
    """Gives the machine an interface with a wire to the gateway. Wine keeps the index that it has once
    seen of a name, so a name must always have the same."""
    check("ip", "link", "add", interface, "index", index, "netns", MACHINE, "type", "veth",
          "peer", "name", end_at_gateway, "netns", GATEWAY)


def plug_in_second_adapter():
    """A wire of its own to the gateway, with a public address and a default route that loses against
    the first adapter's."""
    plug_in(SECOND_ADAPTER, 200, "to-machine-too")
    for place, interface, address in ((MACHINE, SECOND_ADAPTER, SECOND_IP),
                                      (GATEWAY, "to-machine-too", SECOND_GATEWAY_IP)):
        check_in(place, "ip", "address", "add", f"{address}/24", "dev", interface)
        check_in(place, "ip", "link", "set", interface, "up")
    check_in(MACHINE, "ip", "route", "add", "default", "via", SECOND_GATEWAY_IP,
             "dev", SECOND_ADAPTER, "metric", 9)


def unplug_second_adapter():
    run_in(MACHINE, "ip", "link", "delete", SECOND_ADAPTER)


def seen_from_outside(timeout=5):
    """Returns the address from which the outside host sees the machine; None when not reached."""
    with inside(MACHINE):
        connection = socket.socket()
    with connection:
        connection.settimeout(timeout)
        try:
            connection.connect((OUTSIDE_IP, 80))
            return connection.makefile().readline().strip()
        except OSError:
            return None


def pings(target):
    """Returns True when at least one of five pings from the machine is answered."""
    return run_in(MACHINE, "ping", "-c", 5, "-i", "0.3", "-W", 2, target)[0] == 0


def routing_of_machine():
    """Returns every routing table and every policy rule of the machine as text."""
    return (check_in(MACHINE, "ip", "-d", "route", "show", "table", "all") + "\n" +
            check_in(MACHINE, "ip", "rule", "show"))


def interfaces_of_machine():
    return check_in(MACHINE, "ip", "-brief", "link")


def host_routes():
    """Returns the host routes of the machine's main table, each as `ip` prints it, sorted."""
    lines = check_in(MACHINE, "ip", "-4", "route", "show").splitlines()
    return sorted(line.strip() for line in lines
                  if "/" not in line.split()[0] and line.split()[0] != "default")
