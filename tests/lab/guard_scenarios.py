"""The default-route guard."""

from harness import expect, expect_equal, scenario
from veltrane_lab import places, windows
from veltrane_lab.tell import tell

GUARD = {"VELTRANE_POC_DISABLE_DEFAULT_ROUTE": "1"}
EVERYTHING = "0.0.0.0/0, ::/0"


@scenario
def the_guard_lets_only_the_clients_own_network_into_the_tunnel(lab):
    administrator = lab.connect_administrator()
    machine = lab.watch(places.MACHINE)
    service = lab.start_service(**GUARD)
    reply = service.connect(allowed_ips_csv=EVERYTHING, dns_csv="10.66.66.1")
    expect(reply["ok"], f"connect: {reply}")
    guard = reply["poc_route_guard"]
    expect_equal((guard["generated_allowed_ips_before"], guard["generated_allowed_ips_after"]),
                 (EVERYTHING, "10.66.66.0/24"), "AllowedIPs (before, after)")
    service.wait_for_tunnel()
    conf = windows.CONF.read_text()
    expect("\nAllowedIPs = 10.66.66.0/24\n" in conf, "AllowedIPs of active.conf")
    expect("DNS" not in conf, "active.conf has a DNS line")
    expect(places.pings(places.SERVER_TUNNEL_IP), "the server does not answer through the tunnel")
    expect_equal(places.seen_from_outside(), places.MACHINE_IP, "the outside host sees")
    expect_equal(machine.count(interface=places.TUNNEL, dest=places.OUTSIDE_IP), 0,
                 "packets to the outside host in the tunnel")
    administrator.count_on(40)
    service.disconnect()
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_default_route_in_spite_of_the_guard_is_torn_down_within_the_request(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="1", **GUARD)
    tell("knob alias veltrane-tunnel")
    tell("knob early 1")
    tell("knob default-route 1")
    reply = service.connect(allowed_ips_csv="10.66.66.0/24")
    # Whatever is left behind is looked at before anything else is asked of the service.
    expect_equal(places.routing_of_machine(), lab.routing_at_first, "routing after the reply")
    expect_equal(lab.client.ask("#tunnel"), "none", "the tunnel service after the reply")
    expect_equal((reply["ok"], reply["error"]), (False, "poc_default_route_detected"),
                 "(ok, error)")
    guard = reply["poc_route_guard"]
    index = guard["offending_default_route"].split("@if")[1].split(":")[0]
    expect_equal(guard["offending_default_route"],
                 f"0.0.0.0/0->0.0.0.0@if{index}:veltrane-tunnel:metric=0",
                 "the offending route")
    expect_equal(service.status()["phase"], "disconnected", "the phase")
    lab.expect_as_at_first()
    # While the route was there, the echoes went into the tunnel; they come back with the network.
    administrator.count_on(40)
    expect_equal((administrator.finish(), administrator.wrong), (0, 0), "(lost, wrong)")


@scenario
def a_default_route_of_an_adapter_with_the_librarys_own_name_is_not_seen(lab):
    """The library names its adapter "active", and the guard goes by the name."""
    service = lab.start_service(**GUARD)
    tell("knob early 1")
    tell("knob default-route 1")
    reply = service.connect(allowed_ips_csv="10.66.66.0/24")
    expect(reply["ok"], f"connect: {reply}")
    expect(not reply["poc_route_guard"]["poc_default_route_detected"], "it was seen")
    expect(":active:metric=0" in reply["poc_route_guard"]["default_routes_after_tunnel"],
           "the report does not list the route")
    service.wait_for_tunnel()
    service.disconnect()
    lab.expect_as_at_first()
