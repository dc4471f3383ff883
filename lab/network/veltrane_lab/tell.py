"""Tells the agent something from any place of the lab: `python3 -m veltrane_lab.tell knob stop 10`.
What can be told is listed in agent.py."""

import socket
import sys

from .agent import ADDRESS
from .places import MACHINE, inside


def tell(text):
    with inside(MACHINE):
        connection = socket.create_connection(ADDRESS)
    with connection:
        connection.sendall(text.encode() + b"\n")
        return connection.makefile().readline().strip()


if __name__ == "__main__":
    print(tell(" ".join(sys.argv[1:])))
