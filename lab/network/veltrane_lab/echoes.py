"""The administrator's Remote Desktop connection: a TCP connection to port 3389 of the machine that
sends a counter every 50 ms and reads its echo."""

import socket
import sys
import threading
import time

from .places import ADMINISTRATOR, ADMINISTRATOR_IP, MACHINE_IP, inside
from .waiting import wait_until

INTERVAL_SECONDS = 0.05
LATE_SECONDS = 2.0


class Administrator:
    """Connected and counting from construction until close.

    A message is late when it is not back within LATE_SECONDS, whether or not it comes back later.
    """

    def __init__(self, source=ADMINISTRATOR_IP):
        with inside(ADMINISTRATOR):
            self._connection = socket.socket()
        self._connection.bind((source, 0))
        self._connection.settimeout(LATE_SECONDS)
        self._connection.connect((MACHINE_IP, 3389))
        self._connection.settimeout(None)
        self._connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._lock = threading.Lock()
        self._sent_at = []
        self._back = 0
        self._late = 0
        self._wrong = 0
        self._slowest = 0.0
        self._ending = threading.Event()
        self._threads = [threading.Thread(target=self._send, daemon=True),
                         threading.Thread(target=self._receive, daemon=True)]
        for thread in self._threads:
            thread.start()

    def _send(self):
        while not self._ending.wait(INTERVAL_SECONDS):
            with self._lock:
                number = len(self._sent_at)
                self._sent_at.append(time.monotonic())
            try:
                self._connection.sendall(f"{number}\n".encode())
            except OSError:
                return

    def _receive(self):
        try:
            for line in self._connection.makefile():
                with self._lock:
                    took = time.monotonic() - self._sent_at[self._back]
                    self._wrong += line.strip() != str(self._back)
                    self._late += took > LATE_SECONDS
                    self._slowest = max(self._slowest, took)
                    self._back += 1
        except OSError:
            pass

    @property
    def sent(self):
        with self._lock:
            return len(self._sent_at)

    @property
    def back(self):
        with self._lock:
            return self._back

    @property
    def slowest_seconds(self):
        with self._lock:
            return self._slowest

    @property
    def late(self):
        """How many came back late, or are late now."""
        with self._lock:
            now = time.monotonic()
            waiting = self._sent_at[self._back:]
            return self._late + sum(now - sent > LATE_SECONDS for sent in waiting)

    @property
    def wrong(self):
        """How many came back different from what was sent."""
        with self._lock:
            return self._wrong

    def count_on(self, more):
        """Waits until this many more messages are back, or one is late."""
        goal = self.back + more
        wait_until(lambda: self.back >= goal or self.late, f"{more} more echoes")

    def break_off(self):
        """Waits until a message is late: a person would then call the connection broken."""
        wait_until(lambda: self.late, "an echo is late")

    def finish(self):
        """Stops sending, waits for what is in flight, and closes; returns how many were lost."""
        self._ending.set()
        self._threads[0].join()
        try:
            wait_until(lambda: self.back == self.sent, "the last echoes", bound=10)
        except AssertionError:
            pass
        lost = self.sent - self.back
        self.close()
        return lost

    def close(self):
        self._ending.set()
        try:
            self._connection.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self._connection.close()


def main():
    administrator = Administrator()
    try:
        while True:
            time.sleep(1)
            print(f"sent {administrator.sent}  back {administrator.back}  late "
                  f"{administrator.late}  slowest {administrator.slowest_seconds * 1000:.0f} ms",
                  flush=True)
    except KeyboardInterrupt:
        print(f"lost {administrator.finish()}")


if __name__ == "__main__":
    sys.exit(main())
