#!/usr/bin/python3
"""check_documents.py [--taken] FILE-OR-FOLDER...

Checks documents of tessivar-cli --json against docs/cli.schema.json, and the schema itself: it must be one, and
tell of every key what it means. --taken deletes what was checked; no document at all is a failure.
"""

import argparse
import json
import pathlib
import sys

import jsonschema

SCHEMA = pathlib.Path(__file__).resolve().parents[2] / "docs" / "cli.schema.json"


def undescribed(schema, place=""):
    """The keys that no description belongs to."""
    if isinstance(schema, list):
        for entry in schema:
            yield from undescribed(entry, place)
    elif isinstance(schema, dict):
        for word, value in schema.items():
            # A condition, or what follows from it, names keys that are described elsewhere.
            if word in ("if", "then", "else"):
                continue
            if word == "properties":
                for key, described in value.items():
                    referred = described.get("$ref", "").rpartition("/")[2]
                    if "description" not in described and "description" not in DEFINITIONS.get(referred, {}):
                        yield f"{place}{key}"
                    yield from undescribed(described, f"{place}{key}.")
            elif word == "$defs":
                for name, definition in value.items():
                    yield from undescribed(definition, f"{name}: ")
            else:
                yield from undescribed(value, place)


def faults(document):
    errors = list(VALIDATOR.iter_errors(document))
    # A key with a fault below it counts as unevaluated too, which says nothing.
    errors = [error for error in errors if error.validator != "unevaluatedProperties"] or errors
    for error in errors:
        # Of alternatives, the deepest error is the one to look at.
        while error.context:
            error = max(error.context, key=lambda each: len(each.absolute_path))
        yield f"{error.json_path}: {error.message[:300]}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--taken", action="store_true")
    parser.add_argument("places", nargs="+", type=pathlib.Path)
    options = parser.parse_args()

    lines = [f"{SCHEMA.name}: {key} has no description" for key in undescribed(SCHEMA_DOCUMENT)]
    files = [file for place in options.places for file in (sorted(place.iterdir()) if place.is_dir() else [place])]
    commands = {}

    for file in files:
        text = file.read_bytes().decode("utf-8")
        document = json.loads(text)
        commands[document.get("command")] = commands.get(document.get("command"), 0) + 1
        lines += [f"{document.get('command')}, {file.name}: {fault}" for fault in faults(document)]
        if options.taken:
            file.unlink()

    print(", ".join(f"{count} of {command}" for command, count in sorted(commands.items())))
    if not files:
        lines.append("no documents")
    for line in lines[:40]:
        print(line, file=sys.stderr)
    return 1 if lines else 0


SCHEMA_DOCUMENT = json.loads(SCHEMA.read_text(encoding="utf-8"))
DEFINITIONS = SCHEMA_DOCUMENT["$defs"]
jsonschema.Draft202012Validator.check_schema(SCHEMA_DOCUMENT)
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA_DOCUMENT)
sys.exit(main())
