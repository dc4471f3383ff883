"""What a scenario is made of: the machine as it is at first, with everything that the scenario
starts taken away behind it."""

import contextlib
import re
import time

from veltrane_lab import echoes, packets, places, windows
from veltrane_lab.tell import tell
from veltrane_lab.waiting import wait_until

SCENARIOS = []


def scenario(function):
    """Marks a scenario; its name is the function's, read as a sentence."""
    SCENARIOS.append(function)
    return function


def name_of(function):
    return function.__name__


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def expect_equal(actual, expected, what):
    if actual != expected:
        raise AssertionError(f"{what}:\n  expected {expected!r}\n  found    {actual!r}")


class Lab:
    """One scenario's hold on the lab; use it in a with statement."""

    def __init__(self, client):
        self.client = client
        self._closing = contextlib.ExitStack()

    def __enter__(self):
        self.note_state_at_first()
        return self

    def __exit__(self, *_):
        self._closing.close()
        self._reset()

    def start_service(self, interface_metric=1, **environment):
        """The operator has set the metric of the interfaces to 1, without which Windows refuses to
        pin a route; an adapter as it comes has 25."""
        tell(f"knob interface-metric {interface_metric}")
        service = windows.Service(self.client, **environment)
        self._closing.callback(service.kill)
        service.status()
        return service

    def at_end(self, undo):
        """Has the function called when the scenario ends, the last one first."""
        self._closing.callback(undo)

    def connect_administrator(self, source=places.ADMINISTRATOR_IP, machine=places.MACHINE_IP):
        administrator = echoes.Administrator(source, machine)
        self._closing.callback(administrator.close)
        administrator.count_on(10)
        return administrator

    def watch(self, place):
        watch = packets.PacketWatch(place)
        self._closing.callback(watch.close)
        return watch

    def change_machine(self, change, undo):
        """Makes the machine another one until the scenario ends. What it is like then counts as its
        state at first."""
        def restore(routing, interfaces):
            undo()
            self.routing_at_first, self.interfaces_at_first = routing, interfaces
        self._closing.callback(restore, self.routing_at_first, self.interfaces_at_first)
        change()
        self.note_state_at_first()

    def use_strong_host_sends(self):
        self.change_machine(lambda: tell("knob strong-host 1"), lambda: tell("knob strong-host 0"))

    def note_state_at_first(self):
        self.routing_at_first = places.routing_of_machine()
        self.interfaces_at_first = places.interfaces_of_machine()

    def expect_as_at_first(self):
        """The machine's network is what it was, its interfaces too, and no tunnel process runs."""
        wait_until(lambda: not windows.tunnel_processes(), "the tunnel process ends", bound=20)
        expect_equal(places.routing_of_machine(), self.routing_at_first, "routing of the machine")
        expect_equal(places.interfaces_of_machine(), self.interfaces_at_first, "interfaces")

    def _reset(self):
        """Whatever the scenario left behind goes, by force."""
        tell("reset")
        for process in windows.tunnel_processes():
            with contextlib.suppress(ProcessLookupError):
                windows.end_process(process)
        wait_until(self._tunnel_service_is_gone, "the tunnel service is deleted")
        wait_until(lambda: places.interfaces_of_machine() == self.interfaces_at_first,
                   "the interface goes with its process")
        for route in places.host_routes():
            places.check_in(places.MACHINE, "ip", "route", "delete", *route.split())
        for file in (windows.CONF, windows.PROGRAM / "sessions.txt", windows.PROGRAM / "tunnel.log"):
            file.unlink(missing_ok=True)
        wait_until(lambda: places.routing_of_machine() == self.routing_at_first,
                   "the routing is what it was at first")

    def _tunnel_service_is_gone(self):
        if self.client.ask("#tunnel") == "none":
            return True
        self.client.ask("#delete")
        return False


def expect_conf_is_zeros():
    """The file's bytes are not shown: they may hold a private key."""
    expect(windows.CONF.read_bytes() == bytes(4096), "active.conf is not 4096 zero bytes")


def tunnel_log():
    try:
        return (windows.PROGRAM / "tunnel.log").read_text()
    except FileNotFoundError:
        return ""


def wait_for_handshake():
    """Waits until the WireGuard server has seen the client."""
    def handshake():
        text = places.check_in(places.SERVER, "wg", "show", "wg-server", "latest-handshakes")
        return int(text.split()[-1]) > 0
    wait_until(handshake, "the handshake")


def bytes_at_server():
    """The bytes that the WireGuard server has received from and sent to the client."""
    text = places.check_in(places.SERVER, "wg", "show", "wg-server", "transfer")
    return tuple(map(int, re.findall(r"\d+", text.split("\t", 1)[1])))


def route_details(reply):
    """The replies of the route calls of a connect, by address."""
    return {row["ip"]: row for row in reply["admin_bypass"]["route_add_results_detail"]}


def run(function, client):
    """Runs one scenario; returns the failure or None, and the seconds it took."""
    began = time.monotonic()
    failure = None
    try:
        with Lab(client) as lab:
            function(lab)
    except Exception as error:  # a scenario must not take the others along
        failure = error
    return failure, time.monotonic() - began
