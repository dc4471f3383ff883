"""Holds the forecast of `veltranectl doctor` against packets, inside a lab, for a part of the matrix;
hold_forecast runs all of it."""

import dataclasses
import json
import os
import pathlib
import socket
import subprocess
import sys
import traceback

import forecast_people
import forecast_report as report
import forecast_services as services
from forecast_judgement import (AGREES, DISAGREES, Circumstances, Happened, end_of,
                                error_of, judge)
from forecast_matrix import MATRIX
from forecast_probe import Connections, outcome
from harness import Lab
from veltrane_lab import places, windows
from veltrane_lab.tell import tell

PREPARE = "prepare_windows"
COULD_CUT_OFF = 12  # an exit code of doctor
PROFILE = windows.PROGRAM / "asked.conf"


def write_profile(combination):
    """Writes what the connect request asks for as the client reads it."""
    request = windows.profile(address_cidr=combination.address,
                              allowed_ips_csv=combination.allowed_ips)
    PROFILE.write_text(
        f"[Interface]\nPrivateKey = {request['client_private_key']}\n"
        f"Address = {request['address_cidr']}\n"
        f"[Peer]\nPublicKey = {request['server_public_key']}\n"
        f"AllowedIPs = {request['allowed_ips_csv']}\n"
        f"Endpoint = {request['endpoint_host']}:{request['endpoint_port']}\n")
    return {"address_cidr": request["address_cidr"], "allowed_ips_csv": request["allowed_ips_csv"]}


def ask_doctor(combination):
    """Returns the forecast, as the client prints it, and its exit code."""
    words = ["doctor", PROFILE.name, "--json"]
    if combination.service is None:
        words.append("--any-server")
    for person in combination.people:
        if not person.by_remote_desktop:
            words += ["--from", person.address]
    settings = combination.service.client if combination.service else combination.settings
    done = subprocess.run(
        places.command_in(places.MACHINE, windows.WINE, windows.PROGRAM / "veltranectl.exe", *words),
        env=dict(os.environ, **dict(settings)), cwd=windows.PROGRAM, stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    try:
        return json.loads(done.stdout)["forecast"], done.returncode
    except (ValueError, KeyError) as error:
        raise AssertionError(f"no forecast: exit code {done.returncode} {done.stderr}") from error


def expect_exit_code(forecast, exit_code):
    """12 when the forecast endangers somebody who is connected now."""
    endangered = [row["address"] for row in forecast if row["reason"] == "rdp_connection" and
                  row["verdict"] not in ("stays", "refused")]
    if endangered and exit_code != COULD_CUT_OFF:
        raise AssertionError(f"exit code {exit_code} although {endangered} could be cut off")


def forecast_of(person, forecast):
    """Returns the row of the forecast that is about this person's connection, or None."""
    for row in forecast:
        about_connection = row["reason"] == "rdp_connection"
        if row["address"] == person.address and about_connection == person.by_remote_desktop:
            if not about_connection or row["local"] == person.local:
                return row
    return None


def start_service(lab, combination):
    if combination.service is None:
        return lab.start_service(combination.metric, **dict(combination.settings))
    tell(f"knob interface-metric {combination.metric}")
    service = services.RegisteredService(lab.client, combination.service)
    lab.at_end(service.kill)
    return service


def run(combination, lab):
    """Asks, connects, watches, disconnects; returns a row for every person."""
    if combination.machine is not None:
        lab.change_machine(*combination.machine)
    if combination.strong_host:
        lab.use_strong_host_sends()
    if combination.session:
        (windows.PROGRAM / "sessions.txt").write_text(f"1 0 {combination.session}\n")
    service = start_service(lab, combination)
    connections = Connections(lab, combination.people)
    if combination.already_up:
        service.connect(allowed_ips_csv=combination.already_up)
        service.wait_for_tunnel()
    before = connections.observe()
    request = write_profile(combination)
    if combination.unreadable:
        tell(f"fault {combination.unreadable} 1+ 50")
    forecast, exit_code = ask_doctor(combination)
    tell("faults none")
    if combination.unpinnable_session:
        tell("fault CreateIpForwardEntry 2 87")
        # The check after the start must not read the table while the tunnel changes it, or it may miss
        # a row and create every route again.
        tell("knob start-delay 2")
    expect_exit_code(forecast, exit_code)
    reply = service.connect(**request)
    if reply["ok"]:
        service.wait_for_tunnel()
    forecasts = {person: forecast_of(person, forecast) or {} for person in combination.people}
    after = connections.observe({person for person in combination.people
                                 if forecasts[person].get("verdict") in ("stays", "refused")})
    service.disconnect()
    if not combination.already_up:  # a connect forgets the pins of the one before
        lab.expect_as_at_first()
    return [make_row(combination, person, forecasts[person], reply, before[person], after[person])
            for person in combination.people if before[person].echoes]


def way_of(way):
    """An interface and a next hop, as the probe notes them."""
    with places.inside(places.MACHINE):
        return socket.if_indextoname(way["interface"]), way.get("next_hop", "")


def make_row(combination, person, forecast, reply, before, after):
    happened = Happened(end_of(reply), outcome(before, after), error_of(reply))
    circumstances = Circumstances(
        settings_known=combination.service is None or combination.service.is_known,
        all_read=not combination.unreadable, by_connection=person.by_remote_desktop,
        pinned_if_possible=person.address == combination.session,
        strong_host=combination.strong_host,
        by_second_adapter=person.local == places.SECOND_IP)
    verdict, detail = forecast.get("verdict", "none"), forecast.get("detail", "")
    judgement, why = judge(verdict, detail, happened, circumstances)
    if (verdict, judgement) == ("stays", AGREES):
        foretold = {way_of(forecast["now"]), way_of(forecast["after"])}
        if foretold != {(after.interface, after.next_hop)}:
            judgement, why = DISAGREES, "the packets left by another way than the forecast's"
    return {"combination": str(combination), "address": person.address, "local": person.local,
            "port": person.port, "stand_ins": person.over_ipv6, "verdict": verdict,
            "detail": detail, "now": forecast.get("now"), "after": forecast.get("after"),
            "before_connect": dataclasses.asdict(before),
            "after_connect": dataclasses.asdict(after),
            "happened": dataclasses.asdict(happened),
            "circumstances": dataclasses.asdict(circumstances), "judgement": judgement, "why": why}


def run_all(combinations):
    """Returns the rows, and how many combinations could not be run."""
    rows, broken = [], 0
    client = windows.PipeClient()
    for combination in combinations:
        try:
            if combination.service is not None:
                client = services.restart_windows(client, combination.service)
            with Lab(client) as lab:
                new = run(combination, lab)
        except Exception:  # one combination must not take the others along
            broken += 1
            print(f"BROKEN  {combination}\n{traceback.format_exc()}", flush=True)
            continue
        rows += new
        for row in report.disagreements(new):
            report.print_disagreement(row)
    client.close()
    return rows, broken


def main(file, part, parts, *words):
    """Runs every combination of its part whose text has all the words."""
    subprocess.run([windows.LAB_PROGRAMS / PREPARE], check=True)
    forecast_people.give_addresses()
    chosen = [combination for combination in MATRIX
              if all(word in str(combination) for word in words)]
    rows, broken = run_all(chosen[int(part)::int(parts)])
    pathlib.Path(file).write_text(json.dumps({"rows": rows, "broken": broken}))
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
