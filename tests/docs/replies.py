#!/usr/bin/python3 -B
"""Validates replies and doctor's findings against docs/schema.

usage: replies.py NAME.SCHEMA.json...    each file contains one text; its name says which schema

Taken strictly, the schema must also reject the same object without any one of its members, and with
an additional node_id or unknown member.
"""
import json
import pathlib
import re
import sys

from schemas import finish, first_error, names, operations, takes, verdict


def complaint(schema, text):
    """What is wrong with the text, or with a schema that accepts too much, or nothing."""
    if schema not in names():
        return f"docs/schema has no {schema}.schema.json"
    try:
        value = json.loads(text, strict=False)
    except ValueError as error:
        return error
    for key in value:
        if takes(schema, {k: v for k, v in value.items() if k != key}):
            return f"{schema} does not require {key}"
    for key in {"node_id", "unknown_member"} - set(value):
        if takes(schema, dict(value, **{key: "fra-1"})):
            return f"{schema} accepts an additional {key}"
    return first_error(schema, value)


def check_file(path):
    name, schema, _ = path.name.rsplit(".", 2)
    verdict(f"{name} matches {schema}", complaint(schema, path.read_text()))


def operation_of(request):
    """The operation of a request, if it is JSON."""
    try:
        return json.loads(request, strict=False).get("op")
    except (ValueError, AttributeError):
        return None


def breaks_json(reply):
    """Whether the reply has a double quote in its node, which the service does not escape."""
    node = re.match(r'{"ok":true,"phase":"\w+","node_id":"(.*)","(tunnel_running|admin_bypass)":', reply,
                    re.DOTALL)
    return node and '"' in node[1]


def check_exchange(name, request, reply, seen):
    if breaks_json(reply):
        return
    operation = operation_of(request)
    if reply.startswith('{"ok":true,'):
        verdict(f"{name} matches reply-{operation}", complaint(f"reply-{operation}", reply))
        seen.add((operation, None))
        return
    verdict(f"{name} matches reply-error", complaint("reply-error", reply))
    error = re.search(r'"error":"(\w*)"', reply)[1]
    if error in operations()[None]:
        seen.add((None, error))
        return
    verdict(f"docs/protocol.md lists the error of {name}",
            "" if error in operations().get(operation, []) else f"not {error} for {operation}")
    seen.add((operation, error))


def check_test_report(path, seen):
    """The report of a GoogleTest executable, with the properties that its tests have recorded."""
    for suite in json.loads(path.read_text(errors="replace"))["testsuites"]:
        for test in suite["testsuite"]:
            name = f"{suite['name']}.{test['name']}"
            for key, text in test.items():
                if key.startswith("request_"):
                    number = key.removeprefix("request_")
                    check_exchange(f"reply {number} ({name})", text, test[f"reply_{number}"], seen)
                elif key == "doctor":
                    verdict(f"the output of {name} matches doctor", complaint("doctor", text))
                elif key == "client_error":
                    verdict(f"the output of {name} matches client-error", complaint("client-error", text))


def check_test_reports(paths):
    seen = set()
    for path in paths:
        check_test_report(path, seen)
    for operation, errors in operations().items():
        for outcome in [*([None] if operation else []), *errors]:
            verdict(f"a host test gets {outcome or 'a success'} for {operation or 'any request'}",
                    "" if (operation, outcome) in seen else "none does")


if __name__ == "__main__":
    for argument in sys.argv[1:]:
        check_file(pathlib.Path(argument))
    finish()
