"""Sends one request to the service and prints the reply:

  python3 -m veltrane_lab.request status | disconnect | register_session
  python3 -m veltrane_lab.request connect [KEY=VALUE...]   with a profile that the server accepts
  python3 -m veltrane_lab.request TEXT                     TEXT as it is
"""

import json
import sys

from .windows import PipeClient, profile


def request_of(arguments):
    match arguments:
        case ["connect", *changes]:
            return json.dumps(profile(**dict(change.split("=", 1) for change in changes)))
        case [text] if "{" not in text:
            return json.dumps({"op": text})
        case _:
            return " ".join(arguments)


def main():
    client = PipeClient()
    reply = client.ask(request_of(sys.argv[1:]))
    client.close()
    try:
        print(json.dumps(json.loads(reply), indent=2))
    except ValueError:
        print(reply)


if __name__ == "__main__":
    sys.exit(main())
