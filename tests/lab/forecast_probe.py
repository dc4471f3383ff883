"""What really happens to people's connections: whether their echoes come back, by which interface
the machine's packets to them leave, and to which next hop."""

import dataclasses
import json
import time

from veltrane_lab import places

ENOUGH_ECHOES = 8
# So long nothing of what was sent since came back. TCP sends again after 0.2, 0.6 and 1.4 seconds.
SILENCE_SECONDS = 1.5
# When that would contradict a forecast, or some but too few came back.
LONG_SILENCE_SECONDS = 10


@dataclasses.dataclass
class Observed:
    """What was seen of one person's connection from a moment on."""

    echoes: int
    interface: str  # by which most packets left; empty for none
    next_hop: str  # of the kernel's own choice; empty for a route without a gateway


class Connections:
    """The connections of several people, in a scenario's lab."""

    def __init__(self, lab, people):
        self._people = people
        self._watch = lab.watch(places.MACHINE)
        self._clients = {}
        for person in people:
            self._clients[person] = person.connect()
            lab.at_end(self._clients[person].close)

    def observe(self, suspicious=frozenset()):
        """Watches from now on until it is plain who is still connected. Whoever is suspicious is
        called lost only after a long silence."""
        began = time.monotonic()
        before = {person: self._packets(person) for person in self._people}
        pending = set(self._people)
        while pending:
            time.sleep(0.05)
            silent_for = time.monotonic() - began
            for person in list(pending):
                echoes = self._clients[person].back_since(began)
                patience = (LONG_SILENCE_SECONDS if echoes or person in suspicious
                            else SILENCE_SECONDS)
                if echoes >= ENOUGH_ECHOES or silent_for > patience:
                    pending.remove(person)
        hops = self._next_hops()
        return {person: Observed(self._clients[person].back_since(began),
                                 _most_used(self._packets(person) - before[person]), hops[person])
                for person in self._people}

    def _packets(self, person):
        return self._watch.by_interface(person.local, person.address)

    def _next_hops(self):
        """Asks the kernel for everybody's next hop at once."""
        script = 'while read -r to from; do ip -json route get "$to" from "$from" || echo "[]"; done'
        text = places.check_in(
            places.MACHINE, "sh", "-c", script + " 2>/dev/null",
            input="".join(f"{person.address} {person.local}\n" for person in self._people))
        answers = [json.loads(line) for line in text.splitlines() if line.strip()]
        return {person: answer[0].get("gateway", "") if answer else "nowhere"
                for person, answer in zip(self._people, answers, strict=True)}


def _most_used(packets):
    return packets.most_common(1)[0][0] if +packets else ""


def outcome(before, after):
    """"kept", "moved" or "lost"."""
    if after.echoes == 0:
        return "lost"
    same = (before.interface, before.next_hop) == (after.interface, after.next_hop)
    return "kept" if same else "moved"
