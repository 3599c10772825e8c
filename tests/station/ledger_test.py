#!/usr/bin/env python3
"""Stations that share a ledger: ledger_test.py CASE, with $FCX_TOOL the command that runs the tool, $FCX_STATION_PROGRAM
tests/station/station.cpp, $FCX_TESTS the tests of the library, and $FCX_WORK a folder to work in."""

import itertools
import json
import os
import random
import resource
import shlex
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

import jsonschema

SHAPES = json.loads((Path(__file__).resolve().parents[2] / "docs/json.schema.json").read_text(encoding="utf-8"))["$defs"]
TOOL = shlex.split(os.environ["FCX_TOOL"])
STATION = shlex.split(os.environ["FCX_STATION_PROGRAM"])
SEED = int(os.environ.get("FCX_SEED", random.randrange(1 << 30)))
POOL = "serials"


def run(*words, **environment):
    """Exit status, standard output and standard error of `fcx ledger`."""
    done = subprocess.run([*TOOL, "ledger", *words], capture_output=True, text=True, check=False, timeout=120,
                          env={**os.environ, **environment})
    return done.returncode, done.stdout, done.stderr


def rows(what):
    """What `fcx ledger ... --json` lists."""
    status, out, err = run(*shlex.split(what), "--json")
    assert status == 0, err or out
    return json.loads(out)


class Server:
    """A PostgreSQL server from the Debian package, reached by a socket in its own folder; nobody's, since it refuses root."""

    def __init__(self):
        self.programs = max(Path("/usr/lib/postgresql").glob("*/bin"), key=lambda path: int(path.parent.name))
        # A socket's name is at most 107 bytes long, and others than root must come to it.
        inside = os.environ["FCX_WORK"]
        closed = os.geteuid() == 0 and any(not path.stat().st_mode & 1 for path in (Path(inside), *Path(inside).parents))
        self.folder = Path(tempfile.mkdtemp(prefix="pg-", dir=None if closed or len(inside) > 60 else inside))
        if os.geteuid() == 0:
            shutil.chown(self.folder, "nobody", "nogroup")
        (self.folder / "password").write_text("not-to-be-seen\n", encoding="ascii")
        (self.folder / "password").chmod(0o644)
        self.call("initdb", "-D", "data", "-U", "fcx", "-A", "password", "--pwfile=password", "--no-sync", "-E", "UTF8")
        self.start()

    def call(self, program, *words):
        user = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"] if os.geteuid() == 0 else []
        subprocess.run([*user, self.programs / program, *words], cwd=self.folder, check=True, stdout=subprocess.DEVNULL,
                       stdin=subprocess.DEVNULL, timeout=120)

    def start(self):
        # Only stations are killed here, never the machine: nothing has to be on disk.
        options = f"-c listen_addresses='' -c unix_socket_directories={self.folder} -c fsync=off"
        self.call("pg_ctl", "-D", "data", "-w", "-s", "-l", "log", "-o", options, "start")

    def stop(self):
        self.call("pg_ctl", "-D", "data", "-w", "-s", "-m", "immediate", "stop")

    def pause(self, number):
        """Stops all of it from answering, or lets it go on."""
        first = (self.folder / "data/postmaster.pid").read_text(encoding="ascii").split()[0]
        children = Path(f"/proc/{first}/task/{first}/children").read_text(encoding="ascii").split()
        for process in first, *children:
            os.kill(int(process), number)

    def close(self):
        self.stop()
        shutil.rmtree(self.folder)

    def url(self, database="postgres"):
        return f"postgresql://fcx:not-to-be-seen@/{database}?host={self.folder}"

    def psql(self, sql, database="postgres"):
        done = subprocess.run([self.programs / "psql", self.url(database), "-Atqc", sql], capture_output=True, text=True,
                              check=True, timeout=60)
        return done.stdout.split()


class Station:
    """A process that draws and claims for units, and may be killed while it does."""

    def __init__(self, name, units):
        self.name, self.units, self.told, self.failures = name, units, {}, []

    def work(self, lifetimes):
        """Lives so long, again and again, and then until all is done. What has failed is asked for again."""
        for lifetime in itertools.chain(lifetimes, itertools.repeat(None, 1000)):
            left = [unit for unit in self.units if unit not in self.told]
            if not left:
                return
            child = subprocess.Popen([*STATION, os.environ["FCX_LEDGER"], self.name, POOL, "serial"], text=True,
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE)
            killer = threading.Timer(lifetime or 600, child.kill)
            killer.start()
            # A line may be cut by the kill.
            for line in child.communicate("".join(f"{unit}\n" for unit in left))[0].splitlines(keepends=True):
                unit, number = line.split(" ", 1) if line.endswith("\n") else ("", "!")
                if number.startswith("!"):
                    self.failures.append(number)
                else:
                    self.told[unit] = number.rstrip("\n")
            killer.cancel()


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=os.environ["FCX_WORK"])
        self.addCleanup(folder.cleanup)
        self.work = Path(folder.name)
        self.where = str(self.work / "ledger.db")
        os.environ.update({"FCX_LEDGER": self.where, "FCX_STATION": "here", "HOME": folder.name, "LC_ALL": "C.UTF-8"})

    def draw_among_kills(self, count, kills, longest, meanwhile=lambda: None):
        """Two stations draw all numbers of a pool, each of them killed so often: none is drawn twice, and none is lost."""
        self.assertEqual(run("pool", "add", POOL, "S00001", str(count), "--kind", "serial")[0], 0)
        stations = [Station(name, [f"{name}-{i}" for i in range(count // 2)]) for name in ("one", "two")]
        draw = random.Random(SEED)
        threads = [threading.Thread(target=each.work, args=([draw.uniform(0.02, longest) for _ in range(kills)],))
                   for each in stations]
        for thread in threads:
            thread.start()
        meanwhile()
        for thread in threads:
            thread.join()
        told = {unit: number for station in stations for unit, number in station.told.items()}
        kept = {each["unit"]: [one["value"] for one in each["identities"]] for each in rows("units")["units"]}
        with self.subTest(seed=SEED):
            self.assertEqual(len(set(told.values())), count)
            self.assertEqual(kept, {unit: [number] for unit, number in told.items()})
            self.assertEqual(rows("pool")["pools"], [{"pool": POOL, "kind": "serial", "free": 0, "drawn": 0, "used": count,
                                                      "returned": 0}])
        return {failure for station in stations for failure in station.failures}

    def claim_at_once(self, units):
        """Stations claim the same identities at the same moment, in two orders: each has one owner."""
        claims = [subprocess.Popen([*TOOL, "ledger", "claim", f"{station}-{i}", "serial", f"N{i}", "--station", station],
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                  for i in range(units) for station in ("one", "two", "three")]
        told = [each.communicate(timeout=120)[0] for each in claims]
        self.assertEqual(sorted(each.returncode for each in claims), [0] * units + [3] * 2 * units, told)
        owners = [one["value"] for each in rows("units")["units"] for one in each["identities"]]
        self.assertEqual(sorted(owners), sorted(f"N{i}" for i in range(units)))


class File(Case):
    """A ledger in a file."""

    def test_draws_among_kills(self):
        self.assertLessEqual(self.draw_among_kills(600, 4, 0.3), {"!"})

    def test_claims_at_once(self):
        self.claim_at_once(4)

    def test_locked(self):
        run("claim", "A", "serial", "S1")
        holder = sqlite3.connect(self.where, isolation_level=None)
        holder.execute("BEGIN IMMEDIATE")
        status, _, err = run("claim", "B", "serial", "S2")
        self.assertEqual((status, "is locked by another process" in err), (1, True), err)
        self.assertEqual(run("find", "S1")[0], 0)
        holder.close()
        self.assertEqual(run("claim", "B", "serial", "S2")[0], 0)

    def test_locked_while_it_is_made(self):
        holder = sqlite3.connect(self.where, isolation_level=None, check_same_thread=False)
        holder.execute("BEGIN IMMEDIATE")
        released = threading.Timer(1, holder.close)
        released.start()
        self.assertEqual(run("claim", "A", "serial", "S1")[0], 0)
        released.join()

    def test_full(self):
        run("pool", "add", POOL, "S00001", "10", "--kind", "serial")
        before = os.stat(self.where).st_size

        def limit():
            # In place of a full disk: a file cannot grow. A write then fails, and no signal ends the process.
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (before + 20000, before + 20000))

        words = [*TOOL, "ledger", "pool", "add", POOL, "S10000", "50000"]
        done = subprocess.run(words, capture_output=True, text=True, check=False, preexec_fn=limit, restore_signals=False)
        self.assertEqual((done.returncode, "the ledger " + self.where in done.stderr), (1, True), done.stderr)
        self.assertEqual(rows("pool")["pools"][0]["free"], 10)
        self.assertEqual(run("pool", "add", POOL, "S10000", "50000")[0], 0)

    def test_read_only(self):
        run("claim", "A", "serial", "S1")
        user = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"] if os.geteuid() == 0 else []
        self.work.chmod(0o555)
        Path(self.where).chmod(0o444)
        self.addCleanup(self.work.chmod, 0o755)
        done = subprocess.run([*user, *TOOL, "ledger", "claim", "B", "serial", "S2"], capture_output=True, text=True,
                              check=False, timeout=60)
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertRegex(done.stderr, "the ledger .*(readonly|unable to open)")

    def test_shown(self):
        odd = 'a,"b"\x1b'
        self.assertEqual(run("claim", "BOARD-17", "serial", "QV2006A00100")[0], 0)
        database = sqlite3.connect(self.where)
        database.execute("UPDATE unit SET station = ?", (odd,))
        database.execute("UPDATE identity SET station = ?", (odd,))
        database.execute("INSERT INTO run VALUES('r', 'p', 's', 'b', 'e', 'fail')")
        database.execute("INSERT INTO result VALUES(1, 'r', 'BOARD-17', 1, 'write', 'fail', 'is QV2006A00100', '', '', 't')")
        database.commit()
        database.close()
        self.assertEqual(run("export", "units")[1],
                         "unit,kind,value,station,since\n"
                         f'BOARD-17,serial,QV2006A00100,"a,""b""\\x1b",{rows("units")["units"][0]["identities"][0]["claimed_at"]}\n')
        for words in "find QV2006A00100", "units", "export units", "results", "export results", "pool":
            with self.subTest(words):
                shown = run(*words.split(), "--mask")[1] + run(*words.split(), "--mask", "--json")[1]
                self.assertNotIn("QV2006A0", shown)
                self.assertNotIn("BOARD-17", shown)
                self.assertNotIn("\x1b", shown)
        self.assertIn("is ********0100", run("results", "--mask")[1])
        for name in "runs", "results":
            self.assertEqual(len(rows(name)[name]), 1)
            jsonschema.validate(rows(name), {"$defs": SHAPES, **SHAPES[f"ledger-{name}"]})
        status, _, err = run("claim", "BOARD-18", "serial", "QV2006A00100")
        self.assertEqual(status, 3)
        self.assertRegex(err, r'^fcx: serial QV2006A00100 is that of BOARD-17, at a,"b"\\x1b, 20')

    def test_no_server(self):
        for user in "u:secret@/x", "u:secret/more@h/x", "u:top:secret@nowhere.invalid/x", "/x?password=secret&port=0":
            with self.subTest(user):
                # libpqxx 6 loses what it has of a connection that failed.
                status, _, err = run("units", FCX_LEDGER=f"postgresql://{user}", ASAN_OPTIONS="detect_leaks=0")
                self.assertEqual((status, "***" in err, "secret" in err, "more@" in err), (1, True, False, False), err)

    def test_files_of_numbers(self):
        numbers = self.work / "numbers.csv"
        numbers.write_text('"02:fc:0a:00:00:01",first\r\n\r\n02FC0A000002\n', encoding="utf-8")
        words = "pool", "add", "bt", "--file", str(numbers)
        self.assertEqual(run(*words)[0], 2)
        self.assertEqual(run(*words, "--kind", "bt_address")[0], 0)
        self.assertEqual(run("pool", "draw", "bt", "--count", "2")[1], "02FC0A000001\n02FC0A000002\n")
        numbers.write_text("02FC0A000003\nx\n", encoding="utf-8")
        status, _, err = run(*words)
        self.assertEqual((status, "value 2: bt_address \"x\"" in err), (2, True), err)
        numbers.write_text('02FC0A000003\n"02FC0A000004\n', encoding="utf-8")
        self.assertIn("numbers.csv:2: a field in quotes has no end", run(*words)[2])
        self.assertEqual(run(*words[:-1], str(self.work / "none"))[0], 1)


class Shared(Case):
    """A ledger on a server."""

    @classmethod
    def setUpClass(cls):
        cls.server = Server()

    @classmethod
    def tearDownClass(cls):
        cls.server.close()

    def setUp(self):
        super().setUp()
        self.where = self.fresh("line")

    def fresh(self, name):
        self.server.psql(f"DROP DATABASE IF EXISTS {name} WITH (FORCE)")
        self.server.psql(f"CREATE DATABASE {name}")
        os.environ["FCX_LEDGER"] = self.server.url(name)
        return os.environ["FCX_LEDGER"]

    def test_is_the_same_as_a_file(self):
        tests = shlex.split(os.environ["FCX_TESTS"])
        listed = subprocess.run([*tests, "--gtest_list_tests", "--gtest_filter=LedgerTest.*"], capture_output=True, text=True,
                                check=True).stdout.split()[1:]
        self.assertGreater(len(listed), 5)
        for name in listed:
            with self.subTest(name):
                done = subprocess.run([*tests, f"--gtest_filter=LedgerTest.{name}"], capture_output=True, text=True, check=False,
                                      env={**os.environ, "FCX_TEST_LEDGER": self.fresh("same")}, timeout=120)
                self.assertEqual(done.returncode, 0, done.stdout)

    def test_draws_10000_among_kills(self):
        def restart():
            for share in 1000, 4000, 7000:
                while int(self.server.psql("SELECT COUNT(*) FROM fcx_ledger.identity", "line")[0]) < share:
                    pass
                self.server.stop()
                self.server.start()

        failures = self.draw_among_kills(10_000, 8, 1.5, restart)
        self.assertEqual({each for each in failures if "conflict" in each or "not-to-be-seen" in each}, set())

    def test_claims_at_once(self):
        run("pool", "add", POOL, "S1", "1", "--kind", "serial")
        self.claim_at_once(4)

    def test_made_at_once(self):
        claims = [subprocess.Popen([*TOOL, "ledger", "claim", f"U{i}", "serial", f"S{i}"]) for i in range(6)]
        self.assertEqual([each.wait(60) for each in claims], [0] * 6)

    def test_server_gone_and_back(self):
        run("pool", "add", POOL, "S00001", "9", "--kind", "serial")
        child = subprocess.Popen([*STATION, self.where, "one", POOL, "serial"], text=True, stdin=subprocess.PIPE,
                                 stdout=subprocess.PIPE, env={**os.environ, "FCX_LEDGER_TIMEOUT": "1"})

        def told(unit):
            child.stdin.write(unit + "\n")
            child.stdin.flush()
            late = threading.Timer(30, child.kill)
            late.start()
            answer = child.stdout.readline().rstrip("\n").partition(" ")[2]
            late.cancel()
            return answer

        self.assertEqual(told("A"), "S00001")
        self.server.stop()
        self.server.start()
        self.assertEqual(told("B"), "S00002", "a server that was restarted in between is not noticed")
        self.server.stop()
        for answer in told("C"), run("units")[2]:
            self.assertRegex(answer, r"!?(fcx: )?the ledger postgresql://fcx:\*\*\*@/line.*: .*(refused|No such file)")
        self.server.start()
        self.assertEqual(told("C"), "S00003")
        self.server.pause(signal.SIGSTOP)
        late = told("D")
        self.server.pause(signal.SIGCONT)
        self.assertRegex(late, "^!the ledger ")
        self.assertEqual([told("D"), told("C"), told("E")], ["S00004", "S00003", "S00005"])
        child.communicate()

    def test_held_by_another(self):
        """What another station has begun is waited for, so long: it is neither passed over nor taken for done."""
        run("pool", "add", POOL, "S00001", "1", "--kind", "serial")
        run("claim", "A", "csn", "C1")
        for held, words in (("LOCK TABLE fcx_ledger.identity", "claim B csn C2"),
                            ("INSERT INTO fcx_ledger.identity VALUES('serial', 'S00002', 'A', 's', '')", f"pool add {POOL} S00002 1"),
                            ("SELECT 1 FROM fcx_ledger.unit WHERE key = 'A' FOR UPDATE", f"pool draw {POOL} --unit A"),
                            ("SELECT 1 FROM fcx_ledger.number FOR UPDATE", f"pool draw {POOL} --unit B"),
                            ("INSERT INTO fcx_ledger.identity VALUES('csn', 'C3', 'A', 's', '')", "claim B csn C3")):
            with self.subTest(held=held, words=words):
                holder = subprocess.Popen([self.server.programs / "psql", self.where, "-Atq"], stdin=subprocess.PIPE,
                                          stdout=subprocess.PIPE, text=True)
                holder.stdin.write(f"BEGIN; {held}; SELECT 'held';\n")
                holder.stdin.flush()
                while holder.stdout.readline() not in ("held\n", ""):
                    pass
                status, _, err = run(*words.split(), FCX_LEDGER_TIMEOUT="1")
                holder.communicate("ROLLBACK;\n")
                self.assertEqual((status, "timeout" in err), (1, True), err)
                self.assertEqual(run(*words.split())[0], 0)

    def test_foreign_and_newer(self):
        self.assertIn("there is no ledger", run("units")[2])
        self.server.psql("CREATE SCHEMA fcx_ledger; CREATE TABLE fcx_ledger.unit(key TEXT)", "line")
        self.assertIn("is no ledger, but something else", run("claim", "A", "serial", "S1")[2])
        self.fresh("line")
        self.assertEqual(run("claim", "A", "serial", "S1")[0], 0)
        self.server.psql("INSERT INTO fcx_ledger.version VALUES(99)", "line")
        self.assertIn("made by a newer fcx (ledger version 99", run("units")[2])
        wrong = self.where.replace("not-to-be-seen", "wrong-one")
        status, _, err = run("units", FCX_LEDGER=wrong)
        self.assertEqual((status, "password authentication failed" in err, "wrong-one" in err), (1, True, False), err)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
