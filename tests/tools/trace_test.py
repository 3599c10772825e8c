#!/usr/bin/env python3
"""What `fcx trace` tells: trace_test.py CASE, with $FCX_TOOL the command that runs it."""

import json
import os
import shlex
import sqlite3
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOL = shlex.split(os.environ["FCX_TOOL"])
IMEI, ADDRESS, ICCID = "490154203237518", "02FC0A987654", "89490200001234567890"

# What is typed before, what is traced, the trace, and the exit status.
TRACES = [
    ([], "send 4010", """
# fcx trace send 4010
item     read    9 serial_number, 12 bytes -> 0 "********0123"
# result 0, ********0123
""", 0),
    ([], f"send write_imei {IMEI}", """
# fcx trace send 4293 '***********7518'
service  find    dmi -> ok
service  call    dmi -> ok
request  116 write_imei > "***********7518" < "IMEI WRITE OK" -> 0
item     write   13 imei, 20 bytes "***********7518" +5 NUL -> 0
# result 0, IMEI WRITE OK
""", 0),
    ([], f"send 4293 {IMEI[:-1]}1 --full", f"""
# fcx trace send 4293 {IMEI[:-1]}1
service  find    dmi -> ok
service  call    dmi -> ok
request  116 write_imei > "{IMEI[:-1]}1" < "CHECK DIGIT ERROR" -> 0
# result 0, CHECK DIGIT ERROR
""", 0),
    (["fault item 9 fail -5 --times 1"], "send 4010", """
# fcx trace send 4010
item     read    9 serial_number, 12 bytes -> -5, struck: fail
# result 1
""", 3),
    (["fault request sync_efs late 1", "fault request sync_efs status 7"], "send 4020", """
# fcx trace send 4020
service  find    dmi -> ok
service  call    dmi -> ok
request  200 sync_efs > "" < "1" -> 0, status 7, struck: status
# result 0
""", 0),
    (["fault clear"], "send 4059", """
# fcx trace send 4059
service  find    atservice -> ok
service  call    atservice -> ok
  request  4059 nv_crc > "" < "0xCD870714" -> 0
# result 0, 0xCD870714
""", 0),
    (["fault file /proc/meminfo fail EACCES --times 1"], "send 4402", """
# fcx trace send 4402
file     open    /proc/meminfo O_RDONLY -> EACCES, struck: fail
# result 1
""", 3),
    ([], "send 4402", """
# fcx trace send 4402
file     open    /proc/meminfo O_RDONLY -> ok
file     read    /proc/meminfo, 1024 bytes -> "MemTotal:        3809036 kB\\nMemFree:          412876 kB\\nMemA"... (84 bytes)
# result 0, 3719
""", 0),
    # What is left on a thread comes in the order in which the threads do it.
    ([], "send 4007 1", """
# fcx trace send 4007 1
property write   persist.vendor.qve.bootstatus = "1" -> ok
service  find    dmi -> ok
service  call    dmi -> ok
request  200 sync_efs > "" < "1" -> 0
file     sync    / -> ok
thread   start   reboot -> ok
[1] file     sync    / -> ok
[1] sleep    1000 ms
[1] service  call    reboot "restart, reason fcx" -> ok
# result 0
""", 0),
    (["fault thread reboot fail EAGAIN --times 1"], "send 4007 1", """
...
file     sync    / -> ok
thread   start   reboot -> EAGAIN, struck: fail
...
# result *
""", 3),
    ([], f"at AT%BTAD={','.join(ADDRESS)}", """
# fcx trace at 'AT%BTAD=***********************'
item     write   8 bt_address, 6 bytes "************7654" -> 0
# BLUETOOTH ADDRESS WRITE OK | OK
""", 0),
    # An address that nobody has written hides nothing.
    (["item set 8 hex:ffffffffffff"], "send 4408 FFFFFFFFFFFFFFFF", """
# fcx trace send 4408 FFFFFFFFFFFFFFFF
item     write   251 midauto_result, 128 bytes "" +128 NUL -> 0
item     write   251 midauto_result, 128 bytes "FFFFFFFFFFFFFFFF" +112 NUL -> 0
property write   persist.vendor.qve.midauto.status = "4" -> ok
# result 0, FFFFFFFFFFFFFFFF
""", 0),
    ([], "send 4999", "# fcx trace send 4999\n# result 0", 3),
    ([], "boot", """
# fcx trace boot
property read    ro.bootmode -> "unknown"
property write   vendor.qve.factory.qem = "0" -> ok
property write   vendor.qve.factory.pif = "0" -> ok
item     read    73 suffix, 20 bytes -> 0 "AEUROP" +14 NUL
property write   ro.vendor.qve.suffix = "AEUROP" -> ok
service  find    dmi -> ok
service  call    dmi -> ok
request  117 read_imei > "" < "***********7518" -> 0
item     read    13 imei, 20 bytes -> 0 "***********7518" +5 NUL
service  call    dmi -> ok
request  157 read_meid > "" < "**********5678" -> 0
item     read    207 meid, 20 bytes -> 0 "**********5678" +6 NUL
...
thread   start   carrier_set_up -> ok
[1] *
...
# set-up is complete
""", 0),
    (["init --force --profile overlay"], "boot", """
...
service  find    filehandle -> ok
service  call    filehandle "/mnt/product/OP/product_ext/etc/cust_path_mapping.cfg" -> ok
  file     open    /mnt/product/OP/product_ext/etc/cust_path_mapping.cfg O_RDONLY -> ok
  file     read    /mnt/product/OP/product_ext/etc/cust_path_mapping.cfg -> "*
...
[1] item     read    421 network_code, 2048 bytes -> 0 "\\"3\\",\\"262,01F,FFFFFFFF,FFFFFFFF,11\\",\\"234,15F,FFFFFFFF,FFFFFFF"... (*
...
[1]   file     read    /mnt/product/OP/OPEN_EU/config/feature_code.xml -> "*
...
[1] file     open    /mnt/vendor/persist-qv/kelp/perm.prop O_WRONLY -> ok
[1] file     open    /mnt/vendor/persist-qv/kelp/perm.prop O_WRONLY|O_CREAT|O_EXCL|O_NOFOLLOW -> ok
...
[1] file     rename  temporary to /mnt/vendor/persist-qv/kelp/perm.prop -> ok
...
# set-up is complete
""", 0),
    ([], "reboot", "# fcx trace reboot 'by hand'\n# restarted", 0),
]

# A file, and what is said of it: in what of its lines, what was expected, and what came.
WRITE = 'request  116 write_imei > "***********7518" < "IMEI WRITE OK" -> 0'
STORED = 'item     write   13 imei, 20 bytes "***********7518" +5 NUL -> 0'
COMPARED = [
    ("...", None),
    ("*\n*\n*\n*", None),
    (f'service find *\n...\nitem write 13 imei, 20 bytes "{IMEI}" +5 NUL -> 0\n# done', None),
    (f"...\n{WRITE}\n...", None),
    ('...\nservice * -> ok\nrequest  116   *  "IMEI * OK" -> *\n\n *', None),
    ('service find dmi -> ok\n\nservice call diag -> ok\n...', (3, "service call diag -> ok", "service  call    dmi -> ok", 2)),
    (f"...\n{WRITE}", (2, None, STORED, 4)),
    ("*\n*\n*\n*\n  request 1 x -> 0 # one more", (5, "request 1 x -> 0 # one more", None, None)),
    ("...\nsleep 5 ms\n", (2, "sleep 5 ms", "service  find    dmi -> ok", 1)),
    ('...\n*\nrequest  116 write_imei > "" < * -> 0\n', (3, 'request  116 write_imei > "" < * -> 0', "service  call    dmi -> ok", 2)),
    ("", (0, None, "service  find    dmi -> ok", 1)),
]
MISTAKES = [
    ("# a\n\nitme read 9 -> 0", 'line 3: no access begins with "itme": property, item, file, service, thread, request, sleep'),
    ("...\nitem rename 9 -> 0", 'line 2: "item" has no operation "rename"'),
    ("[1] file open /a O_RDONLY", 'line 1: it does not say what came of it, after " -> "'),
    ('file write /a "b -> ok', "line 1: its quotes have no end"),
    ("sleep", 'line 1: "sleep" is not all of an access'),
]


def run(*words):
    return subprocess.run([*TOOL, *words], capture_output=True, text=True, errors="replace", check=False)


def matches(expected, lines):
    """Whether lines are the expected ones, in which "..." is any number and a '*' at an end anything."""
    if not expected:
        return not lines
    if expected[0] == "...":
        return any(matches(expected[1:], lines[i:]) for i in range(len(lines) + 1))
    first = expected[0]
    same = bool(lines) and (lines[0] == first or (first.endswith("*") and lines[0].startswith(first[:-1])))
    return same and matches(expected[1:], lines[1:])


class Case(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.work = Path(directory.name)
        os.environ.update({"FCX_PHONE": str(self.work / "phone"), "LC_ALL": "C.UTF-8"})
        run("init")


class Traces(Case):
    def test_each(self):
        for before, typed, expected, status in TRACES:
            with self.subTest(typed):
                for words in before:
                    self.assertEqual(run(*shlex.split(words)).returncode, 0)
                done = run("trace", *shlex.split(typed))
                self.assertTrue(matches(expected.strip().splitlines(), done.stdout.splitlines()), done.stdout)
                self.assertEqual((done.returncode, done.stderr), (status, ""))

    def test_objects(self):
        for _, typed, expected, status in TRACES[1:3] + TRACES[5:6]:
            with self.subTest(typed):
                done = run("trace", *shlex.split(typed), "--json")
                made = json.loads(done.stdout)
                rows = [row for row in expected.splitlines() if row and row[0] != "#"]
                self.assertEqual([(each["depth"], each["part"]) for each in made["accesses"]],
                                 [(len(row[:2].strip()) == 0 and 1 or 0, row.split()[0]) for row in rows])
                hides = "--full" not in typed and "imei" in typed
                self.assertEqual([each.get("masked", False) for each in made["accesses"]],
                                 [hides and IMEI[-4:] in row for row in rows])
                self.assertEqual((made["done"], made.get("masked", False), made["comparison"]), (status == 0, hides, None))
                times = [each["time_us"] for each in made["accesses"]]
                self.assertEqual(times, sorted(times))

    def test_ends_where_the_power_is_cut(self):
        with sqlite3.connect(self.work / "phone/phone.db") as database:
            database.execute("INSERT INTO fault(kind, target, operation, effect, value, remaining, strikes_from) "
                             "VALUES('power', '', 'any', 'cut', 0, 1, 1)")
        database.close()
        done = run("trace", "send", "4007", "1")
        self.assertEqual((done.returncode, done.stdout.splitlines()),
                         (3, ["# fcx trace send 4007 1", 'property write   persist.vendor.qve.bootstatus = "1" -> ok',
                              "# the power was cut; what was not flushed is dropped"]))

    def test_is_the_same_again(self):
        file = self.work / "boot.trace"
        file.write_text(run("trace", "boot").stdout, encoding="utf-8")
        run("init", "--force")
        self.assertEqual(run("trace", "boot", "--compare", str(file)).returncode, 0)


class Identities(Case):
    """No command's trace shows an identity, whatever is sent."""

    def test_each_command(self):
        run("sim", "insert", ICCID)
        items = json.loads(run("item", "list", "--full", "--json").stdout)["items"]
        listed = json.loads(run("item", "list", "--json").stdout)["items"]
        values = json.loads(run("modem", "--full", "--json").stdout)["values"]
        modem = json.loads(run("modem", "--json").stdout)["values"]
        secrets = {IMEI, ADDRESS, ICCID} | {full["value"] for full, part in zip(items + values, listed + modem) if part.get("masked")}
        secrets = {secret for secret in secrets if len(secret) > 8}
        self.assertGreater(len(secrets), 10)
        parts = {secret[i:i + 8] for secret in secrets for i in range(len(secret) - 7)}
        parts |= {part.encode().hex() for part in parts}
        typed = ["boot", f"at AT%BTAD={ADDRESS}", "at AT%WLAD?"]
        for number, command in enumerate(json.loads(run("commands", "--json").stdout)["commands"]):
            typed += [each["typed"].removeprefix("fcx ") for each in command["example"]]
            typed.append(f"send {command['opcode']}")
            typed.append(f"send {command['opcode']} --hex {(IMEI, ADDRESS, ICCID)[number % 3].encode().hex()}")
        for number, line in enumerate(dict.fromkeys(typed)):
            printed = run("trace", *shlex.split(line), *["--json"][number % 2:]).stdout
            self.assertEqual({part for part in parts if part in printed}, set(), (line, printed))
        self.assertIn(ICCID, run("trace", "boot", "--full").stdout)


class Compared(Case):
    def test_each(self):
        file = self.work / "expected.trace"
        trace = ("trace", "--compare", str(file), "send", "4293", IMEI)
        for text, other in COMPARED:
            with self.subTest(text):
                file.write_text(text, encoding="utf-8")
                found = json.loads(run(*trace, "--json").stdout)["comparison"]
                self.assertEqual(found["same"], other is None)
                said = run(*trace)
                self.assertEqual(said.returncode, 0 if other is None else 3)
                if other is None:
                    self.assertEqual(said.stdout, f"as in {file}: 4 accesses\n")
                    continue
                line, expected, came, number = other
                self.assertEqual((found["line"], found["expected"], found["came"]), (line, expected, came))
                self.assertEqual(found["access"], number and number - 1)
                rows = said.stdout.splitlines()
                self.assertEqual(rows[:3], [f"other than in {file}, line {line}", f"expected  {expected or 'nothing more'}",
                                            f"came      {came or 'nothing more'}"])
                self.assertEqual([row.split(",")[0] for row in rows[3:]], [f"          access {number} of 4"] if number else [])

    def test_mistakes(self):
        file = self.work / "expected.trace"
        before = run("log").stdout
        for text, message in MISTAKES:
            with self.subTest(text):
                file.write_text(text, encoding="utf-8")
                done = run("trace", "--compare", str(file), "send", "4010")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", f"fcx: {file}, {message}\n"))
        for path, reason in (("/none", "No such file or directory"), (str(self.work), "Is a directory")):
            done = run("trace", "--compare", path, "send", "4010")
            self.assertEqual((done.returncode, done.stdout, done.stderr), (1, "", f"fcx: {path}: {reason}\n"))
        # Nothing was sent.
        self.assertEqual(run("log").stdout, before)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
