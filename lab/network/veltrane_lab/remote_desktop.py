"""Listens on port 3389 of the machine and echoes what it receives: the machine's end of a Remote
Desktop connection."""

import socketserver
import sys


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


def main():
    with Server(("0.0.0.0", 3389), Session) as server:
        print("ready", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    sys.exit(main())
