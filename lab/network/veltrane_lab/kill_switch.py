"""The firewall of a tunnel that takes everything, as the WireGuard library for Windows sets it up.

"If an interface has only one peer, and that peer contains an Allowed IP in /0, then WireGuard
enables a so-called kill-switch": Network Configuration Quirks, docs/netquirk.md of
https://git.zx2c4.com/wireguard-windows. Permitted are the tunnel service's own packets, DNS to the
configured servers alone, loopback, what goes through the tunnel, DHCP and NDP; everything else is
blocked, in both directions, IPv4 and IPv6. No route helps against it.
"""

import ipaddress
import re

from .commands import check, run

TABLE = "veltrane_kill_switch"


def applies_to(own_lines, networks):
    """True for one peer with a network of length /0, however it is written: 1.2.3.4/0 is one too."""
    one_peer = len(re.findall(r"(?im)^\[peer\]$", own_lines)) == 1
    return one_peer and any(ipaddress.ip_network(network, strict=False).prefixlen == 0
                            for network in networks)


def _dns_rules(servers, direction, port):
    """Port 53 only to or from these servers; no rule without one."""
    if not servers:
        return []
    allowed = [f"{family} {direction} {server} {protocol} {port} 53 accept"
               for server in servers for protocol in ("udp", "tcp")
               for family in ["ip6" if ":" in server else "ip"]]
    return allowed + [f"meta l4proto {{ tcp, udp }} th {port} 53 drop"]


def switch_on(interface, mark, listen_port, dns_servers):
    """Blocks what does not go through the interface. The tunnel service's own packets are the ones
    that carry the mark when they leave, and those to its port when they come."""
    neighbours = "icmpv6 type { nd-router-solicit, nd-router-advert, nd-neighbor-solicit, " \
                 "nd-neighbor-advert, nd-redirect } accept"
    rules = {
        "output": [f"meta mark {mark} accept", *_dns_rules(dns_servers, "daddr", "dport"),
                   'oifname "lo" accept', f'oifname "{interface}" accept',
                   "udp sport 68 udp dport 67 accept", "udp sport 546 udp dport 547 accept",
                   neighbours],
        "input": [f"udp dport {listen_port} accept", *_dns_rules(dns_servers, "saddr", "sport"),
                  'iifname "lo" accept', f'iifname "{interface}" accept',
                  "udp sport 67 udp dport 68 accept", "udp sport 547 udp dport 546 accept",
                  neighbours]}
    text = f"table inet {TABLE} {{\n"
    for chain, lines in rules.items():
        text += f"  chain {chain} {{\n    type filter hook {chain} priority 0; policy drop;\n"
        text += "".join(f"    {line}\n" for line in lines) + "  }\n"
    check("nft", "-f", "-", input=text + "}\n")


def switch_off():
    run("nft", "delete", "table", "inet", TABLE)
