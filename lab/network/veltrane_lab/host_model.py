"""Where a packet with a given source address leaves.

Since Windows Vista a packet that carries the address of an interface leaves by that interface alone,
unless weak host sends are enabled there ("The Cable Guy: Strong and Weak Host Models", TechNet
Magazine, September 2007). Linux looks at the destination only. The machine is a Linux one until
use_strong gives each of its addresses a table with the routes of its own interface.
"""

import json

from .commands import check, run

PRIORITY = 20
FIRST_TABLE = 201


def use_strong():
    """Also for interfaces that have come since the last call."""
    use_weak()
    interfaces = [interface for interface in json.loads(check("ip", "-json", "-4", "address"))
                  if interface["ifname"].startswith("eth")]
    for table, interface in enumerate(interfaces, FIRST_TABLE):
        name = interface["ifname"]
        for route in check("ip", "-4", "route", "show", "dev", name).splitlines():
            check("ip", "route", "append", *route.split(), "dev", name, "table", table)
        for address in interface["addr_info"]:
            check("ip", "rule", "add", "from", address["local"], "lookup", table,
                  "priority", PRIORITY)


def use_weak():
    while run("ip", "rule", "delete", "priority", PRIORITY)[0] == 0:
        pass
    for table in range(FIRST_TABLE, FIRST_TABLE + 4):
        run("ip", "route", "flush", "table", table)
