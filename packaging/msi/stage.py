"""The files of the package: everything below the stage."""

import dataclasses
import pathlib
import struct
import xml.etree.ElementTree as ElementTree

import identities

WIX = "http://schemas.microsoft.com/wix/2006/wi"
FIXED_VERSION_SIGNATURE = struct.pack("<II", 0xFEEF04BD, 0x00010000)
TRANSLATION = "Translation\0".encode("utf-16-le")
TRANSLATION_VALUE = 26  # where its value begins: the next multiple of 4 from the head of 6 bytes on


@dataclasses.dataclass
class StagedFile:
    """A file of the stage, by its path below it with slashes."""

    path: str
    source: pathlib.Path

    def key(self):
        return identities.key("file", self.path)

    def component(self):
        return identities.key("component", self.path)

    def version(self):
        """Returns the file version of its version resource (VS_FIXEDFILEINFO), or None."""
        content = self.source.read_bytes()
        found = content.find(FIXED_VERSION_SIGNATURE)
        if content[:2] != b"MZ" or found < 0:
            return None
        high, low = struct.unpack_from("<II", content, found + 8)
        return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"

    def language(self):
        """Returns the first language of its version resource in decimal: 1033 if it names none."""
        content = self.source.read_bytes()
        found = content.find(TRANSLATION)
        if found < 0:
            return "1033"
        return str(struct.unpack_from("<H", content, found + TRANSLATION_VALUE)[0])


def staged_files(stage):
    """Returns the files below a folder, sorted by path."""
    stage = pathlib.Path(stage)
    paths = sorted(path for path in stage.rglob("*") if path.is_file())
    return [StagedFile(path.relative_to(stage).as_posix(), path) for path in paths]


def element(parent, name, **attributes):
    return ElementTree.SubElement(parent, f"{{{WIX}}}{name}", attributes)


def write_fragment(files, folder):
    """Writes files.wxs: a component for each file of the folder's stage, and their group "Files"."""
    ElementTree.register_namespace("", WIX)
    wix = ElementTree.Element(f"{{{WIX}}}Wix")
    fragment = element(wix, "Fragment")
    folders = {"": element(fragment, "DirectoryRef", Id="INSTALLFOLDER")}
    group = element(fragment, "ComponentGroup", Id="Files")
    for file in files:
        component = element(
            folder_of(file.path, folders), "Component", Id=file.component(),
            Guid=identities.component_guid(file.path), Win64="yes")
        element(component, "File", Id=file.key(), KeyPath="yes",
                Source=file.source.relative_to(folder).as_posix())
        element(group, "ComponentRef", Id=file.component())
    ElementTree.ElementTree(wix).write(folder / "files.wxs", encoding="utf-8", xml_declaration=True)


def folder_of(path, folders):
    """Returns the element of the folder that this path is in, which it adds when it is missing."""
    folder = path.rpartition("/")[0]
    if folder not in folders:
        folders[folder] = element(
            folder_of(folder, folders), "Directory", Id=identities.key("folder", folder),
            Name=folder.rpartition("/")[2])
    return folders[folder]
