"""The file NOTICE: whose work the executables contain, and on which terms."""

HEAD = """\
{name} {version}

The terms of {name} itself are in the file LICENSE. Its executables also contain the work of
others, which this file names with their copyrights and terms. It is made from the build: the
linker's own account of what it took, the headers that were compiled, and the copyright files of
the Debian packages that they are from.
"""
RULE = "-" * 80


def section(component, shown):
    """A component's part of the file. shown: {a text that an earlier part has: that component's name}."""
    lines = [RULE, f"{component.known.name} {component.version}: {component.known.about}",
             f"contained in {', '.join(sorted(component.executables))}",
             f"licence: {component.licence}", RULE]
    holders = {}
    for notice in component.notices:
        named = {notice.copyright} - {""}
        holders.setdefault((notice.licence, notice.text), set()).update(named)
    for (licence, text), names in sorted(holders.items()):
        first = shown.setdefault(text, component.known.name)
        copyrights = (f"Copyright: {name}".replace("\n", "\n           ") for name in sorted(names))
        lines += ["", *copyrights, f"[{licence}]", "",
                  text if first == component.known.name else f"The text is above, with {first}."]
    return "\n".join(lines) + "\n"


def notice(product, components):
    """The whole text."""
    shown = {}
    return "\n".join([HEAD.format(**product), *(section(each, shown) for each in components)])
