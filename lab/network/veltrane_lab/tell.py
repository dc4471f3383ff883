"""Sends a command to the agent from any place: `python3 -m veltrane_lab.tell knob stop 10`. The
head of agent.py lists the commands."""

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
