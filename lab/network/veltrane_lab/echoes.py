"""The administrator's connection: a TCP connection to port 3389 of the machine (Remote Desktop), or to
port 22, that sends a counter every 50 ms and reads its echo."""

import bisect
import socket
import sys
import threading
import time

from .places import ADMINISTRATOR, ADMINISTRATOR_IP, MACHINE_IP, inside
from .remote_desktop import PORT
from .waiting import wait_until

INTERVAL_SECONDS = 0.05
LATE_SECONDS = 2.0


class Administrator:
    """Connected and counting from construction until close.

    A message is late when it is not back within LATE_SECONDS, whether or not it comes back later.
    """

    def __init__(self, source=ADMINISTRATOR_IP, machine=MACHINE_IP, port=PORT, place=ADMINISTRATOR):
        with inside(place):
            self._connection = socket.socket(socket.AF_INET6 if ":" in source else socket.AF_INET)
        self._connection.bind((source, 0))
        self._connection.settimeout(LATE_SECONDS)
        self._connection.connect((machine, port))
        self._connection.settimeout(None)
        self._connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._lock = threading.Lock()
        self._sent_at = []
        self._back_at = []
        self._late = 0
        self._wrong = 0
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
                    number = len(self._back_at)
                    self._back_at.append(time.monotonic())
                    self._wrong += line.strip() != str(number)
                    self._late += self._back_at[number] - self._sent_at[number] > LATE_SECONDS
        except OSError:
            pass

    @property
    def sent(self):
        with self._lock:
            return len(self._sent_at)

    @property
    def back(self):
        with self._lock:
            return len(self._back_at)

    @property
    def slowest_seconds(self):
        return max((back - sent for sent, back in self.history() if back), default=0.0)

    def history(self):
        """When each echo was sent and when it was back, by time.monotonic; None when it is not."""
        with self._lock:
            return [(sent, self._back_at[number] if number < len(self._back_at) else None)
                    for number, sent in enumerate(self._sent_at)]

    def back_since(self, moment):
        """How many of the messages that were sent since then, by time.monotonic, are back."""
        with self._lock:
            return max(0, len(self._back_at) - bisect.bisect_left(self._sent_at, moment))

    @property
    def late(self):
        """How many came back late, or are late now."""
        with self._lock:
            now = time.monotonic()
            waiting = self._sent_at[len(self._back_at):]
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

    def wait_while_silent(self, seconds):
        """Waits so long, in which nothing may come back."""
        back = self.back
        time.sleep(seconds)
        if self.back != back:
            raise AssertionError("the administrator is not cut off")

    def count_on_again(self, more):
        """Waits until so many more messages are back, late ones too: TCP sends again what was lost,
        at growing intervals."""
        goal = self.back + more
        wait_until(lambda: self.back >= goal, f"{more} more echoes after a silence")

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
