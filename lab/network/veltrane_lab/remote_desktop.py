"""Listens on port 3389 of the machine and echoes what it receives: the machine's end of a Remote
Desktop connection."""

import socket
import socketserver
import sys
import threading


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
    with Ipv6Server(("::", 3389), Session) as second, Server(("0.0.0.0", 3389), Session) as server:
        threading.Thread(target=second.serve_forever, daemon=True).start()
        print("ready", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
