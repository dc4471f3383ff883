"""The demonstration that `demo` runs inside a lab: python3 -m veltrane_lab.demo FOLDER, where the
report goes."""

import pathlib
import subprocess
import sys

from . import comes_back, places, report, windows
from .record import Part
from .scene import HALVES, Scene
from .tell import tell

NETWORK = """\
    administrator                                            WireGuard server
     203.0.113.5 ----------.                        .------- 198.51.100.2
                            \\                      /          (in the tunnel 10.66.66.1)
                             gateway -------------+
                            /  192.168.77.1        \\
     machine --------------'                        '------- outside host
      192.168.77.2                                            192.0.2.10
      VeltraneVpnService.exe under Wine,
      something that listens on port 3389
"""
CATCH_ALL = "0.0.0.0/0"


def notice_nothing(parts):
    part = Part(
        "1. The operator's step, and a tunnel for everything in two halves",
        "An administrator works over port 3389. The operator has set the metric of the adapter to 1,\n"
        "without which the bypass refuses every connect. The tunnel takes 0.0.0.0/1 and 128.0.0.0/1.",
        "Holds on Windows: with halves the WireGuard library sets up no firewall, and a host route "
        "through the physical gateway wins over them. Without the restriction of DNS that a /0 "
        "brings, DNS may leak; without ::/1 and 8000::/1, so may IPv6.")
    parts.append(part)
    tell("knob interface-metric 1")
    scene = Scene(VELTRANE_POC_ADMIN_BYPASS="1")
    part.note_routes("before")
    routing = places.routing_of_machine()
    scene.count_packets(part, "20 echoes before", 20)
    reply = scene.connect(part, HALVES)
    found = reply.get("admin_bypass", {}).get("selected_bypass_ip_entries", [])
    part.event("the service found " + ", ".join(f"{row['ip']} ({row['source']})" for row in found))
    part.check("the outside host is reached through the tunnel",
               places.seen_from_outside() == places.TUNNEL_IP)
    by_gateway, by_tunnel = scene.count_packets(part, "40 echoes while connected", 40)
    part.check("the administrator is reached through the gateway alone", by_gateway and not by_tunnel)
    scene.disconnect(part)
    scene.administrator.count_on(20)
    part.check("the routing of the machine is byte for byte what it was",
               places.routing_of_machine() == routing)
    lost = scene.administrator.finish()
    part.note_echoes(scene.administrator)
    print(f"  {scene.administrator.sent} echoes sent, {lost} lost, {scene.administrator.late} late, "
          f"the slowest took {scene.administrator.slowest_seconds * 1000:.0f} ms")
    part.check("the administrator noticed nothing",
               (lost, scene.administrator.late, scene.administrator.wrong) == (0, 0, 0))
    scene.end()


def lose_without_bypass(parts):
    part = Part(
        "2. The same without the bypass, to see that it matters",
        "Nothing is pinned: the halves take the administrator's packets too.",
        "May be milder on Windows: since Vista a packet leaves by the interface of its source "
        "address, so an established connection may survive there. A new one does not get "
        "through. The lab shows the pessimistic case.")
    parts.append(part)
    scene = Scene(VELTRANE_POC_ADMIN_BYPASS="0")
    part.note_routes("before")
    scene.count_packets(part, "20 echoes before", 20)
    part.check("the administrator is well before", scene.administrator.late == 0)
    scene.connect(part, HALVES)
    part.check("without the bypass the administrator has lost the machine", scene.break_off(part))
    scene.disconnect(part)
    scene.administrator.count_on_again(20)
    part.note_echoes(scene.administrator)
    scene.end()


def cut_off_although_pinned(parts, scene):
    part = Part(
        "3. A catch-all cuts him off although he is pinned",
        "The tunnel takes 0.0.0.0/0. The service pins the administrator's address as in part 1; but\n"
        "for one peer with a /0 the WireGuard library blocks whatever does not go through the tunnel.",
        "Holds on Windows, by the library's own document (Network Configuration Quirks): a host "
        "route does not help against a firewall. ::/0 alone does it too, for IPv4 as well. The way "
        "around it is part 1.")
    parts.append(part)
    part.note_routes("before")
    scene.count_packets(part, "20 echoes before", 20)
    part.check("the administrator is well before", scene.administrator.late == 0)
    reply = scene.connect(part, CATCH_ALL)
    part.check("the service says that the administrator is pinned",
               reply.get("admin_bypass", {}).get("applied") is True)
    part.check("the host route is there",
               places.host_routes() == ["203.0.113.5 via 192.168.77.1 dev eth0"])
    part.check("the administrator has lost the machine all the same", scene.break_off(part))
    part.note_echoes(scene.administrator)


def get_everything_back(parts, scene, routing):
    part = Part(
        "4. Everything comes back with a disconnect",
        "The client, which is on the machine, disconnects.",
        "Holds on Windows as long as the connection has not been given up: Windows does that after "
        "five retransmissions by default (Microsoft KB170359). After that one has to connect again.")
    parts.append(part)
    part.note_routes("before")
    scene.disconnect(part)
    scene.administrator.count_on_again(40)
    part.event("40 echoes are back")
    part.check("the routing of the machine is byte for byte what it was",
               places.routing_of_machine() == routing)
    part.check("the outside host is reached through the gateway again",
               places.seen_from_outside() == places.MACHINE_IP)
    lost = scene.administrator.finish()
    part.note_echoes(scene.administrator)
    part.check("TCP has sent again what was lost, and the administrator goes on",
               (lost, scene.administrator.wrong) == (0, 0))
    scene.end()


def play(parts):
    """Adds each part when it begins."""
    notice_nothing(parts)
    lose_without_bypass(parts)
    routing = places.routing_of_machine()
    scene = Scene(VELTRANE_POC_ADMIN_BYPASS="1")
    cut_off_although_pinned(parts, scene)
    get_everything_back(parts, scene, routing)
    comes_back.play(parts)


def main(folder):
    print("== The network (namespaces of this machine, gone when this ends)\n")
    print(NETWORK)
    print("preparing Windows on the machine", flush=True)
    subprocess.run([windows.LAB_PROGRAMS / "prepare_windows"], check=True)
    parts, trouble = [], None
    try:
        play(parts)
    except (AssertionError, RuntimeError) as error:
        trouble = error
    report.write(parts, trouble, pathlib.Path(folder))
    print("\n== Verdict")
    if trouble:
        print(f"The run ended early: {trouble}")
    failures = sum(part.failures for part in parts)
    if failures:
        print(f"{failures} of the checks above FAILED")
    if failures or trouble:
        return 1
    print("With a tunnel in two halves the administrator noticed nothing. Without the bypass, and with\n"
          "a catch-all in spite of it, he lost the machine until the disconnect; a connect that nobody\n"
          "confirmed took itself back, and he went on.")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
