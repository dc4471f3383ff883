"""The fifth part of the demonstration: a connect that nobody confirms."""

import time

from . import places, veltranectl, windows
from .record import Part
from .scene import HALVES, Scene
from .waiting import wait_until

SECONDS = 10


def play(parts):
    part = Part(
        "5. A connect that comes back by itself",
        "The halves of part 2 again, and nothing is pinned; this time somebody types veltranectl connect\n"
        f"at a console. First it refuses. Then the risk is accepted with --confirm {SECONDS}, and nobody "
        "confirms.",
        "That one can connect again holds. Whether the connection itself goes on depends on how long it "
        "was cut off: Windows gives it up after five retransmissions by default (Microsoft KB170359). As "
        "in part 2, it may not have been cut off there at all. A Windows that restarts in the meantime "
        "has no watchdog any more, and no tunnel either, because the tunnel's service is not started at "
        "boot.")
    parts.append(part)
    scene = Scene(VELTRANE_POC_ADMIN_BYPASS="0")
    part.note_routes("before")
    routing = places.routing_of_machine()
    scene.count_packets(part, "20 echoes before", 20)
    office = veltranectl.write_profile(allowed_ips_csv=HALVES)
    _be_refused(part, scene, office)
    _be_undone(part, scene, office)
    wait_until(lambda: not windows.tunnel_processes(), "the tunnel process ends")
    part.note_routes("after")
    scene.administrator.count_on_again(40)
    part.event("the first 40 echoes are back")
    by_gateway, by_tunnel = scene.count_packets_after_silence(part, "60 echoes after", 60)
    part.check("the administrator is reached through the gateway alone", by_gateway and not by_tunnel)
    part.check("the routing of the machine is byte for byte what it was",
               places.routing_of_machine() == routing)
    part.check("the outside host is reached through the gateway again",
               places.seen_from_outside() == places.MACHINE_IP)
    lost = scene.administrator.finish()
    part.note_echoes(scene.administrator)
    part.check("the same connection goes on, and no echo is lost",
               (lost, scene.administrator.wrong) == (0, 0))
    scene.end()


def _be_refused(part, scene, office):
    exit_code, screen = veltranectl.run("connect", office)
    part.note_screen(f"veltranectl connect {office}: what it printed, and exit code {exit_code}",
                     screen)
    part.check(f"connect asks first: it names {places.ADMINISTRATOR_IP} and ends with exit code "
               f"{veltranectl.RISK}",
               exit_code == veltranectl.RISK and places.ADMINISTRATOR_IP in screen)
    part.check("nothing was sent: no tunnel, and the administrator is well",
               not windows.tunnel_processes() and scene.administrator.late == 0)


def _be_undone(part, scene, office):
    words = ("connect", office, "--confirm", SECONDS, *veltranectl.LOSE_ADMINISTRATION)
    command = " ".join(map(str, ("veltranectl", *words)))
    part.event(f"{command} is started", mark="connect started")
    console = veltranectl.Console(*map(str, words))
    console.wait_for(veltranectl.QUESTION)
    deadline = time.monotonic() + SECONDS
    part.event("connected; it asks for the word that keeps the connection", mark="connected")
    scene.service.wait_for_tunnel()
    part.note_routes("during")
    part.check("the administrator has lost the machine", scene.break_off(part))
    time.sleep(max(0.0, deadline - time.monotonic()))
    part.event(f"{SECONDS} s have passed, and nobody has confirmed", mark="deadline")
    exit_code = console.exit_code()
    part.event("the watchdog has taken the connection back", mark="undone")
    part.note_screen(f"{command}: its console, and exit code {exit_code}", console.screen())
    part.check(f"the client says so and ends with exit code {veltranectl.UNDONE}",
               exit_code == veltranectl.UNDONE and "has been undone" in console.screen())
    console.close()
