"""What is different about the machine in some rows of the matrix. Each is a pair of functions: one
that changes the machine, and one that undoes it."""

from forecast_people import BY_SECOND, NAMED, ON_SECOND_LINK, PUBLIC
from veltrane_lab import places
from veltrane_lab.places import GATEWAY, MACHINE
from veltrane_lab.tell import tell

SECOND_GATEWAY_OF_LINK = "192.168.77.254"
OTHER_TUNNEL = "other-tunnel"


def _route(verb, *row):
    return lambda: places.check_in(MACHINE, "ip", "route", verb, *row)


def _plug_in_second_adapter():
    places.plug_in_second_adapter()
    places.check_in(GATEWAY, "ip", "address", "add", f"{ON_SECOND_LINK.address}/24",
                    "dev", "to-machine-too")


def _plug_in_second_adapter_with_row():
    _plug_in_second_adapter()
    places.check_in(MACHINE, "ip", "route", "add", *_BY_SECOND_ADAPTER)


def _add_row_by_another_gateway():
    places.check_in(GATEWAY, "ip", "address", "add", f"{SECOND_GATEWAY_OF_LINK}/24",
                    "dev", "to-machine")
    places.check_in(MACHINE, "ip", "route", "add", *_BY_ANOTHER_GATEWAY)


def _remove_row_by_another_gateway():
    places.check_in(MACHINE, "ip", "route", "delete", *_BY_ANOTHER_GATEWAY)
    places.check_in(GATEWAY, "ip", "address", "delete", f"{SECOND_GATEWAY_OF_LINK}/24",
                    "dev", "to-machine")


def _bring_up_other_tunnel():
    """Another program's, with a default route that loses against the physical one."""
    places.plug_in(OTHER_TUNNEL, 201, "other-end")
    places.check_in(MACHINE, "ip", "address", "add", "10.99.0.2/32", "dev", OTHER_TUNNEL)
    places.check_in(MACHINE, "ip", "link", "set", OTHER_TUNNEL, "up")
    places.check_in(MACHINE, "ip", "route", "add", "default", "dev", OTHER_TUNNEL, "metric", 9)
    # A tunnel that is still starting cannot be stopped, and waiting for that takes 15 seconds.
    tell("knob early 1")


def _take_down_other_tunnel():
    places.check_in(MACHINE, "ip", "link", "delete", OTHER_TUNNEL)


_OPERATORS_ROW = PUBLIC.address, "via", places.GATEWAY_IP, "dev", "eth0"
# With a metric that loses against that of a pinned route.
_BY_SECOND_ADAPTER = (BY_SECOND.address, "via", places.SECOND_GATEWAY_IP,
                      "dev", places.SECOND_ADAPTER, "metric", 3)
_BY_ANOTHER_GATEWAY = NAMED.address, "via", SECOND_GATEWAY_OF_LINK, "dev", "eth0", "metric", 3

PLAIN = None
SECOND_ADAPTER = _plug_in_second_adapter, places.unplug_second_adapter
SECOND_ADAPTER_WITH_ROW = _plug_in_second_adapter_with_row, places.unplug_second_adapter
OPERATORS_ROW = _route("add", *_OPERATORS_ROW), _route("delete", *_OPERATORS_ROW)
ROW_BY_ANOTHER_GATEWAY = _add_row_by_another_gateway, _remove_row_by_another_gateway
OTHER_TUNNEL_UP = _bring_up_other_tunnel, _take_down_other_tunnel
NAMES = {PLAIN: "", SECOND_ADAPTER: "second adapter",
         SECOND_ADAPTER_WITH_ROW: "second adapter with a row for who came by it",
         OPERATORS_ROW: "operator's row",
         ROW_BY_ANOTHER_GATEWAY: "row by another gateway", OTHER_TUNNEL_UP: "other tunnel up"}
