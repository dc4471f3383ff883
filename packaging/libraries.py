"""The libraries that an operator adds to a package, and what Windows reads of them."""
import pathlib

import pefile

# Each with the functions without which it is not that library. tunnel.dll: what the service calls
# (tunnel/tunnel_service.cpp). wireguard.dll: what its makers' first example calls.
LIBRARIES = {
    "tunnel.dll": ("WireGuardTunnelService",),
    "wireguard.dll": ("WireGuardCreateAdapter", "WireGuardSetConfiguration", "WireGuardSetAdapterState",
                      "WireGuardCloseAdapter"),
}
MACHINES = {"IMAGE_FILE_MACHINE_I386": "32-bit x86", "IMAGE_FILE_MACHINE_ARM64": "ARM64",
            "IMAGE_FILE_MACHINE_ARMNT": "32-bit ARM"}


def exports(image):
    image.parse_data_directories([pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_EXPORT"]])
    table = getattr(image, "DIRECTORY_ENTRY_EXPORT", None)
    return {symbol.name.decode("latin-1") for symbol in (table.symbols if table else []) if symbol.name}


def wrong_with(file):
    """Why this file cannot be the library of its name, as the end of a sentence; "" if it can."""
    if not file.is_file():
        return "is missing"
    try:
        image = pefile.PE(file, fast_load=True)
    except pefile.PEFormatError:
        return "is not a Windows library"
    machine = pefile.MACHINE_TYPE.get(image.FILE_HEADER.Machine, "of an unknown machine")
    if machine != "IMAGE_FILE_MACHINE_AMD64":
        return f"is not 64-bit x86 but {MACHINES.get(machine, machine)}"
    if not image.is_dll():
        return "is a program, not a library"
    missing = [name for name in LIBRARIES[file.name] if name not in exports(image)]
    return f"does not export {', '.join(missing)}" if missing else ""


def file_version(file):
    """The version in a file's version resource, such as "0.10.1.0"; "" without one."""
    image = pefile.PE(file, fast_load=True)
    image.parse_data_directories([pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_RESOURCE"]])
    for fixed in getattr(image, "VS_FIXEDFILEINFO", []):
        high, low = fixed.FileVersionMS, fixed.FileVersionLS
        return f"{high >> 16}.{high & 0xffff}.{low >> 16}.{low & 0xffff}"
    return ""


def complaints(folder):
    """What is wrong with the libraries in this folder, one sentence each."""
    found = ((name, wrong_with(pathlib.Path(folder) / name)) for name in LIBRARIES)
    return [f"{name} {wrong}" for name, wrong in found if wrong]
