"""The echoes of one part over time, as SVG. Colours come from the style sheet around it, STYLE."""

import html
import math

STYLE = """\
.plot text { font: 12px system-ui, sans-serif; fill: var(--ink) }
.plot .grid { stroke: var(--line); stroke-width: 1 }
.plot .back { fill: var(--good) }
.plot .late { fill: var(--warn) }
.plot .lost { fill: var(--bad) }
.plot .event { stroke: var(--ink); stroke-width: 1; stroke-dasharray: 3 3 }
.plot .silence { fill: var(--bad); opacity: .13 }
"""
LIGHT = "--paper: #fff; --ink: #24292f; --line: #d8dee4; --good: #1a7f37; --warn: #bc4c00; --bad: #cf222e"
DARK = "--paper: #0d1117; --ink: #e6edf3; --line: #30363d; --good: #3fb950; --warn: #f0883e; --bad: #ff7b72"

WIDTH, HEIGHT = 860, 250
LEFT, RIGHT, TOP, BOTTOM = 62, 12, 44, 34
LATE_SECONDS = 2.0
SILENCE_SECONDS = 1.0
# Round trips from a tenth of a millisecond to thirty seconds, on a logarithmic scale.
LOWEST, HIGHEST = 1e-4, 30.0
GRID = ((0.001, "1 ms"), (0.01, "10 ms"), (0.1, "100 ms"), (1.0, "1 s"), (10.0, "10 s"))


def silences(echoes, last):
    """The stretches of more than a second in which nothing came back although echoes were sent."""
    arrivals = [echoes[0][0]] if echoes else []
    arrivals += [back for _, back in echoes if back is not None]
    arrivals += [last] if any(back is None for _, back in echoes) else []
    return [(begin, end) for begin, end in zip(arrivals, arrivals[1:])
            if end - begin > SILENCE_SECONDS]


def plot(part, top=0):
    """The <g> of one part, drawn `top` pixels below the origin."""
    echoes, events = part["echoes"], part["events"]
    last = max([1.0] + [when for when, *_ in events] + [back or sent for sent, back in echoes])

    def across(seconds):
        return LEFT + (WIDTH - LEFT - RIGHT) * seconds / last

    def up(seconds):
        share = math.log(min(max(seconds, LOWEST), HIGHEST) / LOWEST) / math.log(HIGHEST / LOWEST)
        return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * share

    out = [f'<g class="plot" transform="translate(0 {top})">']
    for seconds, name in GRID:
        out.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{up(seconds):.1f}" '
                   f'y2="{up(seconds):.1f}"/><text x="{LEFT - 6}" y="{up(seconds) + 4:.1f}" '
                   f'text-anchor="end">{name}</text>')
    step = next(step for step in (1, 2, 5, 10, 20, 50) if last / step <= 12 or step == 50)
    for second in range(0, int(last) + 1, step):
        out.append(f'<text x="{across(second):.1f}" y="{HEIGHT - BOTTOM + 16}" '
                   f'text-anchor="middle">{second} s</text>')
    for begin, end in silences(echoes, last):
        out.append(f'<rect class="silence" x="{across(begin):.1f}" y="{TOP}" '
                   f'width="{max(across(end) - across(begin), 2):.1f}" '
                   f'height="{HEIGHT - TOP - BOTTOM}"/>')
    out += [_mark(across(sent), sent, back, up) for sent, back in echoes]
    marked = [(when, mark) for when, _, mark in events if mark]
    for row, (when, name) in enumerate(marked):
        at, right = across(when), across(when) > WIDTH * 0.8
        out.append(f'<line class="event" x1="{at:.1f}" x2="{at:.1f}" y1="{TOP - 4}" '
                   f'y2="{HEIGHT - BOTTOM}"/><text x="{at + (-4 if right else 4):.1f}" '
                   f'y="{TOP - 24 + 14 * (row % 2)}" text-anchor="{"end" if right else "start"}">'
                   f'{html.escape(name)}</text>')
    return "\n".join(out + ["</g>"])


def _mark(at, sent, back, up):
    if back is None:
        return f'<rect class="lost" x="{at - 1:.1f}" y="{TOP}" width="2" height="8"/>'
    kind = "late" if back - sent > LATE_SECONDS else "back"
    return f'<circle class="{kind}" cx="{at:.1f}" cy="{up(back - sent):.1f}" r="2"/>'


def picture(parts):
    """All parts below each other as one SVG file that follows the reader's light or dark theme."""
    band = HEIGHT + 26
    body = "\n".join(
        f'<text x="{LEFT}" y="{number * band + 18}" '
        f'style="font: 600 14px system-ui, sans-serif; fill: var(--ink)">'
        f'{html.escape(part["title"])}</text>' + plot(part, number * band + 26)
        for number, part in enumerate(parts))
    height = band * len(parts)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" '
            f'width="{WIDTH}" height="{height}">\n<style>svg {{ {LIGHT} }}\n'
            f'@media (prefers-color-scheme: dark) {{ svg {{ {DARK} }} }}\n{STYLE}</style>\n'
            f'<rect width="100%" height="100%" style="fill: var(--paper)"/>\n{body}\n</svg>\n')
