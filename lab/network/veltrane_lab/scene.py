"""What the parts of the demonstration play with."""

import concurrent.futures
import time

from . import places, windows
from .echoes import Administrator
from .packets import PacketWatch
from .waiting import wait_until

HALVES = "0.0.0.0/1, 128.0.0.0/1"


class Scene:
    """The administrator, the service and the packets between them, through several parts."""

    def __init__(self, **environment):
        self.administrator = Administrator()
        self.service = windows.Service(windows.PipeClient(), **environment)
        self.service.status()
        self._packets = PacketWatch(places.MACHINE)

    def count_packets(self, part, what, echoes):
        """Waits for so many more echoes and notes the way that they took. Returns the numbers of
        packets through the gateway and through the tunnel."""
        return self._note_packets(part, what, lambda: self.administrator.count_on(echoes))

    def count_packets_after_silence(self, part, what, echoes):
        """The same, of echoes that are sent from now on; those of the silence may come back first."""
        now = time.monotonic()
        return self._note_packets(part, what, lambda: wait_until(
            lambda: self.administrator.back_since(now) >= echoes, what))

    def break_off(self, part):
        """Waits until the administrator has lost the machine, and notes where his packets go.
        Returns whether he has."""
        try:
            self._note_packets(part, "while an echo is missing", self.administrator.break_off)
        except AssertionError:
            return False
        part.event("an echo has been missing for two seconds")
        return True

    def _note_packets(self, part, what, action):
        before = [self._to_administrator(name) for name in ("eth0", places.TUNNEL)]
        action()
        after = [self._to_administrator(name) for name in ("eth0", places.TUNNEL)]
        ways = [now - then for then, now in zip(before, after)]
        part.note_packets(what, *ways)
        return ways

    def _to_administrator(self, interface):
        return self._packets.count(interface=interface, source=places.MACHINE_IP,
                                   dest=places.ADMINISTRATOR_IP)

    def request(self, part, name, action):
        part.event(f"{name} is sent", mark=f"{name.split()[0]} sent")
        with concurrent.futures.ThreadPoolExecutor() as executor:
            reply = executor.submit(action).result()
        part.event(f"{name} is answered: {reply.get('phase') or reply.get('error')}",
                   mark=f"{name.split()[0]} answered")
        return reply

    def connect(self, part, allowed_ips):
        reply = self.request(part, f"connect with AllowedIPs {allowed_ips}",
                             lambda: self.service.connect(allowed_ips_csv=allowed_ips))
        part.check("the service is connected", reply.get("phase") == "connected")
        self.service.wait_for_tunnel()
        part.note_routes("during")
        return reply

    def disconnect(self, part):
        self.request(part, "disconnect", self.service.disconnect)
        wait_until(lambda: not windows.tunnel_processes(), "the tunnel process ends")
        part.note_routes("after")

    def end(self):
        self.administrator.close()
        self.service.kill()
        self.service.client.close()
        self._packets.close()
