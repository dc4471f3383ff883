"""Runs the Linux programs that the lab is made of."""

import subprocess


def run(*arguments, **options):
    """Runs a program; returns its exit code and what it printed on either stream."""
    if "input" not in options:
        options["stdin"] = subprocess.DEVNULL
    done = subprocess.run([str(a) for a in arguments], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    return done.returncode, done.stdout.strip()


def check(*arguments, **options):
    """Runs a program that must succeed; returns what it printed."""
    code, output = run(*arguments, **options)
    if code != 0:
        raise RuntimeError(f"{' '.join(map(str, arguments))}: exit code {code}: {output}")
    return output
