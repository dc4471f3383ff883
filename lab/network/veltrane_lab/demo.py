"""The demonstration that `demo` runs in a lab."""

import concurrent.futures
import json
import subprocess
import sys
import time

from . import places, windows
from .echoes import Administrator
from .packets import PacketWatch
from .waiting import wait_until

NETWORK = """\
    administrator                                            WireGuard server
     203.0.113.5 ----------.                        .------- 198.51.100.2
                            \\                      /          (in the tunnel 10.66.66.1)
                             gateway -------------+
                            /  192.168.77.1        \\
     machine --------------'                        '------- outside host
      192.168.77.2                                            192.0.2.10
      VeltraneVpnService.exe under Wine,
      an echo server on port 3389
"""


class Verdict:
    """Prints each check as it is made, and counts the failures."""

    def __init__(self):
        self.failures = 0

    def check(self, description, holds):
        print(f"  {'ok      ' if holds else 'FAILED  '}{description}", flush=True)
        self.failures += not holds


def heading(text):
    print(f"\n== {text}", flush=True)


def shown(request):
    """Returns a request as text, with its private key masked."""
    return json.dumps({name: "(masked)" if "private" in name else value
                       for name, value in request.items()})


class Watches:
    """Counts the packets on the machine's two interfaces."""

    def __init__(self):
        self._machine = PacketWatch(places.MACHINE)

    def to_administrator(self, interface):
        return self._machine.count(interface=interface, source=places.MACHINE_IP,
                                   dest=places.ADMINISTRATOR_IP)

    def show_reachability(self, administrator):
        """Prints who reaches whom, and how. Returns the address that the outside host sees, whether
        the server is reached, and whether the administrator is reached only through the gateway."""
        seen = places.seen_from_outside()
        way = {places.MACHINE_IP: "through the gateway", places.TUNNEL_IP: "through the tunnel",
               None: "NOT REACHED"}[seen]
        server = places.pings(places.SERVER_TUNNEL_IP)
        physical, tunnel = self.to_administrator("eth0"), self.to_administrator("veltrane-tunnel")
        back = administrator.back
        administrator.count_on(20)
        physical = self.to_administrator("eth0") - physical
        tunnel = self.to_administrator("veltrane-tunnel") - tunnel
        print(f"  machine -> outside host 192.0.2.10      {way}"
              f"{f', seen there as {seen}' if seen else ''}")
        print(f"  machine -> server 10.66.66.1            "
              f"{'through the tunnel' if server else 'not reached'}")
        print(f"  machine -> administrator 203.0.113.5    {administrator.back - back} echoes: "
              f"{physical} packets through the gateway, {tunnel} through the tunnel")
        print("  the machine's main routing table:")
        for line in places.check_in(places.MACHINE, "ip", "-4", "route").splitlines():
            print(f"    {line}")
        sys.stdout.flush()
        return seen, server, physical > 0 and tunnel == 0


def count_through(administrator, what, action):
    """Prints the administrator's echoes every quarter of a second while the action runs."""
    began = time.monotonic()

    def line(event=""):
        print(f"  {time.monotonic() - began:5.2f} s   {administrator.back:5d} echoes back   "
              f"{administrator.late} late   {event}", flush=True)

    line()
    time.sleep(0.5)
    line(f"<- {what} sent")
    with concurrent.futures.ThreadPoolExecutor() as executor:
        answer = executor.submit(action)
        while not answer.done():
            concurrent.futures.wait([answer], 0.25)
            line(f"<- {what} answered" if answer.done() else "")
    for _ in range(4):
        time.sleep(0.25)
        line()
    return answer.result()


def survive(verdict):
    heading("1. An administrator is connected to port 3389; the tunnel takes all other traffic")
    administrator, watches = Administrator(), Watches()
    service = windows.Service(windows.PipeClient(), VELTRANE_POC_ADMIN_BYPASS="1")
    administrator.count_on(20)
    print("before:")
    seen, server, _ = watches.show_reachability(administrator)
    verdict.check("the outside host is reached through the gateway, and there is no tunnel",
                  seen == places.MACHINE_IP and not server)
    first_routing = places.routing_of_machine()

    request = windows.profile(allowed_ips_csv="0.0.0.0/0")
    print(f"\nthe client sends {shown(request)}")
    reply = count_through(administrator, "connect", lambda: service.request(request))
    bypass = reply.get("admin_bypass", {"message": reply.get("message", "")})
    print(f"  the reply is {reply.get('phase') or reply.get('error')}: \"{bypass['message']}\"")
    for row in bypass.get("selected_bypass_ip_entries", []):
        print(f"  the service found {row['ip']} ({row['source']})")
    verdict.check("the service is connected", reply.get("phase") == "connected")
    service.wait_for_tunnel()

    print("\nwhile connected:")
    seen, server, by_gateway = watches.show_reachability(administrator)
    verdict.check("the outside host and the server are reached through the tunnel",
                  seen == places.TUNNEL_IP and server)
    verdict.check("the administrator is reached through the gateway", by_gateway)

    print("\nthe client sends {\"op\": \"disconnect\"}")
    reply = count_through(administrator, "disconnect", service.disconnect)
    print("\nafterwards:")
    seen, server, _ = watches.show_reachability(administrator)
    verdict.check("the outside host is reached through the gateway again, and there is no tunnel",
                  seen == places.MACHINE_IP and not server)
    verdict.check("the machine's routing is byte for byte what it was",
                  places.routing_of_machine() == first_routing)
    lost = administrator.finish()
    print(f"\n  {administrator.sent} echoes sent, {lost} lost, {administrator.late} late, "
          f"the slowest took {administrator.slowest_seconds * 1000:.0f} ms")
    verdict.check("the administrator's connection lost nothing",
                  (lost, administrator.late, administrator.wrong) == (0, 0, 0))
    service.kill()
    service.client.close()


def break_without_bypass(verdict):
    heading("2. The same without the bypass, to show that it matters")
    administrator = Administrator()
    service = windows.Service(windows.PipeClient(), VELTRANE_POC_ADMIN_BYPASS="0")
    administrator.count_on(20)
    intact = administrator.late == 0
    service.connect(allowed_ips_csv="0.0.0.0/0")
    service.wait_for_tunnel()
    administrator.break_off()
    print(f"  {administrator.back} echoes back, {administrator.late} late: the administrator has "
          "lost the machine")
    verdict.check("without the bypass the connection breaks", intact and administrator.late > 0)
    service.disconnect()
    wait_until(lambda: not windows.tunnel_processes(), "the tunnel process ends")
    administrator.close()
    service.kill()
    service.client.close()


def main():
    verdict = Verdict()
    heading("The network (namespaces on this machine, which go when this ends)")
    print(NETWORK)
    print("preparing Windows on the machine", flush=True)
    subprocess.run([windows.LAB_PROGRAMS / "prepare_windows"], check=True)
    try:
        survive(verdict)
        break_without_bypass(verdict)
    except AssertionError as failure:
        verdict.check(failure, False)
    heading("Verdict")
    if verdict.failures:
        print(f"{verdict.failures} of the checks above FAILED")
        return 1
    print("the tunnel came up and went down as it should, and the administrator noticed nothing")
    return 0


if __name__ == "__main__":
    sys.exit(main())
