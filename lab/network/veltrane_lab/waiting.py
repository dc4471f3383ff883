"""Waiting for a state, with a generous bound that only a failure reaches."""

import time

BOUND_SECONDS = 60


def wait_until(condition, what, bound=BOUND_SECONDS):
    """Waits for the condition to hold; returns its value. Raises AssertionError at the bound."""
    deadline = time.monotonic() + bound
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {bound} s in vain: {what}")
        time.sleep(0.05)
