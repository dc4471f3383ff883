"""The schemas of docs/schema, the tables of the documents, and how checks are counted."""
import functools
import json
import pathlib
import re
import sys
import warnings

import jsonschema

# Newer versions call the resolver, which Debian's needs, deprecated.
warnings.simplefilter("ignore", DeprecationWarning)

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = ROOT / "docs" / "schema"

_passed = _failed = 0


def verdict(name, wrong=""):
    """Counts a check, which has passed when nothing is wrong; prints it otherwise."""
    global _passed, _failed
    if wrong:
        _failed += 1
        print(f"FAILED {name}: {' '.join(str(wrong).split())}")
    else:
        _passed += 1


def finish():
    """Prints the last line and exits."""
    print(f"{_passed} passed, {_failed} failed")
    sys.exit(1 if _failed or not _passed else 0)


@functools.cache
def names():
    return sorted(path.name.removesuffix(".schema.json") for path in FOLDER.iterdir())


def closed(schema):
    """The same schema, but none of its objects may have a member that it does not list."""
    if isinstance(schema, list):
        return [closed(element) for element in schema]
    if not isinstance(schema, dict):
        return schema
    kept = {key: closed(value) for key, value in schema.items()}
    return {**kept, "additionalProperties": False} if schema.get("type") == "object" else kept


@functools.cache
def validator(name, strict=True):
    """The schema as client makers use it lets a reply have members that it does not list, because a
    client must ignore them. A member that this service sends is listed: that is strict."""
    schemas = {f"{FOLDER.as_uri()}/{path.name}": json.loads(path.read_text()) for path in FOLDER.iterdir()}
    if strict:
        schemas = {uri: closed(schema) for uri, schema in schemas.items()}
    schema = schemas[f"{FOLDER.as_uri()}/{name}.schema.json"]
    resolver = jsonschema.RefResolver(base_uri=f"{FOLDER.as_uri()}/", referrer=schema, store=schemas)
    return jsonschema.Draft202012Validator(schema, resolver=resolver)


def schema_error(name):
    """What is wrong with the schema itself, or nothing."""
    try:
        jsonschema.Draft202012Validator.check_schema(validator(name, strict=False).schema)
    except jsonschema.SchemaError as error:
        return error.message
    return ""


def first_error(name, value, strict=True):
    """What is wrong with the value, or nothing."""
    error = jsonschema.exceptions.best_match(validator(name, strict).iter_errors(value))
    return f"{error.json_path}: {error.message}" if error else ""


def takes(name, value, strict=True):
    return validator(name, strict).is_valid(value)


def table(document, first_heading):
    """The rows of the document's table whose first column has this heading, as lists of cells."""
    text = (ROOT / "docs" / document).read_text()
    rows = re.search(rf"^\| {first_heading} \|.*\n\|.*\n((?:\|.*\n)+)", text, re.MULTILINE)
    return [[cell.strip() for cell in row.split("|")[1:-1]] for row in rows[1].splitlines()]


def words(cell):
    return re.findall(r"`(\w+)`", cell)


@functools.cache
def operations():
    """The errors of each operation. Those of any request are in the row without a word, here None."""
    return {(words(row[0]) or [None])[0]: words(row[3]) for row in table("protocol.md", "`op`")}


@functools.cache
def errors():
    """The message of each error, and whether its reply has the reports."""
    return {words(row[0])[0]: (row[1], row[2] == "yes") for row in table("protocol.md", "`error`")}
