"""Counts the packets that pass through a place."""

import collections
import socket
import struct
import threading

from .places import inside

_ALL_PROTOCOLS = 0x0003
_RECEIVE_BUFFER = 8 << 20


def _ends_of(packet):
    """Returns source and destination as text; None for a packet that is not IP."""
    version = packet[0] >> 4 if packet else 0
    if version == 4 and len(packet) >= 20:
        return tuple(map(socket.inet_ntoa, struct.unpack("!4s4s", packet[12:20])))
    if version == 6 and len(packet) >= 40:
        return tuple(socket.inet_ntop(socket.AF_INET6, packet[at:at + 16]) for at in (8, 24))
    return None


class PacketWatch:
    """Counts packets in a place from construction until close, on all of its interfaces.

    A forwarded packet is counted on both of its interfaces.
    """

    def __init__(self, place):
        with inside(place):
            self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM,
                                         socket.htons(_ALL_PROTOCOLS))
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, _RECEIVE_BUFFER)
        self._socket.settimeout(0.2)
        self._counts = collections.Counter()
        self._lock = threading.Lock()
        self._ending = threading.Event()
        self._thread = threading.Thread(target=self._count, daemon=True)
        self._thread.start()

    def _count(self):
        while not self._ending.is_set():
            try:
                packet, (interface, *_) = self._socket.recvfrom(64)
            except TimeoutError:
                continue
            except OSError:
                return
            ends = _ends_of(packet)
            if ends is not None:
                with self._lock:
                    self._counts[interface, *ends] += 1

    def count(self, interface=None, source=None, dest=None):
        """Returns how many packets have passed so far; None matches anything."""
        wanted = interface, source, dest
        with self._lock:
            return sum(number for key, number in self._counts.items()
                       if all(w is None or w == k for w, k in zip(wanted, key)))

    def by_interface(self, source, dest):
        """Returns how many packets between the two have passed each interface so far."""
        with self._lock:
            return collections.Counter({key[0]: number for key, number in self._counts.items()
                                        if key[1:] == (source, dest)})

    def close(self):
        self._ending.set()
        self._thread.join()
        self._socket.close()
