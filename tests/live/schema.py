"""Holds what commands print to docs/json.md, and to docs/api.yaml where they print what the agent
answers."""

import json
import pathlib
import re

import jsonschema

from live.api import ref, validate

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/json.md"
ANSWERS = {"show": "Addresses", "lowest6": "Addresses", "linklocal": "Addresses",
           "lookup": "Lookup", "subnets": "Subnets", "explain": "Explain", "what-if": "WhatIf",
           "status": "Status", "trace": "Trace", "monitor": "Event"}


def _schemas():
    blocks = re.findall(r"```json\n(.*?)```", DOCUMENT.read_text(), re.DOTALL)
    schemas = [json.loads(block) for block in blocks]
    for schema in schemas:
        jsonschema.Draft202012Validator.check_schema(schema)
    return {schema["title"]: schema for schema in schemas}


SCHEMAS = {**{command: ref(name) for command, name in ANSWERS.items()}, **_schemas()}


def check(command, document):
    """Raises jsonschema.ValidationError where the document is not what a command prints."""
    validate(SCHEMAS[command], document)
