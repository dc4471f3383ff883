"""The tunnel itself."""

from harness import bytes_at_server, expect, expect_equal, scenario, tunnel_log, wait_for_handshake
from veltrane_lab import places
from veltrane_lab.waiting import wait_until


@scenario
def the_tunnel_carries_traffic(lab):
    service = lab.start_service()
    server = lab.watch(places.SERVER)
    received, sent = bytes_at_server()
    reply = service.connect(allowed_ips_csv="10.66.66.0/24")
    expect_equal((reply["ok"], reply["phase"]), (True, "connected"), "the reply")
    service.wait_for_tunnel()
    expect(places.pings(places.SERVER_TUNNEL_IP), "the server does not answer through the tunnel")
    wait_for_handshake()
    expect(server.count(interface="wg-server", source=places.TUNNEL_IP) > 0,
           "the server saw no packet from the tunnel's address")
    now_received, now_sent = bytes_at_server()
    expect(now_received > received and now_sent > sent, "the server's counters stand still")
    expect_equal(places.seen_from_outside(), places.MACHINE_IP,
                 "outside hosts are not behind this tunnel; they see")

    expect_equal(service.disconnect()["phase"], "disconnected", "the phase after disconnect")
    lab.expect_as_at_first()
    expect(not service.status()["tunnel_running"], "the tunnel service still runs")
    expect(not places.pings(places.SERVER_TUNNEL_IP), "the server still answers")


@scenario
def a_configuration_that_wireguard_refuses_does_not_come_up(lab):
    service = lab.start_service()
    reply = service.connect(server_public_key="not-a-key")
    expect(reply["ok"], "the service does not judge keys")
    wait_until(lambda: "refused" in tunnel_log(), "the tunnel's log tells the refusal")
    expect("Key is not the correct length or format" in tunnel_log(), "the reason: " + tunnel_log())
    wait_until(lambda: not service.status()["tunnel_running"], "the tunnel service stops")
    service.disconnect()
    lab.expect_as_at_first()
