"""What one part of the demonstration saw, for its report."""

import time

from . import places


class Part:
    """Checks are printed as they are made. Times are seconds since the part began."""

    def __init__(self, title, story, on_windows):
        self.title, self.story, self.on_windows = title, story, on_windows
        self.events, self.echoes, self.routes, self.packets, self.checks = [], [], {}, [], []
        self.screens = []
        self._began = time.monotonic()
        print(f"\n== {title}\n{story}\n", flush=True)

    def now(self):
        return time.monotonic() - self._began

    def event(self, text, mark=""):
        """`mark` is its name in the plot, where only events with one are shown."""
        self.events.append((self.now(), text, mark))
        print(f"  {self.now():5.2f} s  {text}", flush=True)

    def note_routes(self, when):
        """The machine's IPv4 routes; `when` is "before", "during" or "after"."""
        self.routes[when] = places.check_in(places.MACHINE, "ip", "-4", "route").splitlines()

    def note_packets(self, what, by_gateway, by_tunnel):
        self.packets.append((what, by_gateway, by_tunnel))
        print(f"  {what}: {by_gateway} packets through the gateway, {by_tunnel} through the tunnel", flush=True)

    def note_echoes(self, administrator):
        self.echoes = [(sent - self._began, back and back - self._began)
                       for sent, back in administrator.history() if sent >= self._began]

    def note_screen(self, command, text):
        """What a command of the client has shown."""
        self.screens.append((command, text))

    def check(self, description, holds):
        self.checks.append((description, bool(holds)))
        print(f"  {'ok      ' if holds else 'FAILED  '}{description}", flush=True)

    @property
    def failures(self):
        return sum(not holds for _, holds in self.checks)

    def as_dictionary(self):
        names = ("title", "story", "on_windows", "events", "echoes", "routes", "packets", "checks",
                 "screens")
        return {name: getattr(self, name) for name in names}
