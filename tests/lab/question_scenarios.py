"""A connect that asks first, that splits a catch-all, and that waits for the tunnel."""

from harness import expect, expect_equal, run_client, scenario
from veltrane_lab import places, veltranectl, windows
from veltrane_lab.tell import tell

HALVES = "0.0.0.0/1, 128.0.0.0/1"
BYPASS = {"VELTRANE_POC_ADMIN_BYPASS": "1"}
BOTH_FAMILIES = {"address_cidr": "10.66.66.7/32, 2001:db8:66::7/128"}


def expect_nothing_was_sent(lab):
    """The service has not so much as looked at its configuration file."""
    expect(not windows.CONF.exists(), "active.conf was written")
    expect_equal(lab.client.ask("#tunnel"), "none", "the tunnel service")
    lab.expect_as_at_first()


def allowed_ips_of_conf():
    lines = windows.CONF.read_text().splitlines()
    return next(line for line in lines if line.startswith("AllowedIPs"))


@scenario
def a_connect_that_would_cut_somebody_off_says_whom_and_sends_nothing(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="0")
    office = veltranectl.write_profile(allowed_ips_csv=HALVES)
    printed = run_client(veltranectl.RISK, "connect", office)
    expect("203.0.113.5, connected over Remote Desktop to 192.168.77.2: would be lost to the tunnel"
           in printed, f"it does not say who would be lost: {printed}")
    expect("nothing was sent" in printed, f"it does not say that nothing was sent: {printed}")
    expect_nothing_was_sent(lab)
    expect_equal(service.status()["phase"], "disconnected", "the phase")
    administrator.count_on(20)
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def with_the_risk_accepted_the_same_connect_is_sent_and_he_is_lost(lab):
    """The control experiment: what the scenario before it prevents would have happened."""
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="0")
    office = veltranectl.write_profile(allowed_ips_csv=HALVES)
    run_client(veltranectl.DONE, "connect", office, *veltranectl.LOSE_ADMINISTRATION)
    service.wait_for_tunnel()
    administrator.break_off()
    service.disconnect()
    lab.expect_as_at_first()


@scenario
def a_connect_with_somebody_who_is_pinned_does_not_stop(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(**BYPASS)
    office = veltranectl.write_profile(allowed_ips_csv=HALVES)
    run_client(veltranectl.DONE, "connect", office, **BYPASS)
    service.wait_for_tunnel()
    administrator.count_on(40)
    service.disconnect()
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_split_catch_all_lets_a_pinned_administrator_notice_nothing(lab):
    administrator = lab.connect_administrator()
    machine, gateway = lab.watch(places.MACHINE), lab.watch(places.GATEWAY)
    service = lab.start_service(**BYPASS)
    office = veltranectl.write_profile(allowed_ips_csv="0.0.0.0/0, ::/0", **BOTH_FAMILIES)
    run_client(veltranectl.RISK, "connect", office, **BYPASS)
    expect_nothing_was_sent(lab)

    run_client(veltranectl.DONE, "connect", office, "--split-default", "--wait", **BYPASS)
    # Whatever --wait promises holds now, not some time later.
    expect(service.status()["tunnel_running"], "the tunnel service does not run after --wait")
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")
    expect_equal(allowed_ips_of_conf(), "AllowedIPs = 0.0.0.0/1, 128.0.0.0/1, ::/1, 8000::/1",
                 "active.conf")
    to_administrator = {"source": places.MACHINE_IP, "dest": places.ADMINISTRATOR_IP}
    before = gateway.count(interface="to-machine", **to_administrator)
    administrator.count_on(60)
    expect(gateway.count(interface="to-machine", **to_administrator) - before >= 60,
           "the echoes did not leave through the gateway")
    expect_equal(machine.count(interface=places.TUNNEL, dest=places.ADMINISTRATOR_IP), 0,
                 "packets to the administrator in the tunnel")

    run_client(veltranectl.DONE, "disconnect")
    administrator.count_on(20)
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late, administrator.wrong), (0, 0, 0),
                 f"(lost, late, wrong) of {administrator.sent} echoes")


@scenario
def halves_past_which_packets_would_go_are_not_sent_unless_that_is_accepted(lab):
    over_ipv6 = lab.connect_administrator(places.ADMINISTRATOR_IP6, places.MACHINE_IP6)
    machine = lab.watch(places.MACHINE)
    service = lab.start_service(**BYPASS, ADMIN_BYPASS_IP=places.ADMINISTRATOR_IP)
    office = veltranectl.write_profile(allowed_ips_csv="0.0.0.0/0")
    printed = run_client(veltranectl.RISK, "connect", office, "--split-default", **BYPASS)
    expect("IPv6 would go past the tunnel" in printed, f"it does not say why: {printed}")
    expect_nothing_was_sent(lab)

    run_client(veltranectl.DONE, "connect", office, "--split-default", "--accept-risk", "leaks",
               "--wait", **BYPASS)
    before = machine.count(interface="eth0", dest=places.ADMINISTRATOR_IP6)
    over_ipv6.count_on(40)
    expect(machine.count(interface="eth0", dest=places.ADMINISTRATOR_IP6) - before >= 40,
           "IPv6 did not go past the tunnel")
    service.disconnect()
    lab.expect_as_at_first()


@scenario
def halves_under_a_guard_that_may_be_on_are_not_sent(lab):
    """The guard takes no halves away."""
    guard = {"VELTRANE_POC_DISABLE_DEFAULT_ROUTE": "1"}
    lab.start_service(**guard)
    office = veltranectl.write_profile(allowed_ips_csv="0.0.0.0/0, ::/0", **BOTH_FAMILIES)
    run_client(veltranectl.RISK, "connect", office, "--split-default", **guard)
    expect_nothing_was_sent(lab)


@scenario
def waiting_for_a_tunnel_that_is_too_slow_ends_in_time_and_leaves_it(lab):
    service = lab.start_service()
    tell("knob start-delay 8")
    office = veltranectl.write_profile()
    run_client(veltranectl.NOT_RUNNING, "connect", office, "--wait", "2")
    service.wait_for_tunnel()
    service.disconnect()
    lab.expect_as_at_first()
