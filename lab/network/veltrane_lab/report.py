"""The page about a demonstration: report.html, self-contained, and what it was made from,
results.json. Run by itself it makes the picture of the parts that are named:

  python3 -m veltrane_lab.report results.json picture.svg [NUMBER...]
"""

import html
import json
import pathlib
import sys

from .plot import DARK, HEIGHT, LIGHT, STYLE, WIDTH, picture, plot

PAGE = """\
<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Who stays connected? A run of the Veltrane VPN service</title>
<style>
:root {{ {light}; color-scheme: light dark }}
@media (prefers-color-scheme: dark) {{ :root {{ {dark} }} }}
{plots}
body {{ margin: 0 auto; max-width: 900px; padding: 1.5rem 1rem 4rem; background: var(--paper);
  color: var(--ink); font: 16px/1.5 system-ui, sans-serif }}
h1 {{ font-size: 1.6rem; line-height: 1.25 }}
h2 {{ font-size: 1.2rem; margin: 2.5rem 0 .5rem; border-top: 1px solid var(--line); padding-top: 1.5rem }}
svg {{ width: 100%; height: auto }}
.scroll {{ overflow-x: auto }}
.scroll svg {{ min-width: 620px }}
ul {{ list-style: none; padding: 0; margin: .5rem 0 }}
li {{ padding-left: 1.6rem; text-indent: -1.6rem }}
.holds::before {{ content: "\\2713\\00a0\\00a0"; color: var(--good); font-weight: 700 }}
.fails::before {{ content: "\\2717\\00a0\\00a0"; color: var(--bad); font-weight: 700 }}
.windows {{ border-left: 4px solid var(--line); padding: .1rem 0 .1rem 1rem; margin: 1rem 0 }}
table {{ border-collapse: collapse; margin: .5rem 0 }}
td, th {{ text-align: left; padding: .15rem 1.2rem .15rem 0; font-weight: 400 }}
th {{ opacity: .75 }}
td.number {{ text-align: right; font-variant-numeric: tabular-nums }}
pre {{ font: 13px/1.45 ui-monospace, monospace; overflow-x: auto; margin: .2rem 0 1rem }}
.screen {{ white-space: pre-wrap; overflow-wrap: anywhere }}
.new {{ color: var(--good) }} .gone {{ color: var(--bad) }}
.key {{ font-size: .85rem; opacity: .85 }}
.dot {{ font-weight: 700 }}
</style>
</head>
<body>
<h1>Who stays connected?</h1>
<p>An administrator sends an echo to port 3389 of a machine twenty times a second while the real
service, under Wine in a network of its own, brings a WireGuard tunnel up and down. {summary}</p>
<p>The lab plays a Windows machine on Linux: what each part means on Windows stands below it.
What is not protected, and what to do about it, is told in docs/limits.md.</p>
<p class="key">Each <span class="dot" style="color: var(--good)">dot</span> is an echo by the time it
took to come back; <span class="dot" style="color: var(--warn)">orange</span>: after more than two
seconds; <span class="dot" style="color: var(--bad)">red marks</span> at the top: not back by the end of
the part; shaded: nothing comes back.</p>
{parts}
</body>
</html>
"""


def _routes(routes):
    """The routing before, then what was added (+) and what went (-) against it."""
    first = routes.get("before", [])
    out = ""
    for when in ("before", "during", "after"):
        if when not in routes:
            continue
        rows = routes[when]
        lines = [("" if row in first or when == "before" else "new", row) for row in rows]
        lines += [("gone", row) for row in first if row not in rows]
        text = "\n".join(f'<span class="{kind}">{"+ " if kind == "new" else "- " if kind else "  "}'
                         f'{html.escape(row.strip())}</span>' for kind, row in lines)
        same = " (as before)" if when != "before" and rows == first else ""
        out += f"<div>{when}{same}</div><pre>{text}</pre>"
    return out


def _screens(screens):
    return "".join(f"<details><summary>{html.escape(command)}</summary>"
                   f'<pre class="screen">{html.escape(text)}</pre></details>'
                   for command, text in screens)


def _part(part):
    checks = "\n".join(f'<li class="{"holds" if holds else "fails"}">{html.escape(str(text))}</li>'
                       for text, holds in part["checks"])
    packets = "".join(f'<tr><td>{html.escape(what)}</td><td class="number">{gateway}</td>'
                      f'<td class="number">{tunnel}</td></tr>'
                      for what, gateway, tunnel in part["packets"])
    if packets:
        packets = ("<table><tr><th>packets to the administrator</th><th>through the gateway</th>"
                   f"<th>through the tunnel</th></tr>{packets}</table>")
    return (f"<h2>{html.escape(part['title'])}</h2>\n<p>{html.escape(part['story'])}</p>\n"
            f'<div class="scroll"><svg viewBox="0 0 {WIDTH} {HEIGHT}" role="img" '
            f'aria-label="Echoes over time">{plot(part)}</svg></div>\n<ul>{checks}</ul>\n'
            f'<div class="windows"><strong>On Windows.</strong> {html.escape(part["on_windows"])}'
            f"</div>\n{packets}{_screens(part['screens'])}"
            "<details><summary>The machine's routing table</summary>"
            f"{_routes(part['routes'])}</details>")


def write(parts, trouble, folder):
    """Writes both files, also about a run that failed; says where the page is. `trouble` is what ended
    the run early, or None."""
    folder.mkdir(parents=True, exist_ok=True)
    data = [part.as_dictionary() for part in parts]
    (folder / "results.json").write_text(json.dumps(data, indent=1) + "\n")
    failures = sum(part.failures for part in parts)
    summary = (f"{failures} of the checks below failed." if failures else
               f"All {sum(len(part.checks) for part in parts)} checks below hold.")
    if trouble:
        summary += f" The run ended early: {html.escape(str(trouble))}."
    (folder / "report.html").write_text(PAGE.format(
        light=LIGHT, dark=DARK, plots=STYLE, summary=summary, parts="\n".join(map(_part, data))))
    print(f"\nthe same as a page: {folder / 'report.html'}")


def main(arguments):
    parts = json.loads(pathlib.Path(arguments[0]).read_text())
    chosen = [parts[int(number) - 1] for number in arguments[2:]] or parts
    pathlib.Path(arguments[1]).write_text(picture(chosen))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
