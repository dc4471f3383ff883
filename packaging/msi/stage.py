"""The files of the package: everything below the stage."""

import dataclasses
import functools
import pathlib
import xml.etree.ElementTree as ElementTree

import identities
import pefile

WIX = "http://schemas.microsoft.com/wix/2006/wi"


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
        for fixed in getattr(version_resource(self.source), "VS_FIXEDFILEINFO", []):
            high, low = fixed.FileVersionMS, fixed.FileVersionLS
            return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"
        return None

    def language(self):
        """Returns the first language of its version resource in decimal: 1033 if it names none."""
        for info in getattr(version_resource(self.source), "FileInfo", []):
            for variable in (var for part in info for var in getattr(part, "Var", [])):
                if b"Translation" in variable.entry:
                    return str(int(variable.entry[b"Translation"].split()[0], 16))
        return "1033"


@functools.cache
def version_resource(source):
    """Returns the file as pefile has read it and its resources, or None when it is no executable."""
    try:
        image = pefile.PE(source, fast_load=True)
    except pefile.PEFormatError:
        return None
    image.parse_data_directories([pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_RESOURCE"]])
    return image


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
