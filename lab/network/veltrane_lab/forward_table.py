"""The machine's main routing table: CreateIpForwardEntry, DeleteIpForwardEntry and the IPv6 rows.

A row comes from the stand-in iphlpapi.dll: destination, mask and next hop (dotted quads), interface
index and first metric (decimal). Results are 0 or a Win32 error.

Windows computes the metric of a route as the sum of its own and that of the interface. It refuses to
create a route whose sum is below the metric of the interface (Microsoft KB947216).
"""

import ipaddress
import json
import socket

from .commands import run

NO_ERROR = 0
ERROR_BAD_ARGUMENTS = 160
ERROR_INVALID_PARAMETER = 87
ERROR_NOT_FOUND = 1168
ERROR_OBJECT_ALREADY_EXISTS = 5010


def _parse(dest, mask, hop, index, metric):
    """Returns the row as (network, next hop, interface, metric), or None when it is invalid."""
    try:
        network = ipaddress.IPv4Network(f"{dest}/{mask}")
        interface = socket.if_indextoname(int(index))
        return str(network), str(ipaddress.IPv4Address(hop)), interface, int(metric)
    except (ValueError, OSError):
        return None


def _rows(network):
    """Returns (next hop, interface, metric) of every route to exactly this network."""
    _, text = run("ip", "-json", "-4", "route", "show", "exact", network)
    return [(row.get("gateway", "0.0.0.0"), row.get("dev", ""), row.get("metric", 0))
            for row in json.loads(text or "[]")]


def create(dest, mask, hop, index, metric, interface_metric):
    """Creates a route. As on Windows, its identity is destination, next hop and interface."""
    if metric < interface_metric:
        return ERROR_BAD_ARGUMENTS
    row = _parse(dest, mask, hop, index, metric - interface_metric)
    if row is None:
        return ERROR_INVALID_PARAMETER
    network, hop, interface, metric = row
    if any(known[:2] == (hop, interface) for known in _rows(network)):
        return ERROR_OBJECT_ALREADY_EXISTS
    via = [] if hop == "0.0.0.0" else ["via", hop]
    code, _ = run("ip", "route", "append", network, *via, "dev", interface, "metric", metric)
    return NO_ERROR if code == 0 else ERROR_INVALID_PARAMETER


def delete(dest, mask, hop, index, metric):
    """Deletes a route, whatever its metric."""
    row = _parse(dest, mask, hop, index, metric)
    if row is None:
        return ERROR_INVALID_PARAMETER
    network, hop, interface, _ = row
    via = [] if hop == "0.0.0.0" else ["via", hop]
    code, _ = run("ip", "route", "delete", network, *via, "dev", interface)
    return NO_ERROR if code == 0 else ERROR_NOT_FOUND


def ipv6_words():
    """Five words for each IPv6 route of the main table: destination, prefix length, next hop,
    interface index, metric."""
    _, text = run("ip", "-6", "-json", "route", "show", "table", "main")
    for row in json.loads(text or "[]"):
        if "dev" not in row or row.get("type", "unicast") != "unicast":
            continue
        network = ipaddress.ip_network("::/0" if row["dst"] == "default" else row["dst"])
        yield from (str(network.network_address), str(network.prefixlen), row.get("gateway", "::"),
                    str(socket.if_nametoindex(row["dev"])), str(row.get("metric", 0)))


def destroy_host_route(dest):
    """Deletes every host route to an address, no matter who created it."""
    for hop, interface, metric in _rows(f"{dest}/32"):
        via = [] if hop == "0.0.0.0" else ["via", hop]
        run("ip", "route", "delete", f"{dest}/32", *via, "dev", interface, "metric", metric)
