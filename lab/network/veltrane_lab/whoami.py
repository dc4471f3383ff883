"""Listens on port 80 of the outside host and sends each client the address it is seen from: the
machine's own when its packets come through the gateway alone, the tunnel's when they come through
the WireGuard server."""

import socketserver
import sys


class Visit(socketserver.BaseRequestHandler):
    def handle(self):
        self.request.sendall(self.client_address[0].encode() + b"\n")


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True


def main():
    with Server(("0.0.0.0", 80), Visit) as server:
        print("ready", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
