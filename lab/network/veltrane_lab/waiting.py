"""Waits for a state, with a generous time limit that only a failure reaches."""

import time

BOUND_SECONDS = 60


def wait_until(condition, what, bound=BOUND_SECONDS):
    """Waits for the condition; returns its value. Raises AssertionError after `bound` seconds."""
    deadline = time.monotonic() + bound
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"not reached within {bound} s: {what}")
        time.sleep(0.05)
