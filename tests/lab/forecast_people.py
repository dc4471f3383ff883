"""Those who administer the machine in the matrix, each over a connection of echoes."""

import dataclasses

from veltrane_lab import places
from veltrane_lab.echoes import Administrator
from veltrane_lab.places import ADMINISTRATOR, GATEWAY, MACHINE_IP, MACHINE_IP6, SECOND_IP
from veltrane_lab.remote_desktop import OTHER_PORT, PORT


@dataclasses.dataclass(frozen=True)
class Person:
    """Connected from this address. Over port 3389 the service finds the connection; over port 22 it
    does not, and the forecast is asked about the address."""

    address: str
    port: int = PORT
    local: str = MACHINE_IP
    place: str = ADMINISTRATOR

    @property
    def by_remote_desktop(self):
        return self.port == PORT

    @property
    def over_ipv6(self):
        return ":" in self.address

    def connect(self):
        return Administrator(self.address, self.local, self.port, self.place)


# Behind the gateway: public addresses of the administrator's own network and of another one, private
# ones, and IPv6. On the link: in the machine's own networks.
PUBLIC = Person("203.0.113.5")
NAMED, NAMED_TOO = (Person(f"203.0.113.{host}", OTHER_PORT) for host in (6, 7))
FAR = Person("100.64.0.5", OTHER_PORT)
PRIVATE, PRIVATE_TOO = Person("172.20.0.5"), Person("10.1.2.3", OTHER_PORT)
ON_LINK, ON_LINK_TOO = (Person("192.168.77.9", place=GATEWAY),
                        Person("192.168.77.10", OTHER_PORT, place=GATEWAY))
OVER_IPV6 = Person("2001:db8:113::5", local=MACHINE_IP6)
OVER_IPV6_TOO = Person("2001:db8:113::6", OTHER_PORT, MACHINE_IP6)
ON_LINK_IPV6 = Person("2001:db8:77::9", OTHER_PORT, MACHINE_IP6, GATEWAY)

# By the second adapter, where it is plugged in.
BY_SECOND = Person("203.0.113.8", local=SECOND_IP)
BY_BOTH = Person(PUBLIC.address, local=SECOND_IP)
ON_SECOND_LINK = Person("198.18.0.9", OTHER_PORT, SECOND_IP, GATEWAY)

EVERYBODY = (PUBLIC, NAMED, NAMED_TOO, FAR, PRIVATE, PRIVATE_TOO, ON_LINK, ON_LINK_TOO, OVER_IPV6,
             OVER_IPV6_TOO, ON_LINK_IPV6)
NOBODY_TO_PIN = tuple(person for person in EVERYBODY if person is not PUBLIC)
OF_TWO_ADAPTERS = (PUBLIC, NAMED, FAR, PRIVATE, ON_LINK, BY_SECOND, BY_BOTH, ON_SECOND_LINK)


def give_addresses():
    """Gives the administrator and the gateway the addresses above that the lab does not have."""
    for person in (FAR, PRIVATE, PRIVATE_TOO):
        _give(ADMINISTRATOR, f"{person.address}/32", "eth0")
        places.check_in(GATEWAY, "ip", "route", "add", person.address,
                        "via", places.ADMINISTRATOR_IP)
    _give(ADMINISTRATOR, f"{OVER_IPV6_TOO.address}/64", "eth0")
    for person, length in ((ON_LINK, 24), (ON_LINK_TOO, 24), (ON_LINK_IPV6, 64)):
        _give(GATEWAY, f"{person.address}/{length}", "to-machine")


def _give(place, address, interface):
    places.check_in(place, "ip", "address", "add", address, "dev", interface)
