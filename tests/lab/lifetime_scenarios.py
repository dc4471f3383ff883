"""How a connection ends, and what is left of it."""

import re

from harness import expect, expect_conf_is_zeros, expect_equal, scenario
from veltrane_lab import places, windows
from veltrane_lab.tell import tell
from veltrane_lab.waiting import wait_until

# The halves of a catch-all, which the library does not answer with its kill switch.
EVERYTHING = "0.0.0.0/1, 128.0.0.0/1"
BYPASS = {"ADMIN_BYPASS_IP": "203.0.113.5"}
CYCLES = 50


def is_disconnected(service):
    return service.status()["phase"] == "disconnected"


@scenario
def the_auto_stop_brings_the_machine_back(lab):
    service = lab.start_service(VELTRANE_POC_AUTO_STOP_SECONDS="8", **BYPASS)
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect(reply["ok"] and reply["poc_route_guard"]["auto_stop_scheduled"], f"connect: {reply}")
    service.wait_for_tunnel()
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")
    wait_until(lambda: is_disconnected(service), "the auto-stop")
    lab.expect_as_at_first()
    expect_equal(places.seen_from_outside(), places.MACHINE_IP, "the outside host sees again")


@scenario
def a_disconnect_brings_the_machine_back(lab):
    service = lab.start_service(**BYPASS)
    for _ in range(2):
        expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], "connect")
        service.wait_for_tunnel()
        expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")
        expect_equal(service.disconnect()["phase"], "disconnected", "the phase")
        lab.expect_as_at_first()


@scenario
def a_killed_service_leaves_the_tunnel_which_the_next_start_names(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(**BYPASS)
    tell("knob alias veltrane-tunnel")
    tell("knob default-route 1")
    expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], "connect")
    service.wait_for_tunnel()
    routing = places.routing_of_machine()
    service.kill()
    administrator.count_on(20)
    expect_equal(places.routing_of_machine(), routing, "routing after the kill")
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")
    expect("PrivateKey" in windows.CONF.read_text(), "active.conf is gone")

    service = lab.start_service(**BYPASS)
    report = service.startup_report()
    expect(report["leftover_tunnel_service_running"], f"the report: {report}")
    expect(report["leftover_tunnel_default_route_detected"], f"the report: {report}")
    expect("veltrane-tunnel" in report["leftover_offending_default_route"], f"the report: {report}")
    status = service.status()
    expect_equal((status["phase"], status["tunnel_running"]), ("disconnected", True),
                 "(phase, tunnel_running)")

    expect_equal(service.disconnect()["phase"], "disconnected", "the phase after disconnect")
    wait_until(lambda: not windows.tunnel_processes(), "the tunnel process ends")
    expect_equal(lab.client.ask("#tunnel"), "none", "the tunnel service")
    expect("veltrane-tunnel" not in places.interfaces_of_machine(), "the interface is still there")
    expect_conf_is_zeros()
    # The new process does not know the host route of the old one: it stays for an operator.
    expect_equal(places.host_routes(), ["203.0.113.5 via 192.168.77.1 dev eth0"],
                 "host routes")
    administrator.count_on(20)
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_crashed_tunnel_leaves_the_administrators_route_until_disconnect(lab):
    """Wine's control manager does not notice the crash, so "tunnel_running" is not looked at."""
    service = lab.start_service(**BYPASS)
    tell("knob crash 2")
    expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], "connect")
    service.wait_for_tunnel()
    wait_until(lambda: not windows.tunnel_processes(), "the crash")
    wait_until(lambda: places.TUNNEL not in places.interfaces_of_machine(), "the interface")
    expect_equal(places.host_routes(), ["203.0.113.5 via 192.168.77.1 dev eth0"],
                 "host routes after the crash")
    expect_equal(service.status()["phase"], "connected", "the phase, which nobody corrects")
    expect_equal(places.seen_from_outside(), places.MACHINE_IP, "the outside host sees")
    service.disconnect()
    lab.expect_as_at_first()


@scenario
def fifty_connects_leave_no_more_behind_than_one(lab):
    service = lab.start_service(**BYPASS)
    after_first = None
    for cycle in range(CYCLES):
        expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], f"connect {cycle}")
        service.wait_for_tunnel()
        expect_equal(service.disconnect()["phase"], "disconnected", f"disconnect {cycle}")
        if cycle == 0:
            lab.expect_as_at_first()
            after_first = service.usage(), sorted(windows.command_lines().values())
            expect(re.fullmatch(r"handles=[1-9]\d* threads=[1-9]\d*", after_first[0]),
                   f"the service's handles and threads are not seen: {after_first[0]}")
    lab.expect_as_at_first()
    expect_equal((service.usage(), sorted(windows.command_lines().values())), after_first,
                 "handles and threads of the service, and the processes of the lab")
    expect_equal(places.seen_from_outside(), places.MACHINE_IP, "the outside host sees")


@scenario
def a_slow_start_is_not_waited_for(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1")
    tell("knob start-delay 5")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    status = service.status()
    expect_equal((reply["phase"], status["phase"], status["tunnel_running"]),
                 ("connected", "connected", False), "(phase replied, phase, tunnel_running)")
    service.wait_for_tunnel()
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")
    administrator.count_on(20)
    service.disconnect()
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_slow_stop_is_waited_for(lab):
    service = lab.start_service(**BYPASS)
    tell("knob stop 10")
    expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], "connect")
    service.wait_for_tunnel()
    expect_equal(service.disconnect()["phase"], "disconnected", "the phase")
    # The network is back by the time of the reply, not some time after it.
    expect_equal(places.routing_of_machine(), lab.routing_at_first, "routing after the reply")
    expect_equal(lab.client.ask("#tunnel"), "none", "the tunnel service after the reply")
    lab.expect_as_at_first()


@scenario
def a_stubborn_stop_is_given_up(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1")
    tell("knob stop never")
    expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], "connect")
    service.wait_for_tunnel()
    # The reply comes although the tunnel is still there: the wait is bounded.
    expect_equal(service.disconnect()["phase"], "disconnected", "the phase")
    expect(len(windows.tunnel_processes()) == 2, "the stubborn tunnel stopped")
    expect(places.TUNNEL in places.interfaces_of_machine(), "the stubborn interface is gone")
    expect_equal(places.host_routes(), [], "host routes after disconnect")
    expect_conf_is_zeros()
    status = service.status()
    expect_equal((status["phase"], status["tunnel_running"]), ("disconnected", False),
                 "(phase, tunnel_running)")
    expect_equal(lab.client.ask("#delete"), "error 1072", "deletion of a service marked for it")
    # Once the process is ended, the service can connect as ever.
    tell("knob stop 0")
    for process in windows.tunnel_service_processes():
        windows.end_process(process)
    wait_until(lambda: not windows.tunnel_processes(), "the interface goes with the process")
    expect(service.connect(allowed_ips_csv=EVERYTHING)["ok"], "connect")
    service.wait_for_tunnel()
    expect_equal(service.disconnect()["phase"], "disconnected", "the phase")
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.wrong), (0, 0), "(lost, wrong)")
