"""Does on the Linux side what the stand-in DLLs request, and keeps the lab's knobs and faults.

Listens on 127.0.0.1:47501 in the machine. A client sends lines and gets one reply line for each:

  call FUNCTION                      the Win32 error that the call must fail with, or 0
  view                               how to report routes, as "hop windows metrics 1=75 2=25": the knob
                                     on-link-hop, and the metric of each interface by its index
  ipv6-routes                        the IPv6 routes: "routes", then five words for each: destination,
                                     prefix length, next hop, interface index, metric
  route create DEST MASK HOP IF METRIC   creates the route; 0 or a Win32 error
  route delete DEST MASK HOP IF METRIC   deletes the route; 0 or a Win32 error
  wts out|back|unknown               counts a buffer that the stand-in wtsapi32.dll handed out, got
                                     back, or got back without having handed it out
  tunnel LENGTH                      takes LENGTH more bytes, the configuration; the two knobs
                                     that concern the stand-in, as "knobs early=0 crash=0"
  start                              "up", or "refused" and the reason
  stop                               "down"; no reply while the knob "stop" is "never"

A tunnel belongs to the connection on which it was announced, as a tunnel adapter belongs to the
process that opened it: when the connection ends without "stop", the tunnel is taken down.

For people and scenarios (see `tell`):

  knob NAME VALUE    alias NAME (of the tunnel's interface), interface-metric METRIC (of the physical
                     interfaces), on-link-hop windows|wine, strong-host 0|1, early 0|1,
                     start-delay SECONDS, stop SECONDS|never, default-route 0|1,
                     destroy-route DEST|none, crash SECONDS (0 for never)
  fault FUNCTION NTH STATUS   the NTH call from now on fails (NTH+: every later one too)
  faults none        no call fails any more
  reset              resets all knobs and faults, and empties the call log
  calls              the calls since the reset, on one line
  buffers            "out 4 back 4 unknown 0": the buffers of wtsapi32.dll since the reset
"""

import socket
import socketserver
import sys
import threading
import time

from . import forward_table, host_model
from .wireguard_interface import Refused, WireguardInterface

ADDRESS = ("127.0.0.1", 47501)
# An adapter as it comes: 25 is the automatic metric that Windows gives to a gigabit one, and the
# library names its adapter after the configuration file.
FIRST_KNOBS = {"alias": "active", "interface-metric": "25", "on-link-hop": "windows",
               "strong-host": "0", "early": "0", "start-delay": "0", "stop": "0",
               "default-route": "0", "destroy-route": "none", "crash": "0"}
LOOPBACK_METRIC = 75


class State:
    """Knobs, faults and the call log, shared by all connections."""

    def __init__(self):
        self.lock = threading.Lock()
        self.reset()

    def reset(self):
        self.knobs = dict(FIRST_KNOBS)
        self.faults = []
        self.log = []
        self.buffers = {"out": 0, "back": 0, "unknown": 0}
        host_model.use_weak()

    def turn(self, name, value):
        if name not in self.knobs:
            return f"unknown knob {name}"
        self.knobs[name] = value
        if name == "strong-host":
            (host_model.use_strong if value == "1" else host_model.use_weak)()
        return "ok"

    def metric_of(self, interface):
        """What Windows would add to the metric of a route through the interface."""
        if interface == "lo":
            return LOOPBACK_METRIC
        return 0 if interface == self.knobs["alias"] else int(self.knobs["interface-metric"])

    def view(self):
        metrics = " ".join(f"{index}={self.metric_of(name)}" for index, name in socket.if_nameindex())
        return f"hop {self.knobs['on-link-hop']} metrics {metrics}"

    def create_route(self, dest, mask, hop, index, metric):
        try:
            interface_metric = self.metric_of(socket.if_indextoname(int(index)))
        except OSError:
            return forward_table.ERROR_INVALID_PARAMETER
        return forward_table.create(dest, mask, hop, index, int(metric), interface_metric)

    def add_fault(self, function, nth, status):
        every_later = nth.endswith("+")
        self.faults.append({"function": function, "left": int(nth.rstrip("+")),
                            "every_later": every_later, "status": int(status)})
        return "ok"

    def note_call(self, function):
        """Logs a call; returns the Win32 error that it must fail with, or 0."""
        status = 0
        for fault in self.faults:
            if fault["function"] != function:
                continue
            fault["left"] -= 1
            if fault["left"] == 0 or (fault["left"] < 0 and fault["every_later"]):
                status = status or fault["status"]
        self.log.append(f"{function}={status}" if status else function)
        return status


class Connection(socketserver.StreamRequestHandler):
    """One connection of a stand-in, a scenario or a person."""

    interface = None

    def handle(self):
        try:
            for line in self.rfile:
                words = line.decode("utf-8", "replace").split()
                self.answer(self.reply_to(words) if words else "empty")
        except (ConnectionError, BrokenPipeError):
            pass
        finally:
            if self.interface is not None:
                note("the tunnel's process has gone; taking its interface down")
                self.interface.take_down()

    def answer(self, text):
        self.wfile.write(text.encode() + b"\n")

    def reply_to(self, words):
        state = self.server.state
        match words:
            case ["call", function]:
                with state.lock:
                    return str(state.note_call(function))
            case ["route", "create", *row] if len(row) == 5:
                return str(state.create_route(*row))
            case ["route", "delete", *row] if len(row) == 5:
                return str(forward_table.delete(*row))
            case ["view"]:
                return state.view()
            case ["ipv6-routes"]:
                return " ".join(["routes", *forward_table.ipv6_words()])
            case ["wts", event] if event in state.buffers:
                with state.lock:
                    state.buffers[event] += 1
                return "ok"
            case ["buffers"]:
                with state.lock:
                    return " ".join(f"{event} {count}" for event, count in state.buffers.items())
            case ["tunnel", length]:
                return self.announce(self.rfile.read(int(length)).decode("utf-8", "replace"))
            case ["start"]:
                return self.start()
            case ["stop"]:
                return self.stop()
            case ["knob", name, value]:
                with state.lock:
                    return state.turn(name, value)
            case ["fault", function, nth, status]:
                with state.lock:
                    return state.add_fault(function, nth, status)
            case ["faults", "none"]:
                with state.lock:
                    state.faults = []
                return "ok"
            case ["reset"]:
                with state.lock:
                    state.reset()
                return "ok"
            case ["calls"]:
                with state.lock:
                    return " ".join(state.log)
            case _:
                return "unknown"

    def announce(self, conf):
        self.conf = conf
        knobs = self.server.state.knobs
        return f"knobs early={knobs['early']} crash={knobs['crash']}"

    def start(self):
        knobs = dict(self.server.state.knobs)
        time.sleep(float(knobs["start-delay"]))
        try:
            interface = WireguardInterface(self.conf, knobs["alias"],
                                           knobs["default-route"] == "1")
        except Refused as reason:
            note(f"refused: {reason}")
            return f"refused {reason}"
        self.interface = interface
        if knobs["destroy-route"] != "none":
            forward_table.destroy_host_route(knobs["destroy-route"])
        note("up")
        return "up"

    def stop(self):
        delay = self.server.state.knobs["stop"]
        while delay == "never":
            self.rfile.readline() or self.vanish()
        time.sleep(float(delay))
        if self.interface is not None:
            self.interface.take_down()
            self.interface = None
        note("down")
        return "down"

    def vanish(self):
        raise ConnectionAbortedError


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True


def note(text):
    print(f"{time.strftime('%H:%M:%S')} {text}", flush=True)


def main():
    with Server(ADDRESS, Connection) as server:
        server.state = State()
        print("ready", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
