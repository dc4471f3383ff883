"""The components of the executables of a build: which of what is known came into which executable."""
import hashlib
from dataclasses import dataclass, field

from build import header_dependencies, read_inputs
from debian_packages import owners, upstream_version
from failure import Failure
from known import component_of
from licences import notices


@dataclass
class Component:
    known: object
    version: str
    package: str  # the Debian package of its identity: the one that has what is linked
    identity: list  # what identifies it: the linked files, or the headers if nothing of it is linked
    notices: list
    executables: set = field(default_factory=set)  # the names of those that contain it

    @property
    def licence(self):
        """One SPDX expression for all of it."""
        terms = sorted({notice.licence for notice in self.notices})
        return terms[0] if len(terms) == 1 else " AND ".join(
            f"({term})" if " OR " in term else term for term in terms)


def sha256(file):
    with open(file, "rb") as content:
        return hashlib.file_digest(content, "sha256").hexdigest()


def foreign(inputs, own_folders):
    """The files of Inputs that are not of this project."""
    return [file for file in [*inputs.linked, *inputs.headers] if not file.startswith(own_folders)]


def sort_out(inputs, owner, name):
    """{Known: {its files in these Inputs: their Debian packages}}."""
    parts = {}
    for file in inputs:
        known = component_of(file, owner[file])
        if known is None:
            raise Failure(f"{name} contains {file} of the package {owner[file]}, which nobody has reviewed: "
                          "add the component to packaging/materials/known.py, with its licence")
        parts.setdefault(known, {})[file] = owner[file]
    return parts


def find_components(build, root, executables):
    """The Components of the executables of a build folder, sorted by name."""
    dependencies = header_dependencies(build)
    inputs = {executable: read_inputs(build, executable, dependencies) for executable in executables}
    own_folders = (f"{root}/", f"{build}/")
    files = {executable: foreign(inputs[executable], own_folders) for executable in executables}
    owner = owners(set().union(*files.values()))

    parts, contained_in = {}, {}
    for executable in executables:
        for known, its in sort_out(files[executable], owner, executable.name).items():
            parts.setdefault(known, {}).update(its)
            contained_in.setdefault(known, set()).add(executable.name)
    linked = set().union(*(read.linked for read in inputs.values()))
    return [component(known, its, linked, contained_in[known])
            for known, its in sorted(parts.items(), key=lambda part: part[0].name.lower())]


def component(known, its, linked, executables):
    identity = sorted(set(its) & linked) or sorted(its)
    package = its[identity[0]]
    versions = {upstream_version(each) for each in its.values()}
    if len(versions) > 1:
        raise Failure(f"{known.name} is of more than one version: {', '.join(sorted(versions))}")
    return Component(known, versions.pop(), package, identity, notices(known, its), executables)
