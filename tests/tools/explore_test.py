#!/usr/bin/env python3
"""What `fcx explore` tells: explore_test.py CASE, with $FCX_TOOL the command that runs it."""

import json
import os
import pty
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml
from pathlib import Path

TOOL = shlex.split(os.environ["FCX_TOOL"])
IMEI = "490154203237518"


def run(*words):
    return subprocess.run([*TOOL, *words], capture_output=True, text=True, errors="replace", check=False)


def explored(*words):
    """The one report that --json has."""
    (report,) = json.loads(run("explore", "--json", *words).stdout)["explored"]
    return report


class Case(unittest.TestCase):
    def setUp(self):
        memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        directory = tempfile.TemporaryDirectory(dir=memory)
        self.addCleanup(directory.cleanup)
        self.work = Path(directory.name)
        self.phone = self.work / "phone"
        os.environ.update({"FCX_PHONE": str(self.phone), "LC_ALL": "C.UTF-8"})
        run("init")


class Shown(Case):
    """The command lines that are shown do on a phone what was tried."""

    def test_each(self):
        run("boot")
        before = self.work / "before"
        copy = ["cp", "-r", "--sparse=always"]
        subprocess.run([*copy, self.phone, before], check=True)
        for typed in (f"send write_imei {IMEI}", "send rkf_start 1", "send set_midauto_result 1101",
                      "send handle_set_ftm_model_name QV-200", "at AT%BTAD=02FC0A123456"):
            for tried in explored("--full", *shlex.split(typed))["tries"]:
                with self.subTest(f"{typed}: {tried['access']}: {tried['effect']}"):
                    shutil.rmtree(self.phone)
                    subprocess.run([*copy, before, self.phone], check=True)
                    *faults, last = tried["shown_by"]
                    for line in faults:
                        self.assertEqual(run(*shlex.split(line)[1:]).returncode, 0, line)
                    traced = run("trace", "--full", *shlex.split(last)[1:])
                    outcome = traced.stdout.splitlines()[-1].removeprefix("# ")
                    self.assertEqual(outcome.split(";")[0], tried["came_out"], traced.stdout)
        # Nothing was tried on the phone itself, nor left behind.
        self.assertEqual(json.loads(run("fault", "list", "--json").stdout)["faults"], [])


class Reports(Case):
    def test_verdicts_and_acceptances(self):
        run("fault", "item", "37", "return", "1")  # it is the phone's own, and in nobody's way
        good = run("explore", "send", "set_csn", "123456789012345")
        self.assertEqual((good.returncode, good.stderr), (0, ""))
        self.assertRegex(good.stdout, r"(?m)^tried +7: 7 good$")
        # One that is as ever is no mistake; what is accepted is told, and one that fits nothing.
        file = self.work / "own.txt"
        file.write_text("# mine\nsend 4010 | item read 9 | * | hang | Never.\n", encoding="utf-8")
        told = run("explore", "--accepted", str(file), "send", "4010")
        self.assertEqual(told.returncode, 0)
        self.assertIn("accepted, and not seen here (line 2): item read 9, *: hang", told.stdout)
        accepted = explored("send", "rkf_start", "1")
        self.assertEqual(accepted["bad"], 0)
        self.assertIn(("not kept", True), {(each["verdict"], bool(each["accepted"])) for each in accepted["tries"]})
        file.write_text("send 4010 | x\n", encoding="utf-8")
        for words, status, text in (
                (("--accepted", str(file), "send", "4010"), 2, f"{file}:1: ACTION | ACCESS | EFFECT | VERDICT | REASON"),
                (("--accepted", "/none", "send", "4010"), 1, "/none cannot be read"),
                (("--share", "0", "boot"), 2, "--share is 1 to 100 percent"),
                (("--share", "101", "boot"), 2, "--share is 1 to 100 percent"),
                (("--profile", "none", "boot"), 2, "none"),
                (("at", "x"), 2, "this is no AT line")):
            done = run("explore", *words)
            self.assertEqual((done.returncode, done.stdout), (status, ""), words)
            self.assertIn(text, done.stderr)

    def test_bad_ones(self):
        report, own, line = self.work / "report.xml", self.work / "own.txt", ["at", "AT%FCX=4007,1"]
        # What is accepted of the command is so of no AT line.
        bad = run("explore", "--junit", str(report), *line)
        self.assertEqual((bad.returncode, bad.stderr), (3, ""))
        self.assertRegex(bad.stdout, r"(?m)^service call reboot +absent +%FCX: 0 \| OK +not kept +reboots: 0, not 1$")
        self.assertIn("\n\nservice call reboot, absent: not kept. Shown by\n  fcx fault service reboot absent --times 1\n"
                      "  fcx at AT%FCX=4007,1\n", bad.stdout)
        suite = xml.parse(report).getroot()[0]
        failures = {each.get("name"): (each[0].get("message"), each[0].text) for each in suite if len(each)}
        self.assertEqual(len(failures), bad.stdout.count("Shown by\n"))
        self.assertEqual(failures["service call reboot: absent"], ("not kept", "reboots: 0, not 1"))
        self.assertEqual((suite.get("failures"), len(suite)), (str(len(failures)), int(suite.get("tests"))))
        own.write_text("at * | service call reboot | absent | not kept | So it is.\n", encoding="utf-8")
        left = explored("--accepted", str(own), *line)
        self.assertEqual((left["bad"], left["accepted_and_not_seen"]), (len(failures) - 1, []))
        self.assertEqual([each["access"] for each in left["tries"] if each["accepted"] == "So it is."], ["service call reboot"])
        run("fault", "request", "read_imei", "late", "700000")
        told = run("explore", "--junit", str(report), "send", "read_imei")
        self.assertEqual((told.returncode, told.stdout), (1, ""))
        self.assertEqual(told.stderr, "fcx: it does not end well when nobody disturbs it: sleeps for more than 600 s\n")

    def test_share(self):
        whole = [(each["access"], each["effect"]) for each in explored("send", "4004", "1")["tries"]]
        drawn = [explored("--share", "30", "--seed", seed, "send", "4004", "1") for seed in ("1", "1", "2")]
        first, again, other = ([(each["access"], each["effect"]) for each in report["tries"]] for report in drawn)
        self.assertEqual(first, again)
        self.assertNotEqual(first, other)
        self.assertLessEqual(set(first), set(whole))
        self.assertTrue(len(whole) / 10 < len(first) < len(whole) / 2, (len(first), len(whole)))
        self.assertRegex(run("explore", "--share", "1", "send", "4010").stdout, r"\n1 % of the tries, drawn by the seed \d+\n$")

    def test_two_at_a_time(self):
        pairs = explored("--pairs", "send", "set_midauto_result", "1101")
        twos = [each for each in pairs["tries"] if each["access"] != "none"]
        self.assertTrue(twos)
        for each in twos:
            self.assertRegex(each["access"] + each["effect"], r"^[^+]+ \+ [^+]+ \+ [^+]+$")
            self.assertEqual(len(each["shown_by"]), 3)

    def test_identities_are_hidden(self):
        parts = {IMEI[i:i + 8] for i in range(len(IMEI) - 7)}
        for words in (["send", "write_imei", IMEI], ["send", "read_imei"], ["boot"]):
            made = explored("--all", "--junit", str(self.work / "r.xml"), *words)
            self.assertIn("***********7518", made["action"] + json.dumps(made["tries"]))
            for tried in made["tries"]:
                del tried["shown_by"]
            shown = json.dumps(made) + (self.work / "r.xml").read_text(encoding="utf-8")
            self.assertEqual({part for part in parts if part in shown}, set())
        text = run("explore", "--all", "send", "read_imei").stdout
        self.assertIn("***********7518", text)
        self.assertIn(IMEI, run("explore", "--all", "--full", "send", "read_imei").stdout)

    def test_progress(self):
        read, write = pty.openpty()
        words = [*TOOL, "explore", "commands", "--share", "30"]
        child = subprocess.Popen(words, stderr=write, stdout=subprocess.DEVNULL)
        counted = r"\r\x1b\[Ksend \d+( \S+)?, \d+ of \d{2,}: \d+ of \d+ tries, about \d+ s left"
        self.assertRegex(os.read(read, 4096).decode(), rf"^{counted}")
        child.terminate()
        child.wait()
        os.close(read)
        os.close(write)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
