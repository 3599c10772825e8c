"""A copy of the project below build/mutate: built once, then one source at a time is changed in it, and the tests that
execute the changed line are run."""

import concurrent.futures
import contextlib
import fcntl
import gzip
import hashlib
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from collections import Counter
from pathlib import Path

LIBRARY = "libfcx_common.so.0"
TARGET = "fcx_common"
# What the library's objects are compiled with on top of the preset's options: quickly, and as a test would notice a change.
QUICKLY = ["-O0", "-g0", "-w"]
COVERED = ["--coverage", "-fprofile-update=prefer-atomic"]
# Tests that look at something other than what the library does, by the beginning of their names.
NOT_RUN = {
    "abi": "looks at the interface that was built, not at what it does",
    "exports": "looks at names alone",
    "interfaces": "looks at the definitions alone",
    "package": "installs and builds a daemon",
    "own_names": "works in one folder, in which two would meet",
}
# Both sides of the link to the modem are made from it: the other side, and the tests, keep it as it was.
CONTRACTS = ("modem/link/requests.h", "modem/link/requests.def")
# What has no say in which test executes which line; nor have pages.
NOT_LOOKED_AT = ("scripts/", "tests/scripts/", ".ci/", "benchmarks/")
SLOW_S = 1.5  # a test that takes longer comes after all others
# What a test may take, so that a mutant that goes on for ever comes to an end.
BOUND_S, BOUND_TIMES = 8, 5
MEMORY_BYTES, FILE_BYTES = 8 << 30, 6 << 30


class Failed(Exception):
    """The copy cannot be used; the text says why."""


def _memory():
    """Where files are quickest: in memory where that can be had."""
    return "/dev/shm" if os.access("/dev/shm", os.W_OK) else tempfile.gettempdir()


class Test:
    def __init__(self, row):
        self.name = row["name"]
        self.command = row["command"]
        properties = {each["name"]: each["value"] for each in row.get("properties", [])}
        self.folder = properties.get("WORKING_DIRECTORY", ".")
        self.environment = dict(each.split("=", 1) for each in properties.get("ENVIRONMENT", []))
        self.seconds = 0.0
        self.lines = 0


class Processes:
    """Runs programs, each with its children as one group, and ends all of them when the work is given up."""

    def __init__(self):
        self._running, self._lock, self.is_over = set(), threading.Lock(), False

    def run(self, command, bound=None, **options):
        """The exit status; None when the bound was reached."""
        with self._lock:
            if self.is_over:
                raise KeyboardInterrupt
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL, start_new_session=True, **options)
            self._running.add(process)
        try:
            return process.wait(bound)
        except subprocess.TimeoutExpired:
            return None
        finally:
            self._end(process)
            # A test that was ended cannot remove its phone.
            for left in Path(_memory()).glob(f"fcx-test-{process.pid}*"):
                if re.fullmatch(rf"fcx-test-{process.pid}(-.*)?", left.name):
                    shutil.rmtree(left, ignore_errors=True)
            with self._lock:
                self._running.discard(process)

    @staticmethod
    def _end(process):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()

    def end_all(self):
        with self._lock:
            self.is_over = True
            running = list(self._running)
        for process in running:
            self._end(process)


class Coverage:
    """Which tests execute which line."""

    def __init__(self, lines, functions):
        self.lines, self.functions = lines, functions  # {path: {line: tests}}, {path: [(first, last)]}

    def tests(self, path, line, source):
        """Indexes of the tests that can see a change of a line; whether the line itself is known to be executed or not."""
        lines = self.lines.get(path, {})
        everywhere = set().union(*lines.values())
        around = [each for each in self.functions.get(path, ()) if each[0] <= line <= each[1]]
        if not around:
            return everywhere, False  # a constant, or a declaration
        first, last = max(around)
        near = [each for each in lines if first <= each <= last]
        if line in lines:
            found = set(lines[line])
        else:  # it belongs to a statement that begins before it, or goes on after it
            found = set().union(*(lines[each] for each in (max((n for n in near if n < line), default=None),
                                                          min((n for n in near if n > line), default=None)) if each))
        if found or not any("constexpr" in each for each in source.split("\n")[max(0, first - 3):first]):
            return found, True
        return everywhere, False  # the compiler may execute it


class Workshop:
    def __init__(self, root, jobs, say):
        self.root, self.jobs, self.say = Path(root), jobs, say
        self.folder = self.root / "build/mutate"
        self.tree = self.folder / "tree"
        self.build = self.tree / "build/host"
        self.processes = Processes()
        self.kills = Counter()
        self.folder.mkdir(parents=True, exist_ok=True)
        self._lock_file = open(self.folder / ".lock", "w")
        try:
            fcntl.flock(self._lock_file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            print("waiting for another run", file=sys.stderr)
            fcntl.flock(self._lock_file, fcntl.LOCK_EX)
        # Whatever a mutant does, it neither fills the memory nor the disk, and leaves no core. Tests may set limits, too.
        for what, limit in ((resource.RLIMIT_AS, MEMORY_BYTES), (resource.RLIMIT_FSIZE, FILE_BYTES), (resource.RLIMIT_CORE, 0)):
            hard = resource.getrlimit(what)[1]
            resource.setrlimit(what, (limit if hard == resource.RLIM_INFINITY else min(limit, hard), hard))
        self.work = Path(tempfile.mkdtemp(prefix="fcx-mutate-", dir=_memory()))

    def close(self):
        self.processes.end_all()
        shutil.rmtree(self.work, ignore_errors=True)

    # The copy.

    def copy(self):
        """Brings the copy in step with the sources, uncommitted ones too; what has not changed keeps its time."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=self.root,
                                capture_output=True, text=True)
        if listed.returncode != 0:
            raise Failed(listed.stderr.strip())
        wanted = {name for name in listed.stdout.split("\0") if name and (self.root / name).is_file()}
        for old in list(self.tree.rglob("*")):
            name = old.relative_to(self.tree).as_posix()
            if old.is_file() and not name.startswith("build/") and name not in wanted:
                old.unlink()
        digest = hashlib.sha256()
        for name in sorted(wanted):
            source, target = self.root / name, self.tree / name
            content = source.read_bytes()
            if not target.exists() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
            if not name.startswith(NOT_LOOKED_AT) and not name.endswith(".md"):
                digest.update(f"{name}\0{len(content)}\0".encode() + content)
        self.content = digest.hexdigest()

    def make(self):
        """Builds the copy: tests and tool as every day, the library's objects apart, twice."""
        environment = dict(os.environ)
        if shutil.which("ccache") and "CMAKE_CXX_COMPILER_LAUNCHER" not in environment:
            environment["CMAKE_CXX_COMPILER_LAUNCHER"] = "ccache"
        if subprocess.run([self.tree / "scripts/build", "host"], env=environment).returncode != 0:
            raise Failed("The copy does not build.")
        self.entries = self._entries()
        self._make_library()

    def _entries(self):
        """How each object is compiled, by its path below the build folder."""
        entries = {}
        for row in json.loads((self.build / "compile_commands.json").read_text()):
            words = shlex.split(row["command"])
            if Path(words[0]).name == "ccache":
                words = words[1:]
            at = words.index("-o")
            entries[words[at + 1]] = {"source": Path(row["file"]).relative_to(self.tree).as_posix()
                                      if Path(row["file"]).is_relative_to(self.tree) else row["file"],
                                      "before": words[:at], "after": words[at + 2:]}
        return entries

    def _ninja(self, *arguments, folder=None):
        done = subprocess.run(["ninja", "-C", folder or self.build, *arguments], capture_output=True, text=True)
        if done.returncode != 0:
            raise Failed(done.stdout[-4000:] + done.stderr[-4000:])
        return done.stdout

    def _linked_by(self, output):
        """The words of the command that links something."""
        for line in reversed(self._ninja("-t", "commands", output).splitlines()):
            words = shlex.split(line)
            if "-o" in words and words[words.index("-o") + 1] == output:
                return [word for word in words if word not in (":", "&&")]
        raise Failed(f"nothing links {output}")

    @staticmethod
    def _flat(source):
        return source.replace("/", "_") + ".o"

    def _make_library(self):
        inside = f"CMakeFiles/{TARGET}.dir/"
        self.sources = {entry["source"]: key for key, entry in self.entries.items() if key.startswith(inside)}
        output = os.readlink(self.build / LIBRARY)
        self.link = self._linked_by(output)
        self.link_output = output
        out = ["ninja_required_version = 1.5", "rule compile", "  command = $words -MMD -MF $out.d",
               "  depfile = $out.d", "  deps = gcc", "rule link", "  command = cd $folder && $words", ""]
        quote = lambda words: " ".join(shlex.quote(str(word)) for word in words).replace("$", "$$")
        for kind, extra in (("plain", []), ("covered", COVERED)):
            (self.folder / kind).mkdir(exist_ok=True)
            objects = {}
            for source, key in self.sources.items():
                target = self.folder / kind / self._flat(source)
                objects[key] = str(target)
                out += [f"build {target}: compile {self.tree / source}",
                        f"  words = {quote(self._compile(key, self.tree / source, target, [*QUICKLY, *extra]))}"]
            library = self.folder / kind / LIBRARY
            words = [objects.get(word, word) for word in self.link]
            words[words.index("-o") + 1] = str(library)
            out += [f"build {library}: link {' '.join(objects.values())} | {self.build / output}",
                    f"  words = {quote([*words, *extra])}", f"  folder = {self.build}"]
            if kind == "plain":
                self.objects = objects
        (self.folder / "build.ninja").write_text("\n".join(out) + "\n")
        self.say("Building the library")
        self._ninja(folder=self.folder)
        self.dependents = self._dependents()

    def _compile(self, key, source, target, extra, first=()):
        entry = self.entries[key]
        after = [str(source) if word == str(self.tree / entry["source"]) else word for word in entry["after"]]
        return [*entry["before"][:1], *first, *entry["before"][1:], "-o", str(target), *after[:-1], *extra, after[-1]]

    def _dependents(self):
        """The objects of the library that each file of the project goes into, and those of programs that have a copy of
        their own: (keys of objects, {program: keys})."""
        found, reached = {}, {}
        for folder in (self.folder, self.build):
            for block in self._ninja("-t", "deps", folder=folder).split("\n\n"):
                head, *names = [line.strip() for line in block.strip().splitlines()] or [""]
                reached[folder, head.split(":")[0]] = {
                    Path(os.path.normpath(self.build / name)).relative_to(self.tree).as_posix() for name in names
                    if Path(os.path.normpath(self.build / name)).is_relative_to(self.tree)}
        for source, key in self.sources.items():
            for name in {source, *reached.get((self.folder, self.objects[key]), ())}:
                found.setdefault(name, (set(), {}))[0].add(key)
        for program in self._programs():
            for key in (word for word in self._linked_by(program) if word in self.entries):
                for name in {self.entries[key]["source"], *reached.get((self.build, key), ())} & set(found):
                    if name not in CONTRACTS:
                        found[name][1].setdefault(program, set()).add(key)
        return found

    def _programs(self):
        """Programs that tests are, by their paths below the build folder."""
        programs = {Path(test.command[0]) for test in self.tests()}
        return sorted(program.relative_to(self.build).as_posix() for program in programs
                      if program.is_relative_to(self.build))

    def tests(self):
        if not hasattr(self, "_tests"):
            listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.build, check=True, capture_output=True, text=True)
            self._tests = [Test(row) for row in json.loads(listed.stdout)["tests"] if row.get("command")
                           and row["name"] not in NOT_RUN]
        return self._tests

    # Running.

    @contextlib.contextmanager
    def _temporary(self):
        folder = Path(tempfile.mkdtemp(dir=self.work))
        try:
            yield folder
        finally:
            shutil.rmtree(folder, ignore_errors=True)

    def run_test(self, test, library, programs=None, **environment):
        """Whether a test passes with the library in that folder: "passed", "failed" or "no end"."""
        with self._temporary() as temporary:
            command = [(programs or {}).get(test.command[0], test.command[0]), *test.command[1:]]
            # Others may be at work here, too.
            busy = max(1, os.getloadavg()[0] / (os.cpu_count() or 1))
            status = self.processes.run(
                command, busy * (BOUND_S + BOUND_TIMES * test.seconds) if test.seconds else 600, cwd=test.folder,
                env={**os.environ, **test.environment, "LD_LIBRARY_PATH": str(library), "TMPDIR": str(temporary),
                     **environment})
        return "passed" if status == 0 else "no end" if status is None else "failed"

    def look(self):
        """Runs each test once, and notes which lines of the library it executes. The names of those that fail."""
        stored = self.folder / "lines.json.gz"
        known = None
        if stored.exists():
            with contextlib.suppress(ValueError, OSError, EOFError):
                known = json.loads(gzip.decompress(stored.read_bytes()))
        if known is None or known["content"] != self.content:
            known = {"content": self.content, **self._looked()}
            partial = stored.with_suffix(".new")
            partial.write_bytes(gzip.compress(json.dumps(known).encode(), 1))
            partial.replace(stored)
        tests = {test.name: test for test in self.tests()}
        self.order = [tests[name] for name in known["tests"]]
        for test, seconds, lines in zip(self.order, known["seconds"], known["executed"]):
            test.seconds, test.lines = seconds, lines
        self.coverage = Coverage({path: {int(line): found for line, found in lines.items()}
                                  for path, lines in known["lines"].items()}, known["functions"])
        return known["failed"]

    def _looked(self):
        tests, done = self.tests(), 0
        self._counts = {}
        failed, executed, lines, functions = [], {}, {}, {}
        lock = threading.Lock()

        def one(test):
            nonlocal done
            with self._temporary() as notes:
                start = time.monotonic()
                outcome = self.run_test(test, self.folder / "covered", GCOV_PREFIX=str(notes), GCOV_PREFIX_STRIP="99")
                seconds = time.monotonic() - start
                found = self._executed(notes) if outcome == "passed" else {}
            with lock:
                done += 1
                self.say(f"Running each test once: {done} of {len(tests)}")
                test.seconds = seconds
                if outcome != "passed":
                    failed.append(test.name)
                executed[test.name] = found

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            list(pool.map(one, sorted(tests, key=lambda test: not test.name.startswith(("tool", "output", "power")))))
        tests = [test for test in tests if test.name not in failed]
        for i, test in enumerate(tests):
            for path, (counts, ranges) in executed[test.name].items():
                functions.setdefault(path, set()).update(ranges)
                for line, count in counts.items():
                    lines.setdefault(path, {}).setdefault(line, [])
                    if count:
                        lines[path][line].append(i)
        totals = [sum(bool(count) for counts, _ in executed[test.name].values() for count in counts.values()) for test in tests]
        return {"tests": [test.name for test in tests], "seconds": [test.seconds for test in tests], "executed": totals,
                "lines": lines, "functions": {path: sorted(each) for path, each in functions.items()},
                "failed": sorted(failed)}

    def _executed(self, notes):
        """What gcov tells: {path: ({line: count}, {(first line, last line) of a function})}."""
        files = {file: (file.name, file.read_bytes()) for file in sorted(notes.glob("*.gcda"))}
        # Most tests execute nothing of most files, or just what another one has: each content is looked at once.
        asked = [file for file, content in files.items() if content not in self._counts]
        for file in asked:
            name = file.with_suffix(".gcno").name
            (notes / name).symlink_to(self.folder / "covered" / name)
        done = subprocess.run(["gcov", "--json-format", "--stdout", *asked], cwd=notes, capture_output=True,
                              text=True).stdout if asked else ""
        for told in (json.loads(line) for line in done.splitlines() if line.startswith("{")):
            self._counts[files[notes / Path(told["data_file"]).name]] = [
                (path.relative_to(self.tree).as_posix(),
                 {each["line_number"]: each["count"] for each in file["lines"]},
                 {(each["start_line"], each["end_line"]) for each in file["functions"]})
                for file in told["files"] if (path := Path(file["file"])).is_relative_to(self.tree)]
        found = {}
        for content in files.values():
            for path, counts, ranges in self._counts.get(content, ()):
                lines, functions = found.setdefault(path, ({}, set()))
                for line, count in counts.items():
                    lines[line] = lines.get(line, 0) + count
                functions.update(ranges)
        return found

    # A mutant.

    def tests_for(self, mutant):
        """The tests that can see it, the likeliest first, and whether a test executes the line."""
        source = (self.tree / mutant.path).read_text()
        found, is_known = self.coverage.tests(mutant.path, mutant.line, source)
        if mutant.path.endswith((".h", ".def")) and not is_known:
            # What is made of it is executed wherever it is included.
            for key in self.dependents.get(mutant.path, ((), {}))[0]:
                lines = self.coverage.lines.get(self.entries[key]["source"], {})
                found = found.union(*lines.values())
        chosen = [self.order[i] for i in found]
        named = {test.name for test in chosen}
        chosen += [test for test in self._own_copies(mutant.path) if test.name not in named]
        return sorted(chosen, key=lambda test: (
            test.seconds > SLOW_S, -self.kills[mutant.path, test.name], test.lines * (test.seconds + 0.02)))

    def _own_copies(self, path):
        """Tests of a program that contains the file itself."""
        for program, keys in self.dependents.get(path, ((), {}))[1].items():
            ones = [test for test in self.order if test.command[0] == str(self.build / program)]
            headers = {path, str(Path(path).with_suffix(".h"))}
            texts = [(self.tree / entry["source"]).read_text() for key, entry in self.entries.items()
                     if entry["source"].startswith("tests/")]
            suites = {suite for text in texts if any(f'"{header}"' in text for header in headers)
                      for suite in re.findall(r"\bTEST(?:_[FP])?\((\w+)", text)}
            if any(self.entries[key]["source"].startswith("tests/") for key in keys) or len(ones) > 1:
                ones = [test for test in ones if test.name.split(".")[0] in suites]
            yield from ones

    def _make_mutant(self, mutant, folder):
        """Builds the library, and what has a copy of its own, with a mutant. Folder and programs; None when it does not
        compile, "same" when the compiler makes the same of it."""
        text = mutant.apply((self.tree / mutant.path).read_text())
        changed = folder / "changed" / mutant.path
        changed.parent.mkdir(parents=True)
        changed.write_text(text)
        keys, programs = self.dependents.get(mutant.path, (set(), {}))
        is_source = mutant.path in self.sources
        objects, is_same = {}, True
        for key in sorted(keys | {key for each in programs.values() for key in each}):
            target = folder / self._flat(key)
            source = changed if self.entries[key]["source"] == mutant.path else self.tree / self.entries[key]["source"]
            first = () if is_source else (f"-I{folder / 'changed'}",)
            extra = QUICKLY if key in self.objects else ["-w"]
            if self.processes.run(self._compile(key, source, target, extra, first), 300, cwd=self.build) != 0:
                return None
            objects[key] = str(target)
            if key in self.objects and target.read_bytes() != Path(self.objects[key]).read_bytes():
                is_same = False
        if is_same and not programs:
            return "same"
        words = [objects.get(word, self.objects.get(word, word)) for word in self.link]
        words[words.index("-o") + 1] = str(folder / LIBRARY)
        if self.processes.run(words, 300, cwd=self.build) != 0:
            return None
        made = {}
        for program in programs:
            words = [objects.get(word, word) for word in self._linked_by(program)]
            words[words.index("-o") + 1] = made[str(self.build / program)] = str(folder / Path(program).name)
            if self.processes.run(words, 300, cwd=self.build) != 0:
                return None
        return made

    def _is_same_optimised(self, mutant, folder):
        """Whether the optimiser makes the same of the changed source as of the one that was."""
        key = self.sources.get(mutant.path)
        if key is None:
            return False
        made = []
        for source in (self.tree / mutant.path, folder / "changed" / mutant.path):
            # In one place under one name, which goes into what is made.
            given, target = folder / "given.cpp", folder / "given.o"
            shutil.copy(source, given)
            if self.processes.run(self._compile(key, given, target, ["-g0", "-w", "-O2"]), 300, cwd=self.build) != 0:
                return False
            made.append(target.read_bytes())
        return made[0] == made[1]

    def try_mutant(self, mutant, speeds=("quick", "slow")):
        """(what became of it, the test that killed it, how many can see it). It is "killed", "no end", "survived",
        "slow ones left", "not executed", "same" or "not compiled"."""
        with self._temporary() as folder:
            made = self._make_mutant(mutant, folder)
            if made in (None, "same"):
                return "not compiled" if made is None else "same", None, 0
            tests = self.tests_for(mutant)
            slow = [test for test in tests if test.seconds > SLOW_S]
            run = [test for test in tests if ("slow" if test in slow else "quick") in speeds]
            for test in run:
                outcome = self.run_test(test, folder, made)
                if outcome != "passed":
                    self.kills[mutant.path, test.name] += 1
                    return "killed" if outcome == "failed" else "no end", test.name, len(tests)
            if "quick" in speeds and self._is_same_optimised(mutant, folder):
                return "same", None, len(tests)
            if slow and "slow" not in speeds:
                return "slow ones left", None, len(tests)
            return "survived" if tests else "not executed", None, len(tests)

    def confirms(self, name):
        """Whether a test passes with the library as it is."""
        test = next(test for test in self.order if test.name == name)
        return self.run_test(test, self.folder / "plain") == "passed"
