"""The identities of a package and its parts: each follows from names and contents alone."""

import hashlib
import re
import uuid

# Windows takes two packages with this code for versions of one product. It never changes.
UPGRADE_CODE = uuid.UUID("6b1f0c52-9d0e-5c3e-8f4b-3d1c2a7e5f90")


def guid(text):
    """Returns the GUID that belongs to a text, in the form that Windows Installer writes."""
    return "{" + str(uuid.uuid5(UPGRADE_CODE, text)).upper() + "}"


def upgrade_code():
    return "{" + str(UPGRADE_CODE).upper() + "}"


def product_code(version):
    """Returns the ProductCode of a version: one for all its builds."""
    return guid("product " + version)


def package_code(content):
    """Returns the code of the package with these bytes, which hold another code in its place."""
    return guid("package " + hashlib.sha256(content).hexdigest())


def component_guid(path):
    """Returns the ComponentId of the file at this path below the installation folder.

    It is the same in every version, so that Windows knows the file again.
    """
    return guid("component " + path.lower())


def key(kind, path):
    """Returns a primary key for what is at this path: readable, and different for each path."""
    readable = re.sub(r"[^A-Za-z0-9_.]", "_", path)[-40:]
    return f"{kind}_{hashlib.sha256(path.encode()).hexdigest()[:8]}_{readable}"


def short_name(name):
    """Returns "SHORT|name", or the name alone where it is a short one (8.3) itself."""
    if re.fullmatch(r"[A-Za-z0-9_-]{1,8}(\.[A-Za-z0-9_-]{1,3})?", name):
        return name
    stem, _, extension = name.rpartition(".") if "." in name else (name, "", "")
    digest = hashlib.sha256(name.lower().encode()).hexdigest()[:4].upper()
    beginning = re.sub(r"[^A-Za-z0-9]", "", stem).upper()[:2] or "F"
    ending = re.sub(r"[^A-Za-z0-9]", "", extension).upper()[:3]
    return f"{beginning}{digest}~1" + (f".{ending}" if ending else "") + "|" + name
