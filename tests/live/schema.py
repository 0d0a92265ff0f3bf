"""Holds what commands print to docs/json.md."""

import json
import pathlib
import re

import jsonschema

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/json.md"
TITLES = {"show": "addresses", "lowest6": "addresses", "linklocal": "addresses"}


def _schemas():
    blocks = re.findall(r"```json\n(.*?)```", DOCUMENT.read_text(), re.DOTALL)
    schemas = [json.loads(block) for block in blocks]
    for schema in schemas:
        jsonschema.Draft202012Validator.check_schema(schema)
    return {schema["title"]: schema for schema in schemas}


SCHEMAS = _schemas()


def check(command, document):
    """Raises jsonschema.ValidationError where the document is not what a command prints."""
    schema = SCHEMAS[TITLES.get(command, command)]
    resolver = jsonschema.RefResolver("", schema, store=SCHEMAS)
    jsonschema.Draft202012Validator(schema, resolver=resolver).validate(document)
