"""Administrators who must not lose the machine."""

from harness import expect, expect_equal, route_details, scenario
from veltrane_lab import places, windows
from veltrane_lab.tell import tell

ADMINISTRATOR = places.ADMINISTRATOR_IP
# The halves of a catch-all, which the library does not answer with its kill switch.
EVERYTHING = "0.0.0.0/1, 128.0.0.0/1"
PINNED = "203.0.113.{} via 192.168.77.1 dev eth0"


def pinned(*hosts):
    return [PINNED.format(host) for host in hosts]


@scenario
def a_remote_desktop_connection_survives_a_tunnel_that_takes_everything(lab):
    """Nobody names the administrator: the service finds the connection."""
    administrator = lab.connect_administrator()
    machine, gateway = lab.watch(places.MACHINE), lab.watch(places.GATEWAY)
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1")
    administrator.count_on(20)

    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect(reply["ok"], f"connect: {reply}")
    expect_equal(reply["admin_bypass"]["selected_bypass_ip_entries"],
                 [{"ip": ADMINISTRATOR, "source": "RDP_TCP_ESTABLISHED", "required": True}],
                 "whom the service found")
    service.wait_for_tunnel()
    expect_equal(places.host_routes(), pinned(5), "host routes while connected")
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")

    to_administrator = {"source": places.MACHINE_IP, "dest": ADMINISTRATOR}
    before = gateway.count(interface="to-machine", **to_administrator)
    administrator.count_on(60)
    expect(gateway.count(interface="to-machine", **to_administrator) - before >= 60,
           "the echoes did not leave through the gateway")
    expect_equal(machine.count(interface=places.TUNNEL, dest=ADMINISTRATOR), 0,
                 "packets to the administrator in the tunnel")

    expect_equal(service.disconnect()["phase"], "disconnected", "the phase after disconnect")
    administrator.count_on(20)
    lab.expect_as_at_first()
    expect_equal(places.seen_from_outside(), places.MACHINE_IP, "the outside host sees again")
    lost = administrator.finish()
    expect_equal((lost, administrator.late, administrator.wrong), (0, 0, 0),
                 f"(lost, late, wrong) of {administrator.sent} echoes")


@scenario
def without_the_bypass_the_same_connection_breaks(lab):
    """The control experiment: what the scenario before it proves is the bypass's doing."""
    administrator = lab.connect_administrator()
    machine = lab.watch(places.MACHINE)
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="0")
    administrator.count_on(20)
    expect_equal(administrator.late, 0, "late echoes before connect")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect(reply["ok"] and not reply["admin_bypass"]["enabled"], f"connect: {reply}")
    service.wait_for_tunnel()
    administrator.break_off()
    expect_equal(places.host_routes(), [], "host routes without the bypass")
    expect(machine.count(interface=places.TUNNEL, dest=ADMINISTRATOR) > 0,
           "the answers to the administrator did not go into the tunnel")
    service.disconnect()
    lab.expect_as_at_first()


@scenario
def administrators_named_by_the_environment_and_by_a_session_are_pinned(lab):
    (windows.PROGRAM / "sessions.txt").write_text("1 0 203.0.113.8\n2 4 203.0.113.99\n")
    administrators = [lab.connect_administrator(f"203.0.113.{host}") for host in (6, 7, 8)]
    # None of them is found by its connection: the table of connections cannot be read.
    tell("fault GetExtendedTcpTable 1+ 50")
    service = lab.start_service(ADMIN_BYPASS_IP="203.0.113.6", ADMIN_BYPASS_IPS=" 203.0.113.7; ")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect(reply["ok"], f"connect: {reply}")
    expect_equal(reply["admin_bypass"]["selected_bypass_ip_entries"],
                 [{"ip": "203.0.113.6", "source": "ADMIN_BYPASS_IP", "required": True},
                  {"ip": "203.0.113.7", "source": "ADMIN_BYPASS_IPS", "required": True},
                  {"ip": "203.0.113.8", "source": "WTS", "required": False}], "who is pinned")
    service.wait_for_tunnel()
    expect_equal(places.host_routes(), pinned(6, 7, 8), "host routes while connected")
    for administrator in administrators:
        administrator.count_on(40)
    service.disconnect()
    lab.expect_as_at_first()
    for administrator in administrators:
        expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_session_that_cannot_be_pinned_does_not_refuse_the_connect(lab):
    (windows.PROGRAM / "sessions.txt").write_text("1 0 203.0.113.8\n")
    service = lab.start_service(ADMIN_BYPASS_IP="203.0.113.6")
    tell("fault CreateIpForwardEntry 2 87")
    # The check after the start reads the routing table, which Wine does not do in one go, before the
    # tunnel changes it; otherwise it may miss a row and add every route again.
    tell("knob start-delay 2")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect(reply["ok"] and reply["admin_bypass"]["applied"], f"connect: {reply}")
    optional = route_details(reply)["203.0.113.8"]
    expect_equal((optional["required"], optional["add_success"], optional["win32_error_code"]),
                 (False, False, 87), "the session's (required, add_success, win32_error_code)")
    expect_equal(places.host_routes(), pinned(6), "host routes while connected")
    service.wait_for_tunnel()
    service.disconnect()
    lab.expect_as_at_first()


@scenario
def a_session_alone_is_not_enough_to_connect(lab):
    (windows.PROGRAM / "sessions.txt").write_text("1 0 203.0.113.8\n")
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect_equal((reply["error"], reply["admin_bypass"]["failure_reason"]),
                 ("admin_bypass_failed", "no_admin_bypass_ips"), "(error, failure_reason)")
    lab.expect_as_at_first()


@scenario
def a_host_route_destroyed_while_the_tunnel_starts_is_made_again(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1")
    tell("knob early 1")
    tell(f"knob destroy-route {ADMINISTRATOR}")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect(reply["ok"], f"connect: {reply}")
    bypass = reply["admin_bypass"]
    expect_equal((bypass["route_readded_after_tunnel"], bypass["applied"], bypass["message"]),
                 (True, True, "admin bypass routes re-added and verified after tunnel"),
                 "(route_readded_after_tunnel, applied, message)")
    expect_equal(places.host_routes(), pinned(5), "host routes while connected")
    service.wait_for_tunnel()
    administrator.count_on(60)
    service.disconnect()
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_host_route_that_cannot_be_made_again_refuses_the_connect(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1")
    tell("knob early 1")
    tell(f"knob destroy-route {ADMINISTRATOR}")
    tell("fault CreateIpForwardEntry 2+ 87")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect_equal((reply["ok"], reply["error"], reply["message"]),
                 (False, "admin_bypass_failed",
                  "admin bypass routes lost after tunnel start and could not be restored"),
                 "(ok, error, message)")
    expect_equal(reply["admin_bypass"]["route_add_results"], f"{ADMINISTRATOR}:add_failed(87);",
                 "route_add_results")
    lab.expect_as_at_first()
    expect_equal(service.status()["phase"], "disconnected", "the phase")
    administrator.count_on(20)
    expect_equal((administrator.finish(), administrator.wrong), (0, 0), "(lost, wrong)")


@scenario
def when_the_second_required_route_fails_the_first_is_gone_and_nothing_started(lab):
    service = lab.start_service(ADMIN_BYPASS_IPS="203.0.113.6,203.0.113.7")
    tell("fault CreateIpForwardEntry 2 87")
    reply = service.connect(allowed_ips_csv=EVERYTHING)
    expect_equal((reply["error"], reply["message"]),
                 ("admin_bypass_failed", "required admin bypass host route failed to add: "
                                         "203.0.113.7 (CreateIpForwardEntry failed)"),
                 "(error, message)")
    expect_equal(reply["admin_bypass"]["route_add_results"],
                 "203.0.113.6:added;203.0.113.7:failed;", "route_add_results")
    calls = tell("calls").split()
    expect_equal([call for call in calls if "IpForwardEntry" in call],
                 ["CreateIpForwardEntry", "CreateIpForwardEntry=87", "DeleteIpForwardEntry"],
                 "route calls")
    expect_equal(places.routing_of_machine(), lab.routing_at_first, "routing of the machine")
    expect_equal(lab.client.ask("#tunnel"), "none", "the tunnel service")
    expect(not windows.CONF.exists(), "the configuration file was written")
