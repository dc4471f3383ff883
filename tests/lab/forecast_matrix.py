"""The combinations that the forecast is held against packets in: data alone."""

import dataclasses

import forecast_machines as machines
from forecast_people import EVERYBODY, NAMED, NAMED_TOO, NOBODY_TO_PIN, OF_TWO_ADAPTERS, PUBLIC


@dataclasses.dataclass(frozen=True)
class Registered:
    """A service of the control manager, whose settings the client cannot always know."""

    machine_at_boot: tuple = ()  # the machine's environment when Windows starts
    machine_later: tuple = ()  # ... and what is written to it while the service runs
    own_at_start: tuple = ()  # the value Environment of the service's key when the service starts
    own_later: tuple = ()  # ... and what it is when the service runs
    client: tuple = ()  # the environment of the client's process

    @property
    def is_known(self):
        """A value of the service's own that names every setting, and that nobody touches."""
        return len(self.own_at_start) == 4 and not self.own_later


@dataclasses.dataclass(frozen=True)
class Combination:
    allowed_ips: str
    settings: tuple = ()  # of the service in console mode, and of the client
    address: str = "10.66.66.7/32"
    metric: int = 1
    people: tuple = EVERYBODY
    machine: tuple | None = machines.PLAIN
    strong_host: bool = False
    already_up: str = ""  # AllowedIPs of the tunnel that is up when the question is asked
    session: str = ""  # the client address of a Remote Desktop session
    unpinnable_session: bool = False  # the second route that the service creates fails
    unreadable: str = ""  # the function that fails for the client, and not for the service
    service: Registered | None = None

    def __str__(self):
        parts = [f"AllowedIPs {self.allowed_ips}", f"Address {self.address}",
                 _text_of(self.settings), f"metric {self.metric}", machines.NAMES[self.machine],
                 "strong host sends" if self.strong_host else "",
                 f"over a tunnel with {self.already_up}" if self.already_up else "",
                 f"session of {self.session}" if self.session else "",
                 "which cannot be pinned" if self.unpinnable_session else "",
                 f"{self.unreadable} fails" if self.unreadable else "",
                 "nobody public at 3389" if self.people is NOBODY_TO_PIN else ""]
        if self.service:
            parts.append("registered service")
            parts += [f"{name} {_text_of(value)}"
                      for name, value in dataclasses.asdict(self.service).items() if value]
        return "; ".join(part for part in parts if part)


def _text_of(settings):
    return " ".join(f"{name}={value}" for name, value in settings)


OFF = (("VELTRANE_POC_ADMIN_BYPASS", "0"),)
BY_ADDRESS = (("ADMIN_BYPASS_IP", NAMED.address), ("ADMIN_BYPASS_IPS", NAMED_TOO.address))
BY_CONNECTION = (("VELTRANE_POC_ADMIN_BYPASS", "1"),)
GUARD = (("VELTRANE_POC_DISABLE_DEFAULT_ROUTE", "1"),)
MODES = OFF, BY_ADDRESS, BY_CONNECTION

TUNNELS_OWN = "10.66.66.0/24"
HALVES = "0.0.0.0/1, 128.0.0.0/1"
ALL_HALVES = HALVES + ", ::/1, 8000::/1"
CATCH_ALL = "0.0.0.0/0"
WIDE_ADDRESS = "10.66.66.7/8"

ALLOWED_IPS = (
    TUNNELS_OWN, HALVES, CATCH_ALL,
    "203.0.113.0/24",               # the administrators' own network
    f"{PUBLIC.address}/32", "203.0.113.6/32, 203.0.113.7/32",
    "192.168.77.0/24",              # the machine's own
    "10.66.66.0/24, 172.16.0.0/12",
    "1.2.3.4/0", "10.66.66.0/24, ::/0",
    ALL_HALVES, "10.66.66.0/24, 2001:db8:113::/48",
)
# One half, host bits, a list with a catch-all, on the link over IPv6.
MORE_ALLOWED_IPS = ("0.0.0.0/1", "200.1.2.3/1", "10.66.66.0/24,0.0.0.0/0", "2001:db8:77::/64")

MATRIX = [Combination(networks, mode) for networks in ALLOWED_IPS for mode in MODES]
MATRIX += [Combination(networks, BY_CONNECTION) for networks in MORE_ALLOWED_IPS]
# The guard, which knows two texts of a catch-all; the bypass pins nothing under it.
MATRIX += [Combination(networks, GUARD + mode)
           for networks in (CATCH_ALL, f"{CATCH_ALL}, ::/0", "1.2.3.4/0", "::0/0", HALVES,
                            TUNNELS_OWN)
           for mode in (OFF, BY_CONNECTION)]
# The network of Address, which is on the link of the tunnel.
MATRIX += [Combination(networks, mode, address=WIDE_ADDRESS)
           for networks in (TUNNELS_OWN, CATCH_ALL) for mode in (OFF, BY_CONNECTION)]
MATRIX += [Combination(TUNNELS_OWN, mode, address="192.168.77.50/24") for mode in MODES[1:]]
MATRIX += [Combination(TUNNELS_OWN, OFF, address="10.66.66.7/32, 2001:db8:113::7/48"),
           Combination(CATCH_ALL, GUARD, address=WIDE_ADDRESS)]
# An adapter as it comes.
MATRIX += [Combination(networks, mode, metric=25)
           for networks in (TUNNELS_OWN, HALVES) for mode in (OFF, BY_ADDRESS, BY_CONNECTION)]
# A row of the operator's own counts up to metric 15.
MATRIX += [Combination(networks, BY_CONNECTION, metric=metric, machine=machines.OPERATORS_ROW)
           for networks in (HALVES, TUNNELS_OWN) for metric in (15, 16, 1)]
MATRIX += [Combination(HALVES, mode, machine=machines.OPERATORS_ROW) for mode in MODES[:2]]
MATRIX += [Combination(networks, mode, machine=machines.ROW_BY_ANOTHER_GATEWAY)
           for networks in (HALVES, TUNNELS_OWN) for mode in MODES]
# Nobody whom the service must pin.
MATRIX += [Combination(networks, mode, people=NOBODY_TO_PIN)
           for networks in (HALVES, TUNNELS_OWN) for mode in (BY_ADDRESS, BY_CONNECTION)]
# A tunnel that is already up.
MATRIX += [Combination(networks, mode, already_up=earlier)
           for earlier in (TUNNELS_OWN, HALVES)
           for networks, mode in ((HALVES, OFF), (HALVES, BY_CONNECTION), (TUNNELS_OWN, OFF))]
# Another program's tunnel with a default route, which the guard takes for its own.
MATRIX += [Combination(networks, mode, machine=machines.OTHER_TUNNEL_UP)
           for networks in (TUNNELS_OWN, CATCH_ALL) for mode in (GUARD, OFF, BY_CONNECTION)]
# A second adapter.
MATRIX += [Combination(networks, mode, people=OF_TWO_ADAPTERS, machine=machines.SECOND_ADAPTER,
                       strong_host=strong)
           for networks in (TUNNELS_OWN, HALVES, "198.18.0.0/24")
           for mode, strong in ((OFF, False), (BY_CONNECTION, False), (BY_CONNECTION, True))]
MATRIX += [Combination(networks, mode, people=OF_TWO_ADAPTERS,
                       machine=machines.SECOND_ADAPTER_WITH_ROW)
           for networks in (TUNNELS_OWN, HALVES) for mode in (OFF, BY_CONNECTION)]
# Packets that leave by the interface of their source, as on Windows.
MATRIX += [Combination(networks, mode, strong_host=True)
           for networks in (TUNNELS_OWN, HALVES, CATCH_ALL, "192.168.77.0/24")
           for mode in (OFF, BY_CONNECTION)]

# The client of a session, whom the service pins if it can.
MATRIX += [Combination(HALVES, mode, metric=metric, session=NAMED_TOO.address)
           for mode, metric in ((BY_CONNECTION, 1), (OFF, 1), (BY_CONNECTION, 25))]
MATRIX += [Combination(networks, BY_CONNECTION, session=NAMED_TOO.address, unpinnable_session=True)
           for networks in (HALVES, TUNNELS_OWN)]
# What the client cannot read.
MATRIX += [Combination(networks, BY_CONNECTION, unreadable=function)
           for networks, function in ((HALVES, "GetIpForwardTable"), (ALL_HALVES, "GetIfEntry2"),
                                      (ALL_HALVES, "GetIpForwardTable2"), (HALVES, "GetBestRoute"),
                                      (HALVES, "GetIpInterfaceEntry"),
                                      (HALVES, "GetAdaptersAddresses"),
                                      (HALVES, "WTSEnumerateSessionsW"))]

# The client's environment is not the service's.
NAMED_IN_VAIN = (("ADMIN_BYPASS_IP", f"{PUBLIC.address},{NAMED.address}"),)
UNKNOWN = (
    Registered(),
    Registered(client=NAMED_IN_VAIN),
    Registered(client=GUARD),
    Registered(machine_at_boot=NAMED_IN_VAIN),
    Registered(machine_at_boot=GUARD),
    Registered(machine_at_boot=NAMED_IN_VAIN, client=OFF),
    Registered(machine_later=NAMED_IN_VAIN),
    Registered(own_later=NAMED_IN_VAIN),
    Registered(own_later=NAMED_IN_VAIN + BY_CONNECTION + GUARD),
)
MATRIX += [Combination(networks, service=service)
           for service in UNKNOWN for networks in (HALVES, TUNNELS_OWN)]
MATRIX += [Combination(CATCH_ALL, service=service)
           for service in (Registered(client=GUARD), Registered(machine_at_boot=GUARD),
                           Registered(own_later=GUARD))]
# A value of the service's own that names every setting is known, as long as nobody writes the key.
NO_GUARD = (("VELTRANE_POC_DISABLE_DEFAULT_ROUTE", "0"),)
OWN_OFF = NO_GUARD + OFF + BY_ADDRESS
OWN_ON = NO_GUARD + BY_CONNECTION + BY_ADDRESS
OWN_GUARD = GUARD + OFF + BY_ADDRESS
MATRIX += [Combination(networks, service=Registered(own_at_start=own, client=client))
           for own, client in ((OWN_OFF, BY_CONNECTION), (OWN_ON, ()), (OWN_ON, OFF), (OWN_GUARD, ()))
           for networks in (HALVES, TUNNELS_OWN, CATCH_ALL)]
MATRIX += [Combination(networks, service=Registered(own_at_start=own, own_later=later))
           for networks, own, later in ((HALVES, OWN_OFF, OWN_ON), (HALVES, OWN_ON, OWN_OFF),
                                        (CATCH_ALL, OWN_OFF, OWN_GUARD))]
