"""What Windows and the WireGuard library do beyond the routing table, good and bad for an
administrator."""

from harness import expect, expect_equal, route_details, scenario
from veltrane_lab import places, windows
from veltrane_lab.tell import tell

ADMINISTRATOR = places.ADMINISTRATOR_IP
HALVES = "0.0.0.0/1, 128.0.0.0/1"
PINNED = "203.0.113.5 via 192.168.77.1 dev eth0"
FIND_CONNECTIONS = {"VELTRANE_POC_ADMIN_BYPASS": "1"}


def expect_cut_off_although_pinned(lab, allowed_ips, **environment):
    """The service does all that it can, and the firewall of the library cuts the administrator off;
    a disconnect gives the machine back."""
    administrator = lab.connect_administrator()
    gateway = lab.watch(places.GATEWAY)
    service = lab.start_service(**FIND_CONNECTIONS, **environment)
    reply = service.connect(allowed_ips_csv=allowed_ips)
    expect(reply["ok"] and reply["admin_bypass"]["applied"], f"connect: {reply}")
    service.wait_for_tunnel()
    expect_equal(places.host_routes(), [PINNED], "host routes while connected")
    administrator.break_off()
    out = {"interface": "to-machine", "source": places.MACHINE_IP, "dest": ADMINISTRATOR}
    before = gateway.count(**out)
    administrator.wait_while_silent(2)
    expect_equal(gateway.count(**out) - before, 0, "packets to the administrator while cut off")
    service.disconnect()
    lab.expect_as_at_first()
    administrator.count_on_again(20)
    expect_equal((administrator.finish(), administrator.wrong), (0, 0), "(lost, wrong)")


@scenario
def a_catch_all_cuts_off_even_a_pinned_administrator(lab):
    expect_cut_off_although_pinned(lab, "0.0.0.0/0")


@scenario
def a_catch_all_of_ipv6_alone_cuts_an_administrator_over_ipv4_off_too(lab):
    expect_cut_off_although_pinned(lab, "10.66.66.0/24, ::/0")


@scenario
def a_catch_all_is_one_however_it_is_written(lab):
    expect_cut_off_although_pinned(lab, "1.2.3.4/0")


@scenario
def strong_host_sends_do_not_help_against_a_catch_all(lab):
    lab.use_strong_host_sends()
    expect_cut_off_although_pinned(lab, "0.0.0.0/0")


@scenario
def with_strong_host_sends_an_established_connection_survives_halves_without_the_bypass(lab):
    """Linux breaks the same connection; on Windows it may well survive. The lab is the pessimist."""
    lab.use_strong_host_sends()
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="0")
    expect(service.connect(allowed_ips_csv=HALVES)["ok"], "connect")
    service.wait_for_tunnel()
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")
    administrator.count_on(60)
    service.disconnect()
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def an_administrator_over_ipv6_is_not_pinned(lab):
    over_ipv6 = lab.connect_administrator(places.ADMINISTRATOR_IP6, places.MACHINE_IP6)
    over_ipv4 = lab.connect_administrator()
    service = lab.start_service(**FIND_CONNECTIONS)
    reply = service.connect(allowed_ips_csv=f"{HALVES}, ::/1, 8000::/1",
                            address_cidr="10.66.66.7/32, 2001:db8:66::7/128")
    expect(reply["ok"], f"connect: {reply}")
    expect_equal([row["ip"] for row in reply["admin_bypass"]["selected_bypass_ip_entries"]],
                 [ADMINISTRATOR], "whom the service found")
    service.wait_for_tunnel()
    over_ipv6.break_off()
    expect_equal(over_ipv4.late, 0, "late echoes over IPv4")
    service.disconnect()
    lab.expect_as_at_first()
    over_ipv6.count_on_again(20)


@scenario
def on_an_adapter_as_it_comes_the_bypass_refuses_every_connect(lab):
    """Its metric is 25, and Windows refuses a route of metric 1 there."""
    administrator = lab.connect_administrator()
    service = lab.start_service(interface_metric=25, **FIND_CONNECTIONS)
    reply = service.connect(allowed_ips_csv=HALVES)
    expect_equal((reply["error"], reply["admin_bypass"]["failure_reason"]),
                 ("admin_bypass_failed", "route_add_failed"), "(error, failure_reason)")
    expect_equal(route_details(reply)[ADMINISTRATOR]["win32_error_code"], 160, "win32_error_code")
    expect_equal(lab.client.ask("#tunnel"), "none", "the tunnel service")
    lab.expect_as_at_first()
    administrator.count_on(20)
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


def connect_with_a_row_of_the_operators_own(lab, interface_metric):
    """A host route with the route metric 0 is reported with that of the interface."""
    row = ADMINISTRATOR, "via", places.GATEWAY_IP, "dev", "eth0"
    lab.change_machine(lambda: places.check_in(places.MACHINE, "ip", "route", "add", *row),
                       lambda: places.run_in(places.MACHINE, "ip", "route", "delete", *row))
    service = lab.start_service(interface_metric=interface_metric, **FIND_CONNECTIONS)
    return service, service.connect(allowed_ips_csv=HALVES)


@scenario
def a_row_of_the_operators_own_counts_on_an_interface_with_metric_15(lab):
    administrator = lab.connect_administrator()
    service, reply = connect_with_a_row_of_the_operators_own(lab, 15)
    expect(reply["ok"], f"connect: {reply}")
    expect(route_details(reply)[ADMINISTRATOR]["already_exists"], "the row was not found")
    service.wait_for_tunnel()
    administrator.count_on(40)
    service.disconnect()
    lab.expect_as_at_first()  # the row is the operator's and stays
    expect_equal(places.host_routes(), [PINNED], "host routes after disconnect")
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_row_of_the_operators_own_does_not_count_on_an_interface_with_metric_16(lab):
    lab.connect_administrator()
    _, reply = connect_with_a_row_of_the_operators_own(lab, 16)
    expect_equal((reply["error"], reply["admin_bypass"]["failure_reason"]),
                 ("admin_bypass_failed", "route_add_failed"), "(error, failure_reason)")
    lab.expect_as_at_first()


@scenario
def a_connect_over_a_running_tunnel_is_refused_and_its_routes_stay(lab):
    """The way to 8.8.8.8 leads into the tunnel, which has no next hop. The connect forgets the
    routes of the connection before it, so that no disconnect takes them back any more."""
    administrator = lab.connect_administrator()
    service = lab.start_service(**FIND_CONNECTIONS)
    expect(service.connect(allowed_ips_csv=HALVES)["ok"], "connect")
    service.wait_for_tunnel()
    reply = service.connect(allowed_ips_csv=HALVES)
    expect_equal((reply["error"], reply["admin_bypass"]["failure_reason"]),
                 ("admin_bypass_failed", "physical_gateway_missing"), "(error, failure_reason)")
    status = service.status()
    expect_equal((status["phase"], status["tunnel_running"]), ("disconnected", True),
                 "(phase, tunnel_running)")
    administrator.count_on(20)
    service.disconnect()
    expect_equal(places.host_routes(), [PINNED], "host routes after disconnect")
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def where_an_on_link_route_names_an_address_the_same_connect_asks_for_a_pin_into_the_tunnel(lab):
    """As Wine answers; Windows does not."""
    service = lab.start_service(ADMIN_BYPASS_IP=ADMINISTRATOR)
    tell("knob on-link-hop wine")
    expect(service.connect(allowed_ips_csv=HALVES)["ok"], "connect")
    service.wait_for_tunnel()
    reply = service.connect(allowed_ips_csv=HALVES)
    expect_equal(reply["admin_bypass"]["physical_default_gateway_before_tunnel"], places.TUNNEL_IP,
                 "the gateway")
    service.disconnect()


@scenario
def an_administrator_who_came_by_the_second_adapter_is_pinned_to_the_first(lab):
    """Routes are pinned through the gateway that leads to 8.8.8.8, whichever way he came. His
    connection goes on by the second adapter where packets leave by the interface of their source."""
    lab.change_machine(places.plug_in_second_adapter, places.unplug_second_adapter)
    lab.use_strong_host_sends()
    administrator = lab.connect_administrator(machine=places.SECOND_IP)
    gateway = lab.watch(places.GATEWAY)
    service = lab.start_service(**FIND_CONNECTIONS)
    reply = service.connect(allowed_ips_csv=HALVES)
    expect(reply["ok"], f"connect: {reply}")
    service.wait_for_tunnel()
    expect_equal(places.host_routes(), [PINNED], "host routes while connected")
    out = {"source": places.SECOND_IP, "dest": ADMINISTRATOR}
    first = gateway.count(interface="to-machine", **out)
    second = gateway.count(interface="to-machine-too", **out)
    administrator.count_on(40)
    expect(gateway.count(interface="to-machine-too", **out) - second >= 40,
           "the echoes did not leave by the second adapter")
    expect_equal(gateway.count(interface="to-machine", **out) - first, 0,
                 "echoes that left by the first adapter")
    tell("knob strong-host 0")
    administrator.count_on(40)
    expect(gateway.count(interface="to-machine", **out) - first >= 40,
           "with weak host sends the echoes did not follow the pinned route")
    service.disconnect()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def no_buffer_of_the_session_list_is_kept(lab):
    (windows.PROGRAM / "sessions.txt").write_text("1 0 203.0.113.8\n2 1 203.0.113.7\n3 4 -\n")
    service = lab.start_service(ADMIN_BYPASS_IP=ADMINISTRATOR)
    for _ in range(3):
        expect(service.connect(allowed_ips_csv=HALVES)["ok"], "connect")
        service.wait_for_tunnel()
        service.disconnect()
    words = tell("buffers").split()
    counts = dict(zip(words[::2], map(int, words[1::2])))
    expect(counts["out"] >= 9, f"fewer buffers than sessions were asked for: {counts}")
    expect_equal((counts["back"], counts["unknown"]), (counts["out"], 0), "(given back, unknown)")
    lab.expect_as_at_first()


@scenario
def a_name_beyond_ascii_cuts_the_startup_report_on_standard_output_short(lab):
    """Standard error carries the bytes of the name."""
    def plug_in():
        places.plug_in("tunnel-\u00fc", 40, "to-umlaut")
        places.check_in(places.MACHINE, "ip", "link", "set", "tunnel-\u00fc", "up")
        places.check_in(places.MACHINE, "ip", "route", "add", "default", "dev", "tunnel-\u00fc",
                        "metric", "7")

    lab.change_machine(plug_in, lambda: places.check_in(places.MACHINE, "ip", "link", "delete",
                                                        "tunnel-\u00fc"))
    tell("knob interface-metric 1")
    output, error = windows.dry_run()
    beginning, end = b'@if40:tunnel-', '\u00fc:metric=8"}\n'.encode()
    expect_equal(output[-len(beginning):], beginning, "the end of standard output")
    expect_equal(error[-len(beginning + end):], beginning + end, "the end of standard error")
    expect_equal(error[:len(output)], output, "standard error up to there")
