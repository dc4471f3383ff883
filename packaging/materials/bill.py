"""The bill of materials, in CycloneDX 1.6."""
import datetime
import json
import uuid

from components import sha256
from debian_packages import purl


def hashes(file):
    return [{"alg": "SHA-256", "content": sha256(file)}]


def licences(expression):
    if " " in expression or expression.startswith("LicenseRef-"):
        return [{"expression": expression}]
    return [{"license": {"id": expression}}]


def shipped(file, product):
    """One of our own executables."""
    return {"type": "library" if file.suffix == ".dll" else "application", "bom-ref": file.name,
            "publisher": product["publisher"], "name": file.name, "version": product["version"],
            "hashes": hashes(file), "licenses": licences("MIT")}


def added(library):
    """A library that the operator added: its maker knows its licence."""
    entry = {"type": "library", "bom-ref": library["file"].name, "name": library["file"].name,
             "description": "added by the operator who made the package", "hashes": hashes(library["file"])}
    return entry | ({"version": library["version"]} if library["version"] else {})


def contained(component, release):
    """A component that is linked into executables, with the files of the build machine that it is."""
    known = component.known
    return {"type": "library", "bom-ref": known.name, "name": known.name, "version": component.version,
            "description": known.about, "scope": "required", "licenses": licences(component.licence),
            "copyright": "\n".join(sorted({holder for notice in component.notices
                                           for holder in notice.copyright.splitlines()})) or None,
            "purl": purl(component.package, release),
            "components": [{"type": "file", "name": file, "hashes": hashes(file)}
                           for file in component.identity]}


def bill(product, executables, libraries, components, epoch, release):
    """The whole document. executables and libraries lie as they are shipped, signed if they are signed."""
    entries = [*(shipped(file, product) for file in executables), *map(added, libraries),
               *(contained(component, release) for component in components)]
    entries = [{key: value for key, value in entry.items() if value is not None} for entry in entries]
    root = f"{product['name']} {product['version']}"
    depends = {root: [entry["bom-ref"] for entry in entries[:len(executables) + len(libraries)]]}
    for file in executables:
        depends[file.name] = [each.known.name for each in components if file.name in each.executables]
    document = {
        "$schema": "http://cyclonedx.org/schema/bom-1.6.schema.json",
        "bomFormat": "CycloneDX", "specVersion": "1.6", "serialNumber": "", "version": 1,
        "metadata": {
            "timestamp": datetime.datetime.fromtimestamp(epoch, datetime.timezone.utc)
                         .strftime("%Y-%m-%dT%H:%M:%SZ"),
            "lifecycles": [{"phase": "build"}],
            "component": {"type": "application", "bom-ref": root, "publisher": product["publisher"],
                          "name": product["name"], "version": product["version"],
                          "licenses": licences("MIT")},
        },
        "components": entries,
        "dependencies": [{"ref": ref, "dependsOn": sorted(on)} for ref, on in depends.items()],
    }
    # The same contents have the same number, and others have another one.
    document["serialNumber"] = uuid.uuid5(uuid.NAMESPACE_OID, json.dumps(document)).urn
    return json.dumps(document, indent=2, ensure_ascii=False) + "\n"
