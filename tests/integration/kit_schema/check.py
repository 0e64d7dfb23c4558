"""Compares the verdicts of kova with those of a JSON Schema validator.

    kit_schema_cases | python3 check.py

Each line of the input describes a type: its schema, texts, and whether kova accepts each text. Every
schema must be valid, and the validator must accept the same texts as kova. A number such as 1.0, which
is an integer to JSON Schema only, does not occur in the texts.
"""

import json
import sys

from jsonschema import Draft202012Validator

MINIMUM_TYPES = 250


def main():
    types = 0
    texts = 0
    accepted = 0
    wrong = 0
    for line in sys.stdin:
        case = json.loads(line)
        Draft202012Validator.check_schema(case["schema"])
        validator = Draft202012Validator(case["schema"])
        types += 1
        for text in case["texts"]:
            texts += 1
            accepted += text["accepted"]
            if validator.is_valid(text["json"]) != text["accepted"]:
                wrong += 1
                print("kova", "accepts" if text["accepted"] else "refuses", json.dumps(text["json"]),
                      "against", json.dumps(case["schema"]))
    print(f"{types} types, {texts} texts, {accepted} accepted, {wrong} different verdicts")
    return types < MINIMUM_TYPES or accepted < 3 * types or accepted == texts or wrong > 0


sys.exit(main())
