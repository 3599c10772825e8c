#!/usr/bin/env python3
"""docs/plan.schema.json and the tool say the same of plans: schema_test.py, with $FCX_TOOL the command that runs it."""

import json
import os
import re
import shlex
import subprocess
import tempfile
import unittest
from pathlib import Path

from jsonschema import Draft202012Validator

ROOT = Path(__file__).resolve().parents[2]
TOOL = shlex.split(os.environ["FCX_TOOL"])
SCHEMA = json.loads((ROOT / "docs/plan.schema.json").read_text(encoding="utf-8"))

AT = {"name": "at", "at": "AT"}


def send(**expect):
    return {"name": "send", "send": 4018, "expect": expect}


def group(**fields):
    return {"name": "group", "group": {"steps": [AT], **fields}}


# What becomes of a plan that has these for steps.
GOOD_STEPS = [
    AT, {**AT, "name": 5}, {**AT, "name": "x" * 80}, {**AT, "at": "x$${a}"}, {**AT, "at": 5},
    {**AT, "expect": {}}, {**AT, "expect": {"result": "ERROR"}}, {**AT, "identity": "imei", "time_limit": "10s"},
    {"name": "n", "send": "4018"}, {"name": "n", "send": 4018.0}, {"name": "n", "send": "handle_write_imei"},
    {"name": "n", "send": -1, "raw": True}, {"name": "n", "send": 4018, "raw": False, "argument": ""},
    {"name": "n", "send": 2147483647, "raw": True}, {"name": "n", "send": 4018, "argument": "x" * 2047},
    {"name": "n", "send": 4018, "argument_hex": "00" * 2048}, {**AT, "at": "x" * 2048}, send(save="x" * 64), send(pattern="a" * 300),
    group(repeat=1000, steps=[{**group(repeat=1000), "name": "inner"}]),
    {"name": "n", "send": 4018, "argument": 12}, {"name": "n", "send": 3201, "argument_hex": "0a: 0B,"},
    {"name": "n", "send": 3201, "argument_hex": 10},
    send(result=-1), send(text=""), send(text=1.5), send(pattern="a|b"), send(pattern="(a)(b)", capture=2), send(hex="00"),
    send(pattern="a", capture=0), send(min=1, max=1.0), send(min=-1e2), send(save="_x9"), send(text="\\$${x}"),
    {"name": "n", "pause": "1 ms"}, {"name": "n", "pause": "168 h"}, {"name": "n", "boot": True},
    {"name": "n", "boot": "daemon", "time_limit": "2 min"},
    group(), group(repeat=1), group(repeat=1000000, on_failure="continue"), {**group(on_failure="stop"), "time_limit": "1 h"},
]
BAD_STEPS = [
    5, [], None, {}, {"name": "n"}, {"at": "AT"}, {**AT, "name": ""}, {**AT, "name": "x" * 81}, {**AT, "name": "a\u0085b"},
    {**AT, "name": True}, {**AT, "name": None}, {**AT, "colour": 1}, {**AT, "pause": "1 s"}, {**AT, "raw": True},
    {**AT, "argument": "x"}, {**AT, "at": ""}, {**AT, "at": "AT\r"}, {**AT, "at": "AT\u0008"}, {**AT, "at": "$5"}, {**AT, "at": "${9}"}, {**AT, "at": ["AT"]},
    {**AT, "identity": "name"}, {**AT, "time_limit": 5}, {**AT, "time_limit": "5"}, {**AT, "time_limit": "0 s"},
    {**AT, "time_limit": "5  s"}, {**AT, "time_limit": "5 S"}, {**AT, "time_limit": "1.5 s"}, {**AT, "time_limit": "1000000000 ms"},
    {**AT, "expect": "OK"}, {**AT, "expect": {"result": 0}}, {**AT, "expect": {"result": "ok"}},
    {"name": "n", "send": 2147483648, "raw": True}, {"name": "n", "send": 4018.5}, {"name": "n", "send": ""}, {"name": "n", "send": True},
    {"name": "n", "send": 4018, "raw": "yes"}, {"name": "n", "send": 4018, "argument": "a\0"}, {"name": "n", "send": 4018, "argument": True},
    {"name": "n", "send": 4018, "argument": "a", "argument_hex": "00"}, {"name": "n", "send": 4018, "argument_hex": "0"},
    {"name": "n", "send": 4018, "argument_hex": ""}, {"name": "n", "send": 4018, "argument_hex": "0g"},
    send(result="0"), send(result=0.5), send(result=2147483648), send(text="a", hex="00"), send(text="a", pattern="a"),
    send(pattern="a", hex="00"), send(capture=1), send(pattern="(a)", capture=-1), send(pattern="a$"), send(min="1"), send(max=True),
    send(same_as=""), send(save="9x"), send(save="x" * 65), send(saved="x"),
    {"name": "n", "pause": "1 s", "time_limit": "1 s"}, {"name": "n", "pause": "1 s", "expect": {}}, {"name": "n", "boot": False},
    {"name": "n", "boot": "phone"}, {"name": "n", "boot": True, "identity": "imei"},
    group(steps=[]), group(steps=[{}]), group(repeat=0), group(repeat=1000001), group(repeat=1.5), group(repeat="2"),
    group(on_failure="go on"), group(name="x"), {"name": "n", "group": [AT]}, {"name": "n", "group": {}}, {**group(), "expect": {}},
]
# What no schema can say: names, references, sizes, and what patterns are.
BAD_FOR_THE_TOOL = [
    {"name": "n", "send": "get_serial_numbr"}, {"name": "n", "send": 4999}, {**AT, "at": "${nope}"}, send(same_as="nope"),
    {**AT, "at": "x" * 2049}, {"name": "n", "send": 4018, "argument": "x" * 2048},
    {"name": "n", "send": 4018, "argument_hex": "00" * 2049}, send(pattern="a" * 301), send(pattern="(a)", capture=2),
    {"name": "n", "send": 4018, "argument_hex": 100},
    send(pattern="("), send(min=2, max=1), {"name": "n", "pause": "169 h"},
    group(repeat=1000, steps=[{**group(repeat=1001), "name": "inner"}]), group(steps=[AT, AT]),
]
GOOD_VARIABLES = [
    {}, {"a": {"list": ["x", 1]}}, {"A_9": {"csv": "a.csv", "column": "x"}}, {"a": {"counter": {"first": "a01"}}},
    {"a": {"counter": {"first": 1, "count": 9}}}, {"a": {"counter": {"first": "0000000000", "count": 1000000000}}}, {"a": {"pool": "p"}, "b": {"value": "$"}},
]
BAD_VARIABLES = [
    [], {"9": {"value": "x"}}, {"": {"value": "x"}}, {"a": "x"}, {"a": {}}, {"a": {"list": []}}, {"a": {"list": [""]}},
    {"a": {"list": [True]}}, {"a": {"list": "x"}}, {"a": {"list": ["x"], "value": "x"}}, {"a": {"csv": "a.csv"}}, {"a": {"csv": "", "column": "x"}}, {"a": {"csv": "a.csv", "column": ""}}, {"a": {"column": "x"}},
    {"a": {"value": "x", "column": "x"}}, {"a": {"value": "a\tb"}}, {"a": {"counter": "a1"}}, {"a": {"counter": {"count": 1}}},
    {"a": {"counter": {"first": "a"}}}, {"a": {"counter": {"first": "a1", "count": 0}}}, {"a": {"counter": {"first": "a1", "last": 2}}},
    {"a": {"counter": {"first": "0000000000", "count": 1000000001}}},
    {"a": {"pool": ""}}, {"a": {"values": ["x"]}},
]
BAD_VARIABLES_FOR_THE_TOOL = [{"a": {"counter": {"first": "a1", "count": 10}}}, {"a": {"csv": "b.csv", "column": "x"}},
                              {"a": {"csv": "a.csv", "column": "y"}}]
WHOLE = {"plan": "p", "steps": [AT]}
GOOD_PLANS = [WHOLE, {**WHOLE, "description": "a\nb", "time_limit": "1 h", "on_failure": "continue"}]
BAD_PLANS = [5, [], None, {}, {"plan": "p"}, {"steps": [AT]}, {**WHOLE, "step": []}, {**WHOLE, "steps": AT}, {**WHOLE, "steps": []},
             {**WHOLE, "plan": ""}, {**WHOLE, "plan": None}, {**WHOLE, "description": ["x"]}, {**WHOLE, "on_failure": True},
             {**WHOLE, "time_limit": 60}]


def plans():
    """(plan, the schema's verdict, the tool's)."""
    for steps, verdicts in (GOOD_STEPS, (True, True)), (BAD_STEPS, (False, False)), (BAD_FOR_THE_TOOL, (True, False)):
        yield from (({"plan": "p", "steps": [step]}, *verdicts) for step in steps)
    for variables, verdicts in ((GOOD_VARIABLES, (True, True)), (BAD_VARIABLES, (False, False)),
                                (BAD_VARIABLES_FOR_THE_TOOL, (True, False))):
        yield from (({**WHOLE, "variables": each}, *verdicts) for each in variables)
    yield from ((plan, True, True) for plan in GOOD_PLANS)
    yield from ((plan, False, False) for plan in BAD_PLANS)


class Plans(unittest.TestCase):
    def test_verdicts(self):
        Draft202012Validator.check_schema(SCHEMA)
        validator = Draft202012Validator(SCHEMA)
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "a.csv").write_text("x\n1\n", encoding="utf-8")
            file = Path(folder, "plan.json")
            for plan, by_schema, by_tool in plans():
                file.write_text(json.dumps(plan), encoding="utf-8")
                done = subprocess.run([*TOOL, "station", "--check", file], capture_output=True, text=True, check=False)
                with self.subTest(json.dumps(plan)):
                    self.assertEqual((by_schema, 0 if by_tool else 2), (validator.is_valid(plan), done.returncode), done.stderr)

    def test_page(self):
        blocks = re.findall(r"(?s)```yaml\n(.*?)```", (ROOT / "docs/station.md").read_text(encoding="utf-8"))
        self.assertEqual(3, len(blocks))
        with tempfile.TemporaryDirectory() as folder:
            for block in blocks:
                file = Path(folder, "plan.yaml")
                file.write_text(block if block.startswith("plan:") else f"plan: p\nsteps:\n{block}", encoding="utf-8")
                done = subprocess.run([*TOOL, "station", "--check", file], capture_output=True, text=True, check=False)
                self.assertEqual((0, ""), (done.returncode, done.stderr), block)

    def test_samples(self):
        samples = sorted((ROOT / "examples/plans").glob("*.yaml"))
        self.assertGreaterEqual(len(samples), 3)
        for sample in samples:
            with self.subTest(sample.name):
                done = subprocess.run([*TOOL, "station", "--check", sample], capture_output=True, text=True, check=False)
                self.assertEqual((0, ""), (done.returncode, done.stderr))


if __name__ == "__main__":
    unittest.main()
