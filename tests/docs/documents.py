"""The documents against the schemas, and both against the words that the service knows."""
import json
import re

from schemas import ROOT, errors, first_error, names, operations, schema_error, table, takes, validator, verdict, words


def check_example(name, schema, text):
    try:
        value = json.loads(text)
    except ValueError as error:
        verdict(f"{name} is JSON", error)
        return
    verdict(f"{schema} takes {name}", first_error(schema, value))
    verdict(f"{schema} refuses one member more than {name}",
            "taken" if takes(schema, dict(value, unknown_member=1)) else "")


def check_examples():
    """Every block of JSON names its schema behind the word json."""
    shown = set()
    for document in sorted([ROOT / "README.md", *(ROOT / "docs").glob("*.md")]):
        blocks = re.findall(r"^ *```json *(\S*)\n(.*?)^ *```$", document.read_text(), re.MULTILINE | re.DOTALL)
        for number, (schema, text) in enumerate(blocks, 1):
            name = f"example {number} of {document.relative_to(ROOT)}"
            verdict(f"{name} names its schema", "" if schema in names() else f"{schema!r} is none")
            if schema in names():
                check_example(name, schema, text)
                shown.add(schema)
    for operation in filter(None, operations()):
        verdict(f"the documents show a request of {operation}",
                "" if f"request-{operation}" in shown else "no example")


def check_connect_requests():
    """What the schema asks of a profile, so that the service understands it and a tunnel can come up."""
    profile = json.loads((ROOT / "examples" / "profile.json").read_text())
    request = {"op": "connect", **profile}
    verdict("request-connect takes examples/profile.json", first_error("request-connect", request))
    for key, value in [("endpoint_port", 51820), ("endpoint_port", "0"), ("endpoint_port", "65536"),
                       ("client_private_key", "short"), ("node_id", 'a"b'), ("node_id", ""),
                       ("address_cidr", ""), ("endpoint_host", "a\nb"), ("dns_csv", "1.1.1.1\nX"),
                       ("allowed_ips_csv", "::/0\n"), ("session_nonce", "\t"), ("node_id", "a\n"),
                       ("node_id", "a\\b")]:
        verdict(f"request-connect refuses {key} {value!r}",
                "taken" if takes("request-connect", dict(request, **{key: value})) else "")


def words_in(room, pattern):
    return {word for path in sorted((ROOT / room).glob("*.cpp")) for word in re.findall(pattern, path.read_text())}


def check_same(what, here, there):
    """Each of the two is a place and the set of words that stand there."""
    wrong = [f"{word} is in {place[0]} alone" for place, other in [(here, there), (there, here)]
             for word in sorted(place[1] - other[1])]
    verdict(f"{what} are the same in {here[0]} and in {there[0]}", ", ".join(wrong))


def check_operations():
    documented = ("docs/protocol.md", {word for word in operations() if word})
    check_same("operations", ("ipc/dispatcher.cpp", words_in("ipc", r'\bop == "(\w+)"')), documented)
    for side in ["request", "reply"]:
        known = {name.removeprefix(f"{side}-") for name in names() if name.startswith(f"{side}-")} - {"error"}
        check_same("operations", (f"docs/schema/{side}-*", known), documented)
    for name in names():
        if name.startswith("request-"):
            verdict(f"{name} refuses another operation", "taken" if takes(name, {"op": "another"}) else "")


def check_errors():
    documented = ("docs/protocol.md", set(errors()))
    kinds = {kind["properties"]["error"]["const"]: kind for kind in validator("reply-error").schema["oneOf"]}
    refusal = r'(?:MakeErrorReply|MakeErrorReplyWithReports|Refuse|RefuseWithReports)\((?:server, )?"(\w+)"'
    check_same("errors", ("ipc/", words_in("ipc", refusal)), documented)
    check_same("errors", ("docs/schema/reply-error.schema.json", set(kinds)), documented)
    check_same("errors", ("its table of operations", {word for row in operations().values() for word in row}),
               documented)
    for word in sorted(set(errors()) & set(kinds)):
        message, reports = errors()[word]
        listed = kinds[word]["properties"]["message"].get("enum")
        verdict(f"docs/protocol.md and the schema agree on the reports of {word}",
                "" if reports == ("admin_bypass" in kinds[word]["required"]) else "they do not")
        verdict(f"docs/protocol.md and the schema agree on the messages of {word}",
                "" if listed is None or message.split(", ") == listed else f"{message}, {listed}")


def check_settings():
    documented = {word for row in table("operations.md", "variable") for word in words(row[0])}
    read = {word for room in ["service", "ipc", "bypass", "guard", "tunnel"]
            for word in words_in(room, r'Read\w+\(L"(\w+)"')}
    check_same("variables", ("the service", read), ("docs/operations.md", documented))


def check_documents():
    for name in names():
        verdict(f"{name} is a schema", schema_error(name))
    check_examples()
    check_connect_requests()
    check_operations()
    check_errors()
    check_settings()
