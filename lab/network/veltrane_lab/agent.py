"""Does on the Linux side what the stand-in DLLs request, and keeps the lab's knobs and faults.

Listens on 127.0.0.1:47501 in the machine. A client sends lines and gets one reply line for each:

  call FUNCTION                      the Win32 error that the call must fail with, or 0
  route create DEST MASK HOP IF METRIC   creates the route; 0 or a Win32 error
  route delete DEST MASK HOP IF METRIC   deletes the route; 0 or a Win32 error
  tunnel LENGTH                      takes LENGTH more bytes, the configuration; the two knobs
                                     that concern the stand-in, as "knobs early=0 crash=0"
  start                              "up", or "refused" and the reason
  stop                               "down"; no reply while the knob "stop" is "never"

A tunnel belongs to the connection on which it was announced, as a tunnel adapter belongs to the
process that opened it: when the connection ends without "stop", the tunnel is taken down.

For people and scenarios (see `tell`):

  knob NAME VALUE    early 0|1, start-delay SECONDS, stop SECONDS|never, default-route 0|1,
                     destroy-route DEST|none, crash SECONDS (0 for never)
  fault FUNCTION NTH STATUS   the NTH call from now on fails (NTH+: every later one too)
  reset              resets all knobs and faults, and empties the call log
  calls              the calls since the reset, on one line
"""

import socketserver
import sys
import threading
import time

from . import forward_table
from .wireguard_interface import Refused, WireguardInterface

ADDRESS = ("127.0.0.1", 47501)
FIRST_KNOBS = {"early": "0", "start-delay": "0", "stop": "0", "default-route": "0",
               "destroy-route": "none", "crash": "0"}


class State:
    """Knobs, faults and the call log, shared by all connections."""

    def __init__(self):
        self.lock = threading.Lock()
        self.reset()

    def reset(self):
        self.knobs = dict(FIRST_KNOBS)
        self.faults = []
        self.log = []

    def turn(self, name, value):
        if name not in self.knobs:
            return f"unknown knob {name}"
        self.knobs[name] = value
        return "ok"

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
                return str(forward_table.create(*row))
            case ["route", "delete", *row] if len(row) == 5:
                return str(forward_table.delete(*row))
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
            interface = WireguardInterface(self.conf, knobs["default-route"] == "1")
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
