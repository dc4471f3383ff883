"""Runs the Linux programs that the lab needs."""

import subprocess


def run(*arguments, **options):
    """Runs a program; returns its exit code and its output on both streams."""
    if "input" not in options:
        options["stdin"] = subprocess.DEVNULL
    done = subprocess.run([str(a) for a in arguments], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    return done.returncode, done.stdout.strip()


def check(*arguments, **options):
    """Runs a program that must succeed; returns its output."""
    code, output = run(*arguments, **options)
    if code != 0:
        raise RuntimeError(f"{' '.join(map(str, arguments))}: exit code {code}: {output}")
    return output
