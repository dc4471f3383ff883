"""What the matrix has shown, from the files of its parts: a table, and a file with every row."""

import collections
import json
import pathlib
import sys

from forecast_judgement import (AGREES, DISAGREES, FROM_WORST, TOO_BRIGHT, TOO_DARK, Circumstances,
                                Happened, judge)


def rejudged_as_stays(rows):
    """The control: how many rows would disagree if every verdict had been `stays`."""
    return sum(judge("stays", "", Happened(**row["happened"]),
                     Circumstances(**row["circumstances"]))[0] != AGREES
               for row in rows)


def disagreements(rows):
    return [row for row in rows if row["judgement"] in (TOO_BRIGHT, DISAGREES)]


def print_report(rows):
    print()
    _print_verdicts(rows)
    _print_reasons("too dark, by reason", [row for row in rows if row["judgement"] == TOO_DARK],
                   lambda row: row["why"])
    _print_reasons("unknown, by reason", [row for row in rows if row["verdict"] == "unknown"],
                   lambda row: row["detail"])
    stand_ins = [row for row in rows if row["stand_ins"]]
    print(f"\nof these over IPv6, which Wine cannot read and the stand-ins do: {len(stand_ins)}")
    print(f"control: had every verdict been stays, {rejudged_as_stays(rows)} would disagree")
    print(f"too bright {sum(row['judgement'] == TOO_BRIGHT for row in rows)}")


def _print_verdicts(rows):
    outcomes = ["kept", "moved", "lost", "refused", "undone"]
    print("verdict   " + "".join(f"{name:>9}" for name in [*outcomes, "agree", "dark", "wrong"]))
    for verdict in FROM_WORST:
        of_verdict = [row for row in rows if row["verdict"] == verdict]
        seen = collections.Counter(_seen(row) for row in of_verdict)
        judged = collections.Counter(row["judgement"] for row in of_verdict)
        figures = [*(seen[name] for name in outcomes), judged[AGREES], judged[TOO_DARK],
                   judged[TOO_BRIGHT] + judged[DISAGREES]]
        print(f"{verdict:10}" + "".join(f"{figure:9}" for figure in figures))


def _seen(row):
    happened = row["happened"]
    if happened["end"] != "connected" and happened["outcome"] == "kept":
        return happened["end"]
    return happened["outcome"]


def _print_reasons(title, rows, reason_of):
    print(f"\n{title}: {len(rows)}")
    for reason, count in collections.Counter(map(reason_of, rows)).most_common():
        print(f"  {count:4}  {reason}")


def print_disagreement(row):
    print(f"DISAGREES  {row['address']} to {row['local']} ({row['combination']})\n"
          f"           forecast {row['verdict']}: {row['detail']}\n"
          f"           {row['judgement']}: {row['why']}", flush=True)


def main(file, *parts):
    parts = [json.loads(pathlib.Path(part).read_text()) for part in parts]
    rows = [row for part in parts for row in part["rows"]]
    pathlib.Path(file).write_text(json.dumps(rows, indent=1) + "\n")
    print_report(rows)
    wrong = len(disagreements(rows)) + sum(part["broken"] for part in parts)
    print(f"forecast: {len(rows)} combinations, {wrong} disagreements")
    return 1 if wrong or not rows else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
