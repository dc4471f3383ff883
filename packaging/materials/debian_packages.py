"""The Debian packages that own the files of others: their versions and their copyright files."""
import functools
import re
import subprocess

from debian.copyright import Copyright, NotMachineReadableError
from failure import Failure


def owners(files):
    """{file: the Debian package that installed it} for absolute paths; fails when a file has none."""
    answer = subprocess.run(["dpkg-query", "--search", *sorted(files)], text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    found = {}
    for line in answer.splitlines():
        package, _, path = line.partition(": ")
        found[path] = package.partition(":")[0]
    unknown = sorted(set(files) - found.keys())
    if unknown:
        raise Failure(f"no Debian package has {', '.join(unknown)}: what is it, and under which licence?")
    return found


@functools.cache
def query(package, field):
    return subprocess.run(["dpkg-query", "--show", f"--showformat=${{{field}}}", package], check=True,
                          text=True, stdout=subprocess.PIPE).stdout


def upstream_version(package):
    """The version that its makers gave it: 2.1.2 of Debian's 2.1.2+ds-1."""
    version = query(package, "Version").rpartition("-")[0] or query(package, "Version")
    return re.sub(r"\+(ds|dfsg|repack).*$", "", version.rpartition(":")[2])


def purl(package, release):
    """The package URL of a Debian package, of the Debian release with this number."""
    version = query(package, "Version").replace("+", "%2B").replace(":", "%3A").replace("~", "%7E")
    name = package.replace("+", "%2B")
    return f"pkg:deb/debian/{name}@{version}?arch={query(package, 'Architecture')}&distro=debian-{release}"


@functools.cache
def copyright_text(package):
    with open(f"/usr/share/doc/{package}/copyright", encoding="utf-8") as file:
        return file.read()


@functools.cache
def machine_readable_copyright(package):
    try:
        return Copyright(copyright_text(package).splitlines(), strict=True)
    except (NotMachineReadableError, ValueError) as error:
        raise Failure(f"the copyright file of {package} cannot be read: {error}") from error
