"""The licences of a component, from the copyright files of its Debian packages."""
import fnmatch
import re
from dataclasses import dataclass

from debian_packages import copyright_text, machine_readable_copyright
from failure import Failure

# Debian's short names, as they were reviewed, in SPDX's words. What SPDX has no identifier for is a
# LicenseRef, whose text is in NOTICE.
SPDX = {
    "BSD-2-clause-NetBSD": "BSD-2-Clause",
    "BSD-3-clause": "BSD-3-Clause",
    "BSD-3-clause-Lockless": "BSD-3-Clause",
    "David-Gay": "LicenseRef-David-Gay",
    "Expat": "MIT",
    "ISC": "ISC",
    "Keith-Marshall": "LicenseRef-Keith-Marshall",
    "LGPL-2.1+": "LGPL-2.1-or-later",
    "Lucent": "LicenseRef-Lucent",
    "Permissive-Sun": "SunPro",
    "ZPL-2.1": "ZPL-2.1",
    "expat": "MIT",
    "public-domain": "LicenseRef-public-domain",
}

# Headers that grant more themselves than Debian's copyright file says of them: the words that do.
EXCEPTION = "this header file does not by itself cause\n   the resulting executable to be covered"
HEADER_EXCEPTIONS = {
    "mingw-w64-headers/crt/stdarg.h": "LicenseRef-GPL-2.0-or-later-with-header-exception",
}


@dataclass(frozen=True, order=True)
class Notice:
    """The terms of some files of a component."""
    licence: str  # an SPDX expression
    text: str
    copyright: str = ""  # a line for each holder; empty also for what is in the public domain


def spdx(name, package):
    """The SPDX expression for a licence of Debian's copyright files, such as "BSD-3-clause and ISC"."""
    words = re.split(r" (and|or) ", name)
    unknown = [word for word in words if word not in ("and", "or") and word not in SPDX]
    if unknown:
        raise Failure(f'the licence "{unknown[0]}" of {package} is not known: review it, and add it to '
                      "packaging/materials/licences.py")
    return " ".join(word.upper() if word in ("and", "or") else SPDX[word] for word in words)


def notice(paragraph, package):
    """The Notice of a paragraph "Files:" of a copyright file."""
    texts = {alone.license.synopsis: alone.license.text
             for alone in machine_readable_copyright(package).all_license_paragraphs()}
    name = paragraph.license.synopsis
    text = paragraph.license.text or "\n\n".join(texts[word] for word in re.split(r" and | or ", name))
    holders = "\n".join(line.strip() for line in paragraph.copyright.strip().splitlines())
    return Notice(spdx(name, package), text.strip(), "" if holders == "public-domain" else holders)


def reviewed_notices(known, package):
    """The Notice of a component whose copyright file is not machine-readable."""
    _, start, rest = copyright_text(package).partition(known.text_from)
    text, end, _ = rest.partition(known.text_to)
    if not start or not end:
        raise Failure(f"the copyright file of {package} no longer has the text that was reviewed for "
                      f"{known.name} ({known.text_from.strip()})")
    return {Notice(known.licence, start + text + end.rstrip())}


def source_notices(known, package):
    """The Notices of a component that was compiled from known.sources. Which file of that folder a
    member of an archive comes from is not recorded, so those of all of them are listed."""
    paragraphs = list(machine_readable_copyright(package).all_files_paragraphs())
    globs = {glob for paragraph in paragraphs for glob in paragraph.files
             if glob.startswith(known.sources) and not glob.startswith(known.not_sources)}
    if f"{known.sources}*" not in globs:
        globs.add("*")  # what no other paragraph speaks of
    return {notice(paragraph, package) for paragraph in paragraphs if globs.intersection(paragraph.files)}


def header_notice(known, package, file):
    """The Notice of one header: that of the last paragraph that matches it."""
    sources = [f"{source}/{file[len(folder) + 1:]}" for folder, parts in known.headers
               if file.startswith(f"{folder}/") for source in parts]
    for source in sources:
        if source in HEADER_EXCEPTIONS:
            return exception_notice(file, HEADER_EXCEPTIONS[source])
    last = None
    for paragraph in machine_readable_copyright(package).all_files_paragraphs():
        if any(fnmatch.fnmatchcase(source, glob) for source in sources for glob in paragraph.files):
            last = paragraph
    if last is None:
        raise Failure(f"the copyright file of {package} does not speak of {file}")
    return notice(last, package)


def exception_notice(file, licence):
    with open(file, encoding="utf-8", errors="replace") as header:
        text = header.read()
    if EXCEPTION not in text:
        raise Failure(f"{file} no longer has the exception that was reviewed")
    comments = text[:text.index("*/", text.index(EXCEPTION))].replace("*/", "").replace("/*", "")
    return Notice(licence, "\n".join(line.strip() for line in comments.splitlines()).strip())


def notices(known, files):
    """The Notices of a component, in order. files: {a file that is a part of it: its Debian package}."""
    found = set()
    for file, package in files.items():
        if known.licence:
            found |= reviewed_notices(known, package)
        elif known.headers:
            found.add(header_notice(known, package, file))
        else:
            found |= source_notices(known, package)
    return sorted(found)
