"""A connect that comes back by itself unless somebody confirms it."""

import time

from harness import expect, expect_equal, run_client, scenario
from veltrane_lab import places, veltranectl
from veltrane_lab.tell import tell
from veltrane_lab.waiting import wait_until

HALVES = "0.0.0.0/1, 128.0.0.0/1"
BYPASS = {"VELTRANE_POC_ADMIN_BYPASS": "1"}
# The shortest deadline that the client takes, and one that no scenario waits for.
SOON, LATER = "10", "3600"


def connect_on_probation(lab, seconds, *words, **settings):
    """Connects at a console and returns it when it asks for the word."""
    office = veltranectl.write_profile(allowed_ips_csv=HALVES)
    console = lab.open_console("connect", office, "--confirm", seconds, *words, **settings)
    console.wait_for(veltranectl.QUESTION)
    return console


def cut_off_administrator(lab, seconds):
    """Returns an administrator who has just lost the machine, the service and the console."""
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="0")
    console = connect_on_probation(lab, seconds, *veltranectl.LOSE_ADMINISTRATION)
    service.wait_for_tunnel()
    administrator.break_off()
    return administrator, service, console


def expect_end(console, exit_code):
    expect_equal(console.exit_code(), exit_code,
                 f"the exit code of a client that printed\n{console.screen()}")


def expect_undone_by_the_watchdog(service):
    wait_until(lambda: not service.status()["tunnel_running"], "the tunnel service stops")
    wait_until(lambda: not veltranectl.watchdogs(), "the watchdog ends")


def expect_he_works_on(lab, administrator):
    """On the connection that he had, which TCP has kept."""
    lab.expect_as_at_first()
    administrator.count_on_again(40)
    expect_equal((administrator.finish(), administrator.wrong), (0, 0), "(lost, wrong)")


def expect_it_stays_past_the_deadline(service, asked):
    """`asked` is a moment after the service's answer."""
    wait_until(lambda: not veltranectl.watchdogs(), "the watchdog leaves")
    time.sleep(max(0.0, asked + float(SOON) + 3 - time.monotonic()))
    expect(service.status()["tunnel_running"], "the tunnel service does not run any more")
    expect_equal(places.seen_from_outside(), places.TUNNEL_IP, "the outside host sees")


@scenario
def an_unconfirmed_connect_that_cuts_the_administrator_off_is_undone_and_he_works_on(lab):
    administrator, service, console = cut_off_administrator(lab, SOON)
    expect_end(console, veltranectl.UNDONE)
    # What the exit code promises holds now, not some time later.
    expect_equal(places.routing_of_machine(), lab.routing_at_first, "routing of the machine")
    expect(not service.status()["tunnel_running"], "the tunnel service still runs")
    expect('the connection to "office" has been undone' in console.screen(),
           f"it does not say so: {console.screen()}")
    wait_until(lambda: not veltranectl.watchdogs(), "the watchdog ends")
    expect_he_works_on(lab, administrator)


@scenario
def a_killed_client_is_undone_at_once_and_the_administrator_works_on(lab):
    """Its deadline is an hour away."""
    administrator, service, console = cut_off_administrator(lab, LATER)
    expect_equal(len(veltranectl.watchdogs()), 1, "watchdogs")
    console.kill()
    expect_undone_by_the_watchdog(service)
    expect_he_works_on(lab, administrator)


@scenario
def a_closed_console_is_undone_at_once_and_the_administrator_works_on(lab):
    administrator, service, console = cut_off_administrator(lab, LATER)
    expect_equal(len(veltranectl.watchdogs()), 1, "watchdogs")
    console.hang_up()
    expect_undone_by_the_watchdog(service)
    expect_he_works_on(lab, administrator)


@scenario
def a_connect_that_is_confirmed_by_the_word_stays(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(**BYPASS)
    console = connect_on_probation(lab, SOON, **BYPASS)
    asked = time.monotonic()
    console.type("yes")
    administrator.count_on(20)
    expect(not console.has_ended(), f"another word was taken for the word: {console.screen()}")
    console.type(veltranectl.KEEP)
    expect_end(console, veltranectl.DONE)
    expect_it_stays_past_the_deadline(service, asked)
    run_client(veltranectl.DONE, "disconnect")
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_connect_that_is_confirmed_from_another_process_stays(lab):
    administrator = lab.connect_administrator()
    service = lab.start_service(**BYPASS)
    console = connect_on_probation(lab, SOON, **BYPASS)
    asked = time.monotonic()
    run_client(veltranectl.DONE, "confirm")
    expect_end(console, veltranectl.DONE)
    expect_it_stays_past_the_deadline(service, asked)
    run_client(veltranectl.DONE, "disconnect")
    lab.expect_as_at_first()
    expect_equal((administrator.finish(), administrator.late), (0, 0), "(lost, late)")


@scenario
def a_tunnel_that_is_slow_to_start_does_not_come_up_after_it_has_been_undone(lab):
    """While it starts it takes no stop, and the service says that it does not run."""
    administrator = lab.connect_administrator()
    service = lab.start_service(VELTRANE_POC_ADMIN_BYPASS="0")
    tell("knob start-delay 25")
    console = connect_on_probation(lab, LATER, *veltranectl.LOSE_ADMINISTRATION)
    expect(not service.status()["tunnel_running"], "the tunnel service runs already")
    console.kill()
    wait_until(lambda: not veltranectl.watchdogs(), "the watchdog ends", bound=180)
    expect_he_works_on(lab, administrator)
