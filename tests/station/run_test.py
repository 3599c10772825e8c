#!/usr/bin/env python3
"""`fcx station` runs plans: run_test.py CASE, with $FCX_TOOL the command that runs the tool."""

import json
import os
import re
import shlex
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

import jsonschema
from junitparser import JUnitXml

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))
sys.dont_write_bytecode = True
import fcx_station as station  # noqa: E402

TOOL = shlex.split(os.environ["FCX_TOOL"])
SHAPES = json.loads((ROOT / "docs/json.schema.json").read_text(encoding="utf-8"))["$defs"]
IMEI = "490154203237518"
AT = {"name": "at", "at": "AT"}


def write_and_claim(variable, *between):
    """Steps that give a unit a CSN."""
    return [{"name": "write", "send": "set_csn", "argument": variable}, *between,
            {"name": "read", "send": "get_csn", "identity": "csn", "expect": {"text": variable}}]


class Case(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.work = Path(directory.name)
        self.environment = {**os.environ, "HOME": str(self.work), "FCX_LEDGER": str(self.work / "ledger.db"), "FCX_STATION": "one",
                            "FCX_CLOCK": ""}

    def plan(self, *steps, **fields):
        file = self.work / "plan.json"
        file.write_text(json.dumps({"plan": "P", "on_failure": "continue", "steps": steps, **fields}), encoding="utf-8")
        return file

    def begin(self, *words, **environment):
        return subprocess.Popen([*TOOL, "station", *map(str, words)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                env={**self.environment, **environment}, start_new_session=True)

    def run_tool(self, *words, **environment):
        child = self.begin(*words, **environment)
        out, err = child.communicate(timeout=120)
        return child.returncode, out, err

    def report(self, *words, status=3, **environment):
        code, out, err = self.run_tool(*words, "--json", **environment)
        self.assertEqual((code, err), (status, ""), out)
        jsonschema.validate(json.loads(out), {"$defs": SHAPES, **SHAPES["station"]})
        return json.loads(out)

    def ledger(self, sql):
        try:
            with sqlite3.connect(f"file:{self.work}/ledger.db?mode=ro", uri=True) as database:
                return [row[0] for row in database.execute(sql)]
        except sqlite3.OperationalError:
            return []  # it is just made

    def eventually(self, holds):
        until = time.monotonic() + 60
        while not holds():
            self.assertLess(time.monotonic(), until)
            time.sleep(0.01)

    def processes(self):
        """Those of stations that were begun here."""
        mine = f"FCX_LEDGER={self.work}".encode()

        def is_mine(path):
            try:
                return mine in (path / "environ").read_bytes()
            except OSError:
                return False
        return [path.name for path in Path("/proc").glob("[0-9]*") if is_mine(path)]


def verdicts(unit):
    return [(step["step"], step["verdict"]) for step in unit["steps"]]


# A step, its verdict, its value, and a part of what is expected, got, and the reason.
STEPS = [
    ({"send": 4010}, "passed", "QV2006A00123", 'result 0 | result 0, "QV2006A00123" | None'),
    ({"send": 4010, "expect": {"text": "QV"}}, "failed", "QV2006A00123", 'result 0, "QV" | result 0, "QV2006A00123" | None'),
    ({"send": 4010, "expect": {"pattern": "QV([0-9]+)A.*", "save": "year", "max": 2006}}, "passed", "2006", "at most 2006 | "),
    ({"send": 4010, "expect": {"pattern": "QV([0-9]+)A.*", "min": 2006.1}}, "failed", "2006", "A.*, at least 2006.1 | "),
    ({"send": 4010, "expect": {"pattern": "QV([0-9]+)A.*", "min": 2006.0}}, "passed", "2006", "A.*, at least 2006.0 | "),
    ({"send": 4010, "expect": {"pattern": "QV([0-9]+)A.*", "max": 2005.9}}, "failed", "2006", "A.*, at most 2005.9 | "),
    ({"send": 4010, "expect": {"min": 1}}, "failed", "QV2006A00123", "result 0, at least 1 | "),
    ({"send": 4010, "expect": {"pattern": "QV${year}A.*"}}, "passed", "QV2006A00123", "result 0, what matches QV2006A.* | "),
    ({"send": 4010, "expect": {"pattern": "QV", "save": "none"}}, "failed", None, "what matches QV | "),
    ({"send": 4018, "argument": "${none}"}, "failed", None, "None | None | a variable in it has no value"),
    ({"send": 4010, "expect": {"same_as": "step 0"}}, "passed", "QV2006A00123", '"QV2006A00123" as in step 0 | '),
    ({"send": 4018, "expect": {"same_as": "step 0"}}, "failed", "006QVCS000456", '"QV2006A00123" as in step 0 | '),
    ({"send": 4018, "expect": {"same_as": "step 8"}}, "failed", "006QVCS000456", "what step 8 was answered, which is nothing | "),
    ({"send": 3200, "expect": {"hex": "00", "save": "nul"}}, "passed", "\\x00", "hex:00 | "),
    ({"send": 3200, "expect": {"hex": "02"}}, "failed", "\\x00", 'hex:02 | result 0, "\\x00" | '),
    ({"at": "AT${nul}"}, "failed", None, "a variable in its line has a control character"),
    ({"send": 4018, "argument": "${year}${nul}"}, "failed", None, "a variable in its argument has a NUL"),
    ({"send": 3170, "argument": "fast", "expect": {"result": 1}}, "passed", "", "result 1 | "),
    ({"send": 3170, "argument": "fast"}, "failed", "", 'result 0 | result 1, "" | None'),
    ({"at": "AT%BTAD?;+CGSN"}, "passed", "02FC0A123456\\x0a490154203237518", 'OK | OK, "02FC0A123456\\x0a4901542'),
    ({"at": "AT%NONE"}, "failed", "", "OK | ERROR, "),
    ({"at": "AT%NONE", "expect": {"result": "ERROR"}}, "passed", "", "ERROR | ERROR, "),
    ({"send": 4414, "identity": "imei2"}, "failed", "IMEI READ ERROR :(", "is not made of digits"),
    ({"pause": "50 s"}, "passed", None, "None | None | None"),
    ({"boot": True}, "passed", None, "None | None | None"),
    ({"boot": "daemon"}, "passed", None, "None | None | None"),
]


class Verdicts(Case):
    def test_steps(self):
        report = self.report(self.plan(*({"name": f"step {i}", **each[0]} for i, each in enumerate(STEPS))))
        unit = report["units"][0]
        self.assertEqual((report["failed"], unit["verdict"], len(unit["steps"])), (1, "failed", len(STEPS)))
        for made, (step, verdict, value, told) in zip(unit["steps"], STEPS):
            with self.subTest(step):
                self.assertEqual((made["verdict"], made["value"]), (verdict, value), made)
                self.assertIn(told, f"{made['expected']} | {made['got']} | {made['reason']}")
        self.assertEqual(self.ledger("SELECT value FROM result ORDER BY position"), [each[2] or "" for each in STEPS])
        self.assertEqual(self.ledger("SELECT verdict FROM result ORDER BY position"), [each[1] for each in STEPS])
        self.assertEqual(self.ledger("SELECT low || '-' || high FROM result WHERE position IN (3, 4)"), ["-2006", "2006.1-"])

    def test_groups(self):
        bad, good = {"name": "bad", "send": 4010, "expect": {"text": ""}}, {"name": "good", "at": "AT"}

        def group(*steps, **fields):
            return {"name": "g", "group": {"steps": steps, **fields}}
        for steps, fields, expected in (
                ([good, AT], {}, "good+ at+"),
                ([bad, AT], {}, "bad- at+"),
                ([bad, AT], {"on_failure": "stop"}, "bad- at?"),
                ([group(good, repeat=2), AT], {}, "g #1 / good+ g #2 / good+ at+"),
                ([group(bad, good, repeat=2), AT], {}, "g #1 / bad- g #1 / good? at+"),
                ([group(bad, good, repeat=2, on_failure="continue"), AT], {},
                 "g #1 / bad- g #1 / good+ g #2 / bad- g #2 / good+ at+"),
                # A round has no answer of an earlier one.
                ([group({"name": "s", "send": 4018, "expect": {"pattern": "006.*", "save": "v"}},
                        {"name": "a", "send": 4018, "argument": "${v}"},
                        {"name": "b", "send": 4018, "argument": "x", "expect": {"same_as": "a"}}, repeat=2, on_failure="continue")], {},
                 "g #1 / s+ g #1 / a+ g #1 / b+ g #2 / s- g #2 / a- g #2 / b-"),
                ([group(bad, group(good)["group"]["steps"][0]), group(AT, repeat=9) | {"name": "h"}], {"on_failure": "stop"},
                 "g / bad- g / good? h / at?")):
            with self.subTest(steps):
                report = self.report(self.plan(*steps, **fields), "--no-ledger", status=3 if "-" in expected else 0)
                signs = {"passed": "+", "failed": "-", "skipped": "?"}
                self.assertEqual(" ".join(name + signs[each] for name, each in verdicts(report["units"][0])), expected)

    def test_time_limits(self):
        """The step that was ended is named, its unit ends, and the next one has a phone of its own."""
        slow = {"name": "slow", "pause": "60 s"}
        for step, fields, whose in (({"name": "slow", "boot": True, "time_limit": "1 ms"}, {}, "its time limit of 1 ms"),
                                    ({"name": "g", "time_limit": "20 ms", "group": {"steps": [slow]}}, {},
                                     "\"g\"'s time limit of 20 ms"),
                                    (slow, {"time_limit": "20 ms"}, "\"the plan\"'s time limit of 20 ms")):
            with self.subTest(whose):
                report = self.report(self.plan(AT, step, {**AT, "name": "last"}, **fields), "--units", "2", "--no-ledger")
                for unit in report["units"]:
                    self.assertEqual([each for _, each in verdicts(unit)], ["passed", "timeout", "skipped"])
                    self.assertEqual((unit["verdict"], unit["steps"][1]["reason"]), ("timeout", "ended by " + whose))

    def test_time_limit_is_its_step_s(self):
        plan = self.plan({**AT, "time_limit": "500 ms"}, {"name": "later", "pause": "1 s"})
        self.assertEqual(self.report(plan, "--no-ledger", status=0, FCX_CLOCK="real")["passed"], 1)

    def test_phone_that_goes_and_comes(self):
        """A step that the phone's end has interrupted has failed, and so has a start that sets nothing up."""
        plan = self.plan({"name": "write", "send": 4018, "argument": "x"}, AT, {"name": "start", "boot": True},
                         {"name": "read", "send": 4018, "expect": {"text": "x"}})
        with station.Phone(faults=["daemon dies", "thread carrier_set_up fail"]) as phone:
            unit = self.report(plan, "--no-ledger", "--connect", phone.served["socket"])["units"][0]
        self.assertEqual(verdicts(unit), [("write", "failed"), ("at", "passed"), ("start", "failed"), ("read", "passed")])
        self.assertEqual([unit["steps"][i]["reason"] for i in (0, 2)],
                         ["the phone or its daemon has ended before the answer", "carrier set-up could not be started"])

    def test_place_without_a_phone(self):
        """It is given up after one unit; the others are tested where there is one."""
        with station.Phone() as phone:
            places = f"{self.work}/none,{phone.served['socket']}"
            report = self.report(self.plan({"name": "p", "pause": "200 s"}), "--no-ledger", "--units", "6", "--connect", places, FCX_CLOCK="fast")
        self.assertEqual([unit["place"] for unit in report["units"]], [f"{self.work}/none"] + [phone.served["socket"]] * 5)
        self.assertEqual(report["passed"], 5)

    def test_one_hangs(self):
        """What hangs, crashes or is not there costs the others nothing."""
        phones = [station.Phone(clock="real", serve=i < 7) for i in range(8)]
        for phone in phones:
            self.addCleanup(phone.close)
        phones[2].fault("request", "read_imei", "late", "3600000")
        # Its server waits for what hangs, and nobody for that.
        self.addCleanup(os.kill, phones[2].served["pid"], signal.SIGKILL)
        addresses = [phone.served["socket"] if phone.served else str(self.work / "none") for phone in phones]
        steps = [AT, {"name": "imei", "send": "read_imei", "time_limit": "4 s"}, {"name": "csn", "send": 4018}]
        report = self.report(self.plan(*steps), "--no-ledger", "--connect", ",".join(addresses))
        found = {unit["place"]: (unit["verdict"], [each for _, each in verdicts(unit)]) for unit in report["units"]}
        expected = {each: ("passed", ["passed"] * 3) for each in addresses}
        expected[addresses[2]] = ("timeout", ["passed", "timeout", "skipped"])
        expected[addresses[7]] = ("error", ["skipped"] * 3)
        self.assertEqual(found, expected)


class Ledger(Case):
    """No two units have the same identity, and no two the same number."""

    def failures(self, report):
        return sorted(unit["unit"] for unit in report["units"] if unit["verdict"] != "passed")

    def test_duplicates(self):
        plan = self.plan(*write_and_claim("${csn}"), variables={"csn": {"list": ["C1", "C2", "C1", "C3"]}})
        first = self.report(plan, "--units", "4")
        self.assertEqual(self.failures(first), [3])
        self.assertRegex(first["units"][2]["steps"][1]["reason"], rf"^csn C1 is that of {first['run']}.1, at one, 2\d\d\d-")
        self.assertEqual(self.failures(self.report(plan, "--phones", "4", "--station", "two")), [1, 2, 3, 4])
        serials = self.plan({"name": "s", "send": 4010, "identity": "serial"}, {"name": "i", "send": 4294, "identity": "imei"},
                            {"name": "b", "at": "AT%BTAD?", "identity": "bt_address"}, {"name": "j", "send": 4413, "identity": "imei2"})
        report = self.report(serials, "--phones", "8")
        self.assertEqual(len(self.failures(report)), 8 - report["passed"])
        self.assertEqual(self.ledger("SELECT kind FROM identity WHERE kind <> 'csn' ORDER BY kind"),
                         ["bt_address", "imei", "imei", "serial"], "each was given once")
        self.assertEqual(self.ledger("SELECT count(*) FROM run WHERE verdict IN ('passed', 'failed') AND ended_at <> ''"), [3])

    def test_at_the_same_moment(self):
        plan = self.plan(*write_and_claim("${csn}"), variables={"csn": {"counter": {"first": "C100", "count": 40}}})
        stations = [self.begin(plan, "--phones", "2", "--units", "40", "--json", "--station", name) for name in ("a", "b")]
        reports = [json.loads(each.communicate(timeout=120)[0]) for each in stations]
        self.assertEqual([report["passed"] + report["failed"] for report in reports], [40, 40])
        self.assertEqual(sum(report["passed"] for report in reports), 40)
        self.assertEqual(self.ledger("SELECT count(DISTINCT unit) FROM identity"), [40])

    def test_unit_keys(self):
        """A unit of the same key is the same unit, and no two of a run are."""
        plan = self.plan(*write_and_claim("${csn}"), variables={"csn": {"value": "C1"}, "label": {"list": ["B1", "B2", "B1"]}})
        for _ in range(2):
            report = self.report(plan, "--units", "1", "--unit-key", "label", status=0)
            self.assertEqual([unit["key"] for unit in report["units"]], ["B1"])
        report = self.report(plan, "--units", "3", "--unit-key", "label")
        self.assertEqual([unit["verdict"] for unit in report["units"]], ["passed", "failed", "error"])
        self.assertEqual(report["units"][2]["reason"], "another unit of this run has the key B1, too")

    def test_ledger_that_is_removed(self):
        child = self.begin(self.plan(AT, {"name": "p", "pause": "2 s"}, {"name": "left", "at": "AT"}), "--json", FCX_CLOCK="real")
        self.eventually(lambda: self.ledger("SELECT count(*) FROM result") == [1])
        (self.work / "ledger.db").unlink()
        report = json.loads(child.communicate(timeout=60)[0])
        self.assertEqual((child.returncode, verdicts(report["units"][0])), (1, [("at", "passed"), ("p", "error"), ("left", "skipped")]))
        for told in report["problem"], report["units"][0]["steps"][1]["reason"]:
            self.assertIn("ledger.db was removed meanwhile: nothing was written.", told)
        self.assertFalse((self.work / "ledger.db").exists())

    def pool(self, count):
        subprocess.run([*TOOL, "ledger", "pool", "add", "csns", "C100", str(count), "--kind", "csn"], check=True,
                       stdout=subprocess.DEVNULL, env=self.environment)

    def test_pools(self):
        self.pool(5)
        plan = self.plan(*write_and_claim("${a}"), {"name": "b", "send": "set_csn", "argument": "${b}"},
                         variables={name: {"pool": "csns"} for name in "ab"})
        report = self.report(plan, "--units", "3")
        self.assertEqual([unit["verdict"] for unit in report["units"]], ["passed", "passed", "error"])
        self.assertIn("the pool csns has 1 of the 2 numbers", report["units"][2]["reason"])
        self.assertEqual(self.ledger("SELECT state FROM number ORDER BY id"), ["used", "drawn"] * 2 + ["free"])

    def test_what_is_left(self):
        """Units of a dead run are taken up as far as there are new ones, and those of nobody's run are not."""
        self.pool(9)
        subprocess.run([*TOOL, "ledger", "pool", "draw", "csns", "--unit", "BOARD-17"], check=True, stdout=subprocess.DEVNULL,
                       env=self.environment)
        steps = write_and_claim("${csn}", {"name": "wait", "pause": "1 h"}), write_and_claim("${csn}")
        variables = {"csn": {"pool": "csns"}}
        child = self.begin(self.plan(*steps[0], variables=variables), "--phones", "3", FCX_CLOCK="real")
        self.eventually(lambda: self.ledger("SELECT count(*) FROM result WHERE step = 'write'") == [3])
        child.kill()
        child.communicate(timeout=60)
        dead = self.ledger("SELECT id FROM run")[0]
        keys = []
        for units in 1, 2:
            report = self.report(self.plan(*steps[1], variables=variables), "--units", str(units), status=0)
            keys += [unit["key"] for unit in report["units"]]
        self.assertEqual(sorted(keys), [f"{dead}.{number}" for number in (1, 2, 3)])
        self.assertEqual(self.ledger("SELECT count(*) FROM number WHERE state = 'used'"), [3])
        self.assertEqual(self.ledger("SELECT unit FROM number WHERE state = 'drawn'"), ["BOARD-17"])
        self.assertEqual(self.ledger("SELECT verdict FROM run ORDER BY begun_at"), ["died", "passed", "passed"])

    def test_killed_stations(self):
        """Numbers that a dead station has drawn go to its next units, and nothing of it stays."""
        self.pool(8)
        waits = "SELECT count(*) FROM result WHERE step = 'write'"
        for number, (end, between) in enumerate(((signal.SIGKILL, "1 h"), (signal.SIGTERM, "1 h"), (None, "1 ms")), 1):
            plan = self.plan(*write_and_claim("${csn}", {"name": "wait", "pause": between}), variables={"csn": {"pool": "csns"}},
                             on_failure="stop")
            child = self.begin(plan, "--phones", "4", "--units", "4" if end else "8", "--json", FCX_CLOCK="real")
            if end:
                self.eventually(lambda: self.ledger(waits) == [4 * number])
                self.assertIn("is at work with this ledger", self.run_tool(plan)[2])
                child.send_signal(end)
            child.communicate(timeout=60)
            self.assertEqual(child.returncode, {signal.SIGKILL: -9, signal.SIGTERM: 3, None: 0}[end])
            self.eventually(lambda: not self.processes())
        self.assertEqual(self.ledger("SELECT count(*) FROM identity"), [8])
        self.assertEqual(self.ledger("SELECT DISTINCT state FROM number"), ["used"])
        self.assertEqual(self.ledger("SELECT verdict FROM run ORDER BY begun_at"), ["died", "died", "passed"])


class Reports(Case):
    def report_files(self, *words, status):
        junit, file = self.work / "r.xml", self.work / "r.json"
        code, out, err = self.run_tool(*words, "--junit", junit, "--json-file", file)
        self.assertEqual((code, err), (status, ""))
        checked = subprocess.run(["xmllint", "--noout", "--schema", ROOT / "docs/junit.xsd", junit], capture_output=True, text=True,
                                 check=False)
        self.assertEqual(checked.returncode, 0, checked.stderr)
        suites = JUnitXml.fromfile(str(junit))
        for each in suites:
            results = [type(result).__name__ for case in each for result in case.result]
            self.assertEqual((each.tests, each.failures, each.errors, each.skipped),
                             (len(list(each)), *map(results.count, ("Failure", "Error", "Skipped"))))
        return out, json.loads(file.read_text(encoding="utf-8")), suites

    def test_junit(self):
        steps = [{"name": "<&\">'ß", "send": 4018, "argument_hex": "3c26013eefbfbf"}, {"name": "odd", "send": 4018, "expect": {"text": "]]>"}},
                 {"name": "memory", "send": 4402, "expect": {"min": 1, "max": 5000.5}},
                 {"name": "g", "group": {"repeat": 2, "steps": [{"name": "least", "send": 4402, "expect": {"min": 1}}]}},
                 {"name": "late", "pause": "9 h"}, {"name": "left", "at": "AT"}]
        plan = self.plan(*steps, plan="<P>", time_limit="2 s")
        out, report, junit = self.report_files(plan, "--units", "2", "--no-ledger", status=3)
        self.assertEqual((junit.name, junit.tests, junit.failures, junit.errors, junit.skipped), ("<P>", 14, 4, 0, 2))
        odd = "<&\\x01>\\xef\\xbf\\xbf"
        for number, (suite, unit) in enumerate(zip(junit, report["units"]), 1):
            self.assertEqual((suite.name, suite.hostname, suite.tests, unit["unit"]), (f"unit {number}", "one", 7, number))
            self.assertEqual({each.name: each.value for each in suite.properties()}, {"verdict": "timeout", "place": "phone 1"})
            cases = list(suite)
            self.assertEqual([case.name for case in cases], [step["step"] for step in unit["steps"]])
            self.assertEqual([case.time for case in cases], [step["time_us"] / 1e6 for step in unit["steps"]])
            self.assertEqual([[(type(each).__name__, each.type, each.message) for each in case.result] for case in cases],
                             [[], [("Failure", "failed", f'expected result 0, "]]>", got result 0, "{odd}"')], [], [], [],
                              [("Failure", "timeout", "ended by \"the plan\"'s time limit of 2000 ms")],
                              [("Skipped", "skipped", "left out")]])
            told = [{each.get("name"): each.get("value") for each in case._elem.iter("property")} for case in cases]
            self.assertEqual(told[1:5], [{"value": odd, "expected": 'result 0, "]]>"'},
                                         {"value": "3719", "limit": "1 to 5000.5", "expected": "result 0, at least 1, at most 5000.5"},
                                         *[{"value": "3719", "limit": "at least 1", "expected": "result 0, at least 1"}] * 2])
        self.assertRegex(out, r"(?s)^UNIT .*\n1 +phone 1  timeout  4 of 7 .*\nunit 2, step \"odd\": failed\n  expected  result 0, \"]]>\"\n"
                              r".*\n2 units: 0 passed, 2 not; in [\d.]+ s, \d+ an hour\n$")

    def test_unit_with_an_error(self):
        plan = self.plan(AT, variables={"label": {"list": ["B1", "B1"]}})
        _, report, junit = self.report_files(plan, "--units", "2", "--unit-key", "label", status=3)
        why = "another unit of this run has the key B1, too"
        self.assertEqual((junit.tests, junit.errors, junit.skipped, report["units"][1]["reason"]), (3, 1, 1, why))
        self.assertEqual([(case.name, case.result[0].message) for case in list(junit)[1]], [("the unit", why), ("at", "left out")])

    def test_mask(self):
        identities = {"serial": "QV2006A00123", "imei": IMEI, "bt_address": "02FC0A123456"}
        steps = [{"name": "s", "send": 4010, "identity": "serial", "expect": {"text": "${label}"}}, {"name": "i", "send": 4294, "identity": "imei"},
                 {"name": "b", "at": "AT%BTAD?", "identity": "bt_address", "expect": {"save": "saved"}},
                 {"name": "not named", "at": "AT+CGSN", "expect": {"text": IMEI[:14]}},
                 {"name": "with colons", "send": 4018, "expect": {"text": "02:fc:0a:98:76:54"}},
                 {"name": "sent", "send": 4018, "argument": "${saved}"}, {"name": "again", "send": 4018}]
        plan = self.plan(*steps, variables={"label": {"list": ["BOARD-17"]}})
        first = self.report_files(plan, "--unit-key", "label", status=3)
        masked = self.report_files(plan, "--mask", "--unit-key", "label", status=3)
        again = self.report_files(self.plan(*steps, variables={"label": {"list": ["SHELF-18"]}}), "--mask", "--station", "two", status=3)
        secrets = [*identities.values(), "02:fc:0a:98:76:54", "BOARD-17", IMEI[:14]]
        texts = [(out, json.dumps(report), junit.tostring().decode()) for out, report, junit in (first, again, masked)]
        for secret in secrets:
            self.assertIn(secret, "".join(texts[0]))
            self.assertNotIn(secret, "".join(texts[1] + texts[2]))
        self.assertNotIn("SHELF-18", "".join(texts[1]))
        self.assertIn("imei ***********7518 is that of ****D-17, at one", texts[1][0])
        self.assertEqual([masked[1]["masked"], masked[1]["units"][0]["key"], "masked" in first[1]], [True, "****D-17", False])
        self.assertEqual([step["value"] for step in masked[1]["units"][0]["steps"][:4]],
                         ["********0123", "***********7518", "********3456", "***********7518"])

    def test_exit_status(self):
        good = self.plan(AT, variables={"a": {"list": ["x", "y"]}})
        self.assertEqual(self.report(good, "--phones", "9", status=0)["passed"], 2, "as many as there are values")
        pool = self.work / "pool.json"
        pool.write_text(json.dumps({"plan": "p", "steps": [AT], "variables": {"a": {"pool": "p"}}}), encoding="utf-8")
        for words, status, told in (((good, "--units", "3"), 2, "have values for 2 units, not for 3"), ((good, "--units", "0"), 2, "one unit at least"),
                                    ((good, "--phones", "0"), 2, "1 to 256 phones, not 0"), ((good, "--phones", "257"), 2, "not 257"),
                                    ((good, "--profile", "singel"), 2, "no profile is called"),
                                    ((good, "--connect", "/a", "--phones", "1"), 2, "a server has its own phone"),
                                    ((good, "--connect", "/a,,/b"), 2, "is empty"), ((good, "--connect", "/a,/a"), 2, "name it once"),
                                    ((good, "--unit-key", "b"), 2, "--unit-key names a variable"), ((pool, "--unit-key", "a"), 2, "from no pool"),
                                    ((pool, "--no-ledger"), 2, "it cannot run with --no-ledger"), ((pool,), 1, 'no pool is called "p"'),
                                    ((good, "--no-ledger", "--station", "x"), 2, "do not go with --no-ledger"),
                                    ((good, "--junit", "/none/r.xml"), 1, "nothing can be written there"),
                                    ((good, "--ledger", good / "l.db"), 1, "l.db"),
                                    ((good, "--connect", "/none/a,/none/b"), 1, "no server at /none/"),
                                    ((good, "--token-file", "/none", "--connect", "/a"), 1, "/none cannot be read")):
            with self.subTest(words):
                code, out, err = self.run_tool(*words)
                self.assertEqual((code, out, told in err), (status, "", True), err)


class Stopped(Case):
    def test_by_signal(self):
        """The step in hand comes to its end, no other is begun, and the reports are written."""
        for runs, number in enumerate((signal.SIGTERM, signal.SIGINT)):
            with station.Phone(clock="real") as phone:
                phone.fault("request", "read_imei", "late", "2000")
                plan = self.plan(AT, {"name": "in hand", "send": "read_imei"}, {"name": "left", "at": "AT"})
                child = self.begin(plan, "--connect", phone.served["socket"], "--units", "5", "--json")
                self.eventually(lambda: self.ledger("SELECT count(*) FROM result WHERE step = 'at'") == [runs + 1])
                child.send_signal(number)
                report = json.loads(child.communicate(timeout=60)[0])
                self.assertEqual((child.returncode, report["stopped"], report["not_begun"]), (3, True, 4))
                self.assertEqual([each for _, each in verdicts(report["units"][0])], ["passed", "passed", "skipped"])
                self.assertEqual(report["units"][0]["reason"], "the station was stopped")


    def test_from_the_terminal(self):
        """Ctrl-C reaches all processes of the terminal, and those of the phones go on."""
        plan = self.plan({"name": "g", "group": {"repeat": 1000000, "steps": [AT]}}, {"name": "left", "at": "AT"})
        child = self.begin(plan, "--phones", "2", "--json")
        self.eventually(lambda: self.ledger("SELECT count(*) > 20 FROM result") == [1])
        os.killpg(child.pid, signal.SIGINT)
        report = json.loads(child.communicate(timeout=60)[0])
        for unit in report["units"]:
            done = [each for name, each in verdicts(unit) if each != "skipped"]
            self.assertEqual((unit["verdict"], set(done), verdicts(unit)[-1]), ("skipped", {"passed"}, ("left", "skipped")))


class EveryCommand(Case):
    """The plan that has every opcode, on each profile, on 8 phones side by side."""

    # What a phone cannot answer on which nobody has written anything.
    BLANK = {4010, 4011, 4013, 4021, 4033, 4064, 4068, 4069, 4420}

    def test_each_profile(self):
        plan = ROOT / "examples/plans/every-command.yaml"
        opcodes = [row["opcode"] for row in json.loads(subprocess.run([*TOOL, "commands", "--json"], capture_output=True, text=True,
                                                                      check=True).stdout)["commands"]]
        sent = [int(each) for each in re.findall(r"(?m)^ +send: (\d+)$", plan.read_text(encoding="utf-8"))]
        self.assertEqual(sorted(set(sent)), opcodes)
        for profile in "single", "open", "mtk", "overlay", "blank":
            with self.subTest(profile):
                report = self.report(plan, "--phones", "8", "--profile", profile, "--station", profile, status=3 if profile == "blank" else 0)
                self.assertEqual(len(report["units"]), 8)
                for unit in report["units"]:
                    self.assertEqual(len(unit["steps"]), len(sent) + 5)
                    failed = {int(name.split()[0]) for name, verdict in verdicts(unit) if verdict != "passed"}
                    self.assertEqual(failed, self.BLANK if profile == "blank" else set())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
