"""What the linker and the compiler read to make an executable, from their own records of the build:
the linker's map, and the header dependencies that Ninja keeps."""
import os
import pathlib
import re
import subprocess
from dataclasses import dataclass, field

from failure import Failure


@dataclass
class Inputs:
    """What one executable was made of, as absolute paths without symbolic links."""
    linked: dict = field(default_factory=dict)  # object file or archive -> the members taken from it
    headers: set = field(default_factory=set)


def read_map(map_file):
    """The object files and {archive: members} that the linker took, as it names them.

    The map names each member of an archive at the start of a line, in front of what needed it.
    """
    if not map_file.exists():
        raise Failure(f"{map_file} is missing: remove the build folder and build again")
    text = map_file.read_text(errors="replace")
    taken = text.partition("\nMemory Configuration\n")[0]
    archives = {}
    for archive, member in re.findall(r"^(\S.*?\.a)\(([^()]+)\)", taken, re.MULTILINE):
        archives.setdefault(archive, set()).add(member)
    loaded = re.findall(r"^LOAD (.*)$", text, re.MULTILINE)
    objects = {name for name in loaded if name.endswith((".o", ".obj", ".res"))}
    # A .def lists the exports of a DLL; the linker's own tables are "dll stuff".
    others = {name for name in loaded if not name.endswith((".a", ".def"))} - objects - {"dll stuff"}
    if others or not objects or not archives:
        raise Failure(f"{map_file} is not understood: {sorted(others) or 'nothing was linked'}")
    return objects, archives


def header_dependencies(build):
    """{object file, as Ninja names it: the files that its compilation read}, absolute."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, text=True,
                             stdout=subprocess.PIPE).stdout
    real_path = {}
    found = {}
    for line in listing.splitlines():
        if line.startswith("    "):
            name = line.strip()
            if name not in real_path:
                real_path[name] = os.path.realpath(build / name)
            headers.add(real_path[name])
        elif line:
            headers = found.setdefault(line.partition(": #deps")[0], set())
    return found


def own_objects(archive, members, dependencies):
    """The object files of this build from which CMake made these members of its archive."""
    folder, name = os.path.split(archive)
    objects = os.path.join(folder, "CMakeFiles", name.removeprefix("lib").removesuffix(".a") + ".dir/")
    made = {}
    for path in dependencies:
        if path.startswith(objects):
            made.setdefault(os.path.basename(path), set()).add(path)
    unknown = members - made.keys()
    if unknown:
        raise Failure(f"{archive} has members that were not compiled here: {sorted(unknown)}")
    return set().union(*(made[member] for member in members))


def read_inputs(build, executable, dependencies):
    """The Inputs of an executable of this build."""
    objects, archives = read_map(pathlib.Path(f"{executable}.map"))
    inputs = Inputs()
    own = set()
    for name in objects:
        if os.path.isabs(name):
            inputs.linked[os.path.realpath(name)] = set()
        else:
            own.add(name)
    for name, members in archives.items():
        if os.path.isabs(name):
            inputs.linked.setdefault(os.path.realpath(name), set()).update(members)
        else:
            own |= own_objects(name, members, dependencies)
    for name in own:
        if name in dependencies:
            inputs.headers |= dependencies[name]
        elif not name.endswith((".rc.obj", ".rc.res")):
            raise Failure(f"Ninja does not know what {name} was compiled from: build it again")
    return inputs
