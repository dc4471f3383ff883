"""Runs scenarios inside a lab; see run_all."""

import subprocess
import sys
import traceback

import traffic_scenarios  # noqa: F401, I001  (each import adds scenarios, in this order)
import administrators_scenarios  # noqa: F401
import windows_scenarios  # noqa: F401
import guard_scenarios  # noqa: F401
import lifetime_scenarios  # noqa: F401
import question_scenarios  # noqa: F401
import back_scenarios  # noqa: F401
from harness import SCENARIOS, name_of, run
from veltrane_lab import windows

PREPARE = "prepare_windows"


def chosen(names):
    by_name = {name_of(function): function for function in SCENARIOS}
    unknown = [name for name in names if name not in by_name]
    if unknown:
        sys.exit(f"lab: there is no scenario {' '.join(unknown)}")
    return [by_name[name] for name in names] if names else SCENARIOS


def show_failure(failure):
    traceback.print_exception(failure, file=sys.stdout)
    print("---- the service printed")
    print((windows.LOGS / "service.log").read_text(errors="replace").replace("\r", ""))
    print("---- the agent noted")
    print((windows.LOGS / "agent.log").read_text())
    print("----", flush=True)


def main(arguments):
    if arguments == ["--list"]:
        print("\n".join(name_of(function) for function in SCENARIOS))
        return 0
    passed, failed = int(arguments[1]), int(arguments[2])  # behind --so-far
    functions = chosen(arguments[3:])
    subprocess.run([windows.LAB_PROGRAMS / PREPARE], check=True)
    client = windows.PipeClient()
    for function in functions:
        failure, seconds = run(function, client)
        failed += failure is not None
        passed += failure is None
        print(f"{'FAILED' if failure else 'ok    '}  {name_of(function)} ({seconds:.0f} s)",
              flush=True)
        if failure:
            show_failure(failure)
    print(f"lab: {passed} passed, {failed} failed, 0 skipped")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
