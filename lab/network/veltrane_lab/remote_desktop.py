"""Listens on the ports 3389 and 22 of the machine and echoes what it receives: the machine's end of
Remote Desktop connections, and of others by which it is administered and that the service does not
look for."""

import socket
import socketserver
import sys
import threading


PORT, OTHER_PORT = 3389, 22


class Session(socketserver.BaseRequestHandler):
    def handle(self):
        try:
            while data := self.request.recv(65536):
                self.request.sendall(data)
        except OSError:
            pass


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True


class Ipv6Server(Server):
    """For IPv6 alone: Wine does not count IPv4 connections of a socket for both."""
    address_family = socket.AF_INET6

    def server_bind(self):
        self.socket.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        super().server_bind()


def main():
    for port in (PORT, OTHER_PORT):
        for server in (Ipv6Server(("::", port), Session), Server(("0.0.0.0", port), Session)):
            threading.Thread(target=server.serve_forever, daemon=True).start()
    print("ready", flush=True)
    threading.Event().wait()


if __name__ == "__main__":
    sys.exit(main())
