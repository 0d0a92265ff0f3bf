"""What docs/api.yaml says of the agent: its paths, and the schemas of what it answers."""

import pathlib

import jsonschema
import yaml

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/api.yaml"
NAME = "api.yaml"
API = yaml.safe_load(DOCUMENT.read_text())
METHODS = ("get", "put", "post", "delete")
SCHEMAS = API["components"]["schemas"]

for _schema in SCHEMAS.values():
    jsonschema.Draft202012Validator.check_schema(_schema)


def resolved(part):
    """What a part of the document stands for."""
    while "$ref" in part:
        found = API
        for step in part["$ref"].removeprefix(NAME).removeprefix("#/").split("/"):
            found = found[step]
        part = found
    return part


def ref(name):
    return {"$ref": f"{NAME}#/components/schemas/{name}"}


def validate(schema, document, **more):
    """Raises jsonschema.ValidationError. References go to this document, or to `more`."""
    resolver = jsonschema.RefResolver("", schema, store={NAME: API, **more})
    jsonschema.Draft202012Validator(schema, resolver=resolver).validate(document)


def operations():
    """Path, method, operation; those of a path have its parameters too."""
    for path, item in API["paths"].items():
        for method in METHODS:
            if method in item:
                operation = dict(item[method])
                operation["parameters"] = [resolved(one) for one in item.get("parameters", [])
                                           + item[method].get("parameters", [])]
                yield path, method.upper(), operation


def fields(schema, name="", seen=None):
    """The name of each property that a document of this schema may have."""
    seen = set() if seen is None else seen
    if "$ref" in schema:
        name = schema["$ref"].rsplit("/", 1)[1]
        schema = resolved(schema)
    for key, value in schema.get("properties", {}).items():
        field = f"{name}.{key}"
        if field not in seen:
            seen.add(field)
            fields(value, field, seen)
    if "items" in schema:
        fields(schema["items"], f"{name}[]", seen)
    for one in schema.get("oneOf", []):
        fields(one, name, seen)
    return seen


def fields_of(schema, document, name="", seen=None):
    """The same of what a document has."""
    seen = set() if seen is None else seen
    if "$ref" in schema:
        name = schema["$ref"].rsplit("/", 1)[1]
        schema = resolved(schema)
    for one in schema.get("oneOf", []):
        fields_of(one, document, name, seen)
    if isinstance(document, dict):
        for key in document.keys() & schema.get("properties", {}).keys():
            seen.add(f"{name}.{key}")
            fields_of(schema["properties"][key], document[key], f"{name}.{key}", seen)
    if isinstance(document, list):
        for one in document:
            fields_of(schema.get("items", {}), one, f"{name}[]", seen)
    return seen
