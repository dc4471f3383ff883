"""Checks the documents against the schemas, and both against the words in the service's sources."""
import json
import re

from schemas import (ROOT, errors, first_error, names, operations, schema_error, table, takes, validator,
                     verdict, words)

DOCUMENTS = sorted([ROOT / "README.md", ROOT / "SECURITY.md", *(ROOT / "docs").glob("*.md")])


def with_more_members(value):
    """The same value with a member in each of its objects that no document knows."""
    if isinstance(value, list):
        return [with_more_members(element) for element in value]
    if not isinstance(value, dict):
        return value
    return {"unknown_member": 1, **{key: with_more_members(member) for key, member in value.items()}}


def check_example(name, schema, text):
    try:
        value = json.loads(text)
    except ValueError as error:
        verdict(f"{name} is JSON", error)
        return
    verdict(f"{name} matches {schema}", first_error(schema, value))
    verdict(f"{schema} lists every member of {name}",
            "an additional one is accepted" if takes(schema, dict(value, unknown_member=1)) else "")
    if schema.startswith("reply-"):
        verdict(f"{schema} lets a client ignore members that are not in {name}",
                first_error(schema, with_more_members(value), strict=False))


def anchors(document):
    """The names of the document's headings, as they stand behind the # of a link."""
    headings = re.findall(r"^#+ +(.*)$", document.read_text(), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links():
    """Every link within the project leads to a file, and to a heading of it."""
    for document in DOCUMENTS:
        for target, heading in re.findall(r"\]\((?!\w+:)([^)#\s]*)#?([^)\s]*)\)", document.read_text()):
            found = document.parent / target if target else document
            wrong = "no such file" if not found.exists() else \
                "no such heading" if heading and heading not in anchors(found) else ""
            verdict(f"{document.relative_to(ROOT)} links {target}#{heading}", wrong)


def check_examples():
    """Every JSON block names its schema after the word json."""
    shown = set()
    block = re.compile(r"^ *```json *(\S*)\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)
    for document in DOCUMENTS:
        for number, (schema, text) in enumerate(block.findall(document.read_text()), 1):
            name = f"example {number} of {document.relative_to(ROOT)}"
            verdict(f"{name} names its schema", "" if schema in names() else f"{schema!r} is not one")
            if schema in names():
                check_example(name, schema, text)
                shown.add(schema)
    for operation in filter(None, operations()):
        verdict(f"there is an example of request-{operation}",
                "" if f"request-{operation}" in shown else "there is none")


def check_connect_requests():
    """The schema is stricter than the service: it rejects what the service would misread."""
    profile = json.loads((ROOT / "examples" / "profile.json").read_text())
    request = {"op": "connect", **profile}
    verdict("examples/profile.json matches request-connect", first_error("request-connect", request))
    for key, value in [("endpoint_port", 51820), ("endpoint_port", "0"), ("endpoint_port", "65536"),
                       ("client_private_key", "short"), ("node_id", 'a"b'), ("node_id", ""),
                       ("address_cidr", ""), ("endpoint_host", "a\nb"), ("dns_csv", "1.1.1.1\nX"),
                       ("allowed_ips_csv", "::/0\n"), ("session_nonce", "\t"), ("node_id", "a\n"),
                       ("node_id", "a\\b")]:
        verdict(f"request-connect rejects {key} {value!r}",
                "accepted" if takes("request-connect", dict(request, **{key: value})) else "")


def words_in(room, pattern):
    return {word for path in (ROOT / room).glob("*.cpp") for word in re.findall(pattern, path.read_text())}


def check_same(what, here, there):
    """Each of the two is a pair: a place and the set of its words."""
    wrong = [f"{word} is only in {place[0]}" for place, other in [(here, there), (there, here)]
             for word in sorted(place[1] - other[1])]
    verdict(f"{what} are the same in {here[0]} and in {there[0]}", ", ".join(wrong))


def check_operations():
    documented = ("docs/protocol.md", {word for word in operations() if word})
    check_same("operations", ("ipc/dispatcher.cpp", words_in("ipc", r'\bop == "(\w+)"')), documented)
    for side in ["request", "reply"]:
        known = {name.removeprefix(f"{side}-") for name in names() if name.startswith(f"{side}-")}
        check_same("operations", (f"docs/schema/{side}-*", known - {"error"}), documented)
    for name in names():
        if name.startswith("request-"):
            verdict(f"{name} rejects another operation", "accepted" if takes(name, {"op": "another"}) else "")


def check_errors():
    documented = ("docs/protocol.md", set(errors()))
    kinds = {kind["properties"]["error"]["const"]: kind
             for kind in validator("reply-error").schema["oneOf"]}
    refusal = r'(?:MakeErrorReply|MakeErrorReplyWithReports|Refuse|RefuseWithReports)\((?:server, )?"(\w+)"'
    check_same("errors", ("ipc/", words_in("ipc", refusal)), documented)
    check_same("errors", ("docs/schema/reply-error.schema.json", set(kinds)), documented)
    of_operations = {word for words_of_one in operations().values() for word in words_of_one}
    check_same("errors", ("the operations of docs/protocol.md", of_operations), documented)
    for word in sorted(set(errors()) & set(kinds)):
        message, reports = errors()[word]
        listed = kinds[word]["properties"]["message"].get("enum")
        verdict(f"docs/protocol.md and the schema agree on the reports of {word}",
                "" if reports == ("admin_bypass" in kinds[word]["required"]) else "they differ")
        verdict(f"docs/protocol.md and the schema agree on the messages of {word}",
                "" if listed is None or message.split(", ") == listed else f"{message}, {listed}")


def check_settings():
    documented = {word for row in table("operations.md", "variable") for word in words(row[0])}
    read = {word for room in ["service", "ipc", "bypass", "guard", "tunnel"]
            for word in words_in(room, r'Read\w+\(L"(\w+)"')}
    check_same("variables", ("the service", read), ("docs/operations.md", documented))


def check_properties():
    """Those of the MSI that an operator can set: what its actions get, but for what it finds out itself."""
    taken = {word for read in [r'Text\(L"(\w+)"\)', r'Property\(L"([A-Z]+)"\)'] for word in words_in("setup", read)}
    taken -= {"NEWERPRODUCT", "PREVIOUSFOLDER", "REMOVE"}
    for document in ["operations.md", "deployment.md"]:
        documented = {word for row in table(document, "property") for word in words(row[0])} - {"REBOOT"}
        check_same("properties", ("setup/", taken), (f"docs/{document}", documented))


def check_recipes():
    """The files that CONTRIBUTING.md names exist, except those of a build and those with a placeholder."""
    for path in sorted(set(re.findall(r"`([\w.]+/[\w./-]*)`", (ROOT / "CONTRIBUTING.md").read_text()))):
        if not re.search(r"^(?:build|dist)/|WORD|NAME", path):
            verdict(f"{path} of CONTRIBUTING.md exists", "" if (ROOT / path).exists() else "it does not")


def check_evidence():
    """The tests and files that SECURITY.md names as evidence exist."""
    text = (ROOT / "SECURITY.md").read_text()
    written = {f"{suite}.{name}" for path in (ROOT / "tests").rglob("*_test.cpp")
               for suite, name in re.findall(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", path.read_text(), re.MULTILINE)}
    for test in re.findall(r"`([A-Z]\w*[a-z]\w*\.[A-Z]\w+)`", text):
        verdict(f"{test} of SECURITY.md is a test", "" if test in written else "it is not")
    for path in re.findall(r"`((?:cmake|scripts|tests)/[\w./]+)", text):
        verdict(f"{path} of SECURITY.md exists", "" if (ROOT / path).exists() else "it does not")


def check_version():
    """Everything else takes the version from CMakeLists.txt."""
    project = re.search(r"^project\(\w+ VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)
    change = re.search(r"^## +(\S+)", (ROOT / "CHANGELOG.md").read_text(), re.MULTILINE)
    verdict("CHANGELOG.md begins with the version of CMakeLists.txt",
            "" if change[1] == project[1] else f"{change[1]}, {project[1]}")


def check_documents():
    for name in names():
        verdict(f"{name} is a valid schema", schema_error(name))
    check_links()
    check_examples()
    check_connect_requests()
    check_operations()
    check_errors()
    check_settings()
    check_properties()
    check_recipes()
    check_evidence()
    check_version()
