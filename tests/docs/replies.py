#!/usr/bin/python3 -B
"""What programs have printed, against docs/schema.

usage: replies.py NAME.SCHEMA.json...    each file holds one text, for the schema of its name

Each schema must also refuse the same object without one of its members, and with a node_id or an
unknown member that it does not have.
"""
import json
import pathlib
import re
import sys

from schemas import finish, first_error, names, operations, takes, verdict


def complaint(schema, text):
    """What is wrong with the text or with a schema that takes too much, or nothing."""
    if schema not in names():
        return f"docs/schema has no {schema}.schema.json"
    try:
        value = json.loads(text, strict=False)
    except ValueError as error:
        return error
    for key in value:
        if takes(schema, {k: v for k, v in value.items() if k != key}):
            return f"{schema} does not miss {key}"
    for key in {"node_id", "unknown_member"} - set(value):
        if takes(schema, dict(value, **{key: "fra-1"})):
            return f"{schema} takes {key} too"
    return first_error(schema, value)


def check_file(path):
    name, schema, _ = path.name.rsplit(".", 2)
    verdict(f"{schema} takes {name}", complaint(schema, path.read_text()))


def operation_of(request):
    """The operation of a request that is JSON, as those of clients are."""
    try:
        return json.loads(request, strict=False).get("op")
    except (ValueError, AttributeError):
        return None


def breaks_json(reply):
    """Whether the node of a reply, which is copied as it is, has a double quote."""
    node = re.match(r'{"ok":true,"phase":"\w+","node_id":"(.*)","(tunnel_running|admin_bypass)":', reply, re.DOTALL)
    return node and '"' in node[1]


def check_exchange(name, request, reply, seen):
    if breaks_json(reply):
        return
    operation = operation_of(request)
    if reply.startswith('{"ok":true,'):
        verdict(f"reply-{operation} takes {name}", complaint(f"reply-{operation}", reply))
        seen.add((operation, None))
        return
    verdict(f"reply-error takes {name}", complaint("reply-error", reply))
    error = re.search(r'"error":"(\w*)"', reply)[1]
    if error in operations()[None]:
        seen.add((None, error))
        return
    verdict(f"docs/protocol.md knows {name}",
            "" if error in operations().get(operation, []) else f"{operation} has no error {error} there")
    seen.add((operation, error))


def check_account(path, seen):
    """GoogleTest's account of a run, in which tests have noted requests, replies and findings."""
    for suite in json.loads(path.read_text(errors="replace"))["testsuites"]:
        for test in suite["testsuite"]:
            name = f"{suite['name']}.{test['name']}"
            for key, text in test.items():
                if key.startswith("request_"):
                    number = key.removeprefix("request_")
                    check_exchange(f"reply {number}, of {name}", text, test[f"reply_{number}"], seen)
                elif key == "doctor":
                    verdict(f"doctor takes what {name} prints", complaint("doctor", text))
                elif key == "client_error":
                    verdict(f"client-error takes what {name} prints", complaint("client-error", text))


def check_accounts(paths):
    seen = set()
    for path in paths:
        check_account(path, seen)
    for operation, errors in operations().items():
        for outcome in [*([None] if operation else []), *errors]:
            verdict(f"a host test sees {operation or 'any request'} answered with {outcome or 'success'}",
                    "" if (operation, outcome) in seen else "none does")


if __name__ == "__main__":
    for argument in sys.argv[1:]:
        check_file(pathlib.Path(argument))
    finish()
