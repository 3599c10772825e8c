#!/usr/bin/env python3
"""What the tool says of itself and prints for programs: output_test.py CASE, with $FCX_TOOL the command that runs it."""

import fcntl
import json
import os
import pty
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TOOL = shlex.split(os.environ["FCX_TOOL"])
SHAPES = json.loads((ROOT / "docs/json.schema.json").read_text(encoding="utf-8"))["$defs"]

# How each command is run, in this order, on one phone: PNG, ZIP, ANY, NONE, BAD, PLAN, CSV, XML and OUT are files. One after "!" ends in an error.
RUNS = {
    "init": ["", "!", "--force --profile open"],
    "help": ["", "modem nv"],
    "demo": [""],
    "commands": ["4018", "handle_write_imei", "3201"],
    "send": ["4010", "4056", "set_teal_ime --hex 02", "get_teal_ime", "4999", "3170 fast", "!none", "!4018 a --hex 61"],
    "at": ["AT%BTAD?", "AT%NONE"],
    "prop list": ["", "ro.", "!none.such"],
    "prop get": ["ro.build.type", "!none.such"],
    "prop set": ["vendor.a 1"],
    "item list": ["", "--full", "imei"],
    "item get": ["9", "4000", "!none"],
    "item set": ["2 hex:03"],
    "modem": ["", "--full"],
    "modem set": ["idde hex:00ff"],
    "modem clear": ["idde"],
    "modem nv": ["453", "7 01", "7 failing", "7 none"],
    "sim insert": ["89490200001234567890 --imsi 262010123456789", "--any hex:00ff"],
    "sim delay": ["1"],
    "sim error": [""],
    "sim remove": [""],
    "sim": ["", "--full"],
    "ntcode get": [""],
    "ntcode set": ['"1","310,410,FFFFFFFF,FFFFFFFF,FF"'],
    "card insert": [""],
    "card": [""],
    "card remove": [""],
    "boot": ["", "--full", "--daemon"],
    "trace send": ["4010", "4293 490154203237518", "4402 --full", "4010 --compare ANY", "4999 --compare NONE", "!none", "!4010 --compare /none"],
    "trace at": ["AT%BTAD?"],
    "trace boot": ["", "--daemon"],
    "trace reboot": ["", "hand"],
    "explore send": ["4010", "4293 490154203237518 --all", "4293 490154203237518 --full --pairs", "4999", "!none", "!4010 --share 0"],
    "explore at": ["AT%BTAD?"],
    "explore boot": ["--share 5", "--daemon --profile blank --share 5 --seed 1"],
    "explore reboot": ["", "hand"],
    "explore commands": ["--share 1"],
    "version": [""],
    "reboot": ["", "hand"],
    "events": [""],
    "log": ["", "-n 3", "--priority W"],
    "logs list": [""],
    "logs collect": ["", "--to nvdump", "--to card"],
    "logs extract": ["ZIP OUT", "PNG OUT2"],
    "logs crash": ["", "--erase"],
    "logs touch": [""],
    "logs erase": [""],
    "screen": [""],
    "screen save": ["PNG"],
    "screen show": ["PNG"],
    "screen card": ["--size 30x20 --bits 32"],
    "capture": ["PNG", "--bw 9 PBM"],
    "usb connect": [""],
    "usb configure": [""],
    "usb": [""],
    "power": [""],
    "power-cut": ["", "torn"],
    "power off-with-cable": ["--pull-after 1"],
    "usb disconnect": [""],
    "fault item": ["9 fail --times 1"],
    "fault property": ["persist.a fail"],
    "fault file": ["/proc/meminfo fail EACCES"],
    "fault request": ["read_imei late 1"],
    "fault service": ["dmi absent"],
    "fault thread": ["reboot fail"],
    "fault command": ["4010 fail --times 1"],
    "serve": ["!", "!--tcp 0 --bind 192.0.2.1"],
    "simulate": ["--seed 1 --days 1", "!--seed x"],
    "station": ["--check PLAN", "!--check BAD", "!--check OUT", "PLAN", "PLAN --mask --junit XML --json-file OUT3", "!PLAN --units 9"],
    "ledger pool add": ["serials QV2006A00100 10 --kind serial", "!serials", "!new S1 1"],
    "ledger pool draw": ["serials --unit BOARD-17", "serials --count 2", "!none", "!serials --count 20"],
    "ledger pool list": ["serials --mask", "serials --state all", "!none", "!serials --state none"],
    "ledger pool return": ["serials QV2006A00101", "!serials QV2006A00999"],
    "ledger pool": [""],
    "ledger claim": ["BOARD-17 serial QV2006A00100", "BOARD-18 serial QV2006A00100", "!BOARD-18 hat x"],
    "ledger find": ["QV2006A00100", "BOARD-17 --mask", "!none"],
    "ledger units": ["", "!--ledger /none/ledger.db"],
    "ledger runs": [""],
    "ledger results": ["--unit BOARD-17"],
    "ledger export": ["units", "results --output CSV", "!none"],
    "status": ["", "--full"],
    "fault power": ["cut torn --after 9"],
    "fault daemon": ["dies --after 9"],
    "fault list": [""],
    "fault clear": ["1", ""],
}


def run(*words, **options):
    """What a command prints, and its exit status."""
    done = subprocess.run([*TOOL, *words], capture_output=True, text=True, check=False, **options)
    return done.returncode, done.stdout, done.stderr


def replies(*words):
    """(what follows, [(word, meaning)]) for the completion of the last of these words."""
    kind, *lines = run("completion", "reply", *words)[1].splitlines()
    return kind, [tuple(line.split("\t", 1)) for line in lines]


def verbs(before=()):
    """Every verb that the tool lists, as the words that are typed for it, and its help; groups too."""
    shown = run(*before, "--help")[1]
    if before:
        yield before, shown
    listed = re.search(r"\nSubcommands:\n((?:  .*\n)+)", shown)
    for name in re.findall(r"(?m)^  (\S+)", listed[1]) if listed else ():
        yield from verbs((*before, name))


def on_terminal(words, columns, **environment):
    """What a command prints on a terminal of so many columns."""
    end = b"\0"
    ours, its = pty.openpty()
    fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
    inherited = {name: value for name, value in os.environ.items() if name != "COLUMNS"}
    child = subprocess.Popen([*TOOL, *words], stdin=its, stdout=its, stderr=its,
                             env={**inherited, "TERM": "xterm", "NO_COLOR": "1", **environment})
    # A terminal that nobody holds any more may lose what is not read yet.
    threading.Thread(target=lambda: (child.wait(), os.write(its, end))).start()
    printed = b""
    while not printed.endswith(end):
        printed += os.read(ours, 65536)
    os.close(ours)
    os.close(its)
    return printed[:-1].decode().replace("\r\n", "\n")


class Case(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.work = Path(directory.name)
        os.environ.update({"HOME": str(self.work), "FCX_PHONE": str(self.work / "phone"), "LC_ALL": "C.UTF-8",
                           "FCX_LEDGER": str(self.work / "ledger.db")})


class Verbs(Case):
    """Each verb has help with an example, a line in completion and a place in the manual page."""

    def test_each(self):
        page = self.work / "fcx.1"
        page.write_text(run("completion", "man", env={**os.environ, "SOURCE_DATE_EPOCH": "0"})[1], encoding="utf-8")
        shown = subprocess.run(["mandoc", "-Tascii", "-Owidth=300", page], capture_output=True, text=True, check=True)
        text_of_page = re.sub(r".\x08", "", shown.stdout)
        found = list(verbs())
        self.assertGreater(len(found), 50)
        for words, text in found:
            typed = " ".join(("fcx", *words))
            with self.subTest(typed):
                meaning = dict(replies(*words)[1])[words[-1]]
                self.assertEqual(" ".join(text.partition("Usage:")[0].split()), meaning)
                self.assertRegex(text, r"\nExamples?:\n(  .*\n)*  fcx (\S+ )*" + words[-1])
                # A command line is not broken.
                long = [line for line in text.splitlines() if len(line) > 80 and not re.match(r"  fcx (\S+ )*\S+$", line)]
                self.assertEqual(long, [], "more than 80 columns")
                self.assertRegex(text_of_page, rf"(?m)^   {typed}$")
                options = {name for name, _ in replies(*words, "-")[1]}
                self.assertLessEqual({"--json", "--phone", "--wide", *re.findall(r"(?m)^  (?:-\w,)?(--[\w-]+)", text)},
                                     options)
        for heading in "NAME", "SYNOPSIS", "EXIT STATUS", "ENVIRONMENT", "EXAMPLES":
            self.assertIn(f"\n{heading}\n", text_of_page)
        self.assertRegex(text_of_page, r"1970.01.01")
        lint = subprocess.run(["mandoc", "-Tlint", page], capture_output=True, text=True, check=False)
        groff = subprocess.run(["groff", "-man", "-ww", "-z", page], capture_output=True, text=True, check=False)
        self.assertEqual((lint.stdout, groff.stderr), ("", ""))


class Schema(Case):
    """Each verb prints with --json what docs/json.schema.json says of it, and no verb is without a word there."""

    def test_each(self):
        from jsonschema import Draft202012Validator
        files = {name: str(self.work / name) for name in ("OUT", "OUT2", "OUT3", "CSV", "XML")}
        files |= {"PNG": str(self.work / "a.png"), "PBM": str(self.work / "a.pbm"),
                  "ZIP": str(self.work / "phone/root/data/vendor/factory/logsave.zip")}
        Path(files["PNG"]).touch()
        files["PLAN"] = str(ROOT / "examples/plans/write-and-verify.yaml")
        for name, pattern in ("ANY", "...\n"), ("NONE", "sleep 1 ms\n"), ("BAD", "plan: 1"):
            files[name] = str(self.work / name)
            Path(files[name]).write_text(pattern, encoding="utf-8")
        runs = {name: list(lines) for name, lines in RUNS.items()}
        for name, lines in runs.items():
            for line in lines:
                fails, line = line.startswith("!"), line.removeprefix("!")
                shape = SHAPES["error"] if fails else SHAPES.get(name.replace(" ", "-"), {"not": {}})
                validator = Draft202012Validator({"$defs": SHAPES, **shape})
                with self.subTest(f"{name} {line}"):
                    # The quotes of a network code are its own.
                    words = [files.get(word, word) for word in (line.split() if '"' in line else shlex.split(line))]
                    status, out, err = run(*name.split(), *words, "--json")
                    self.assertIn(status, (1, 2) if fails else (0, 3), err or out)
                    self.assertEqual(err, "")
                    self.assertEqual([error.message for error in validator.iter_errors(json.loads(out))], [])
        listed = {" ".join(words) for words, _ in verbs()}
        alone = {name for name in listed if name in RUNS or run(*name.split())[0] != 2 or run(*name.split(), "x")[0] != 2}
        self.assertEqual(alone, set(RUNS))
        self.assertEqual({f"fcx {name}" for name in alone},
                         {shape["title"] for shape in SHAPES.values() if "title" in shape})

    def test_page(self):
        made = subprocess.run([ROOT / "scripts/json-page"], capture_output=True, text=True, check=True).stdout
        self.assertEqual(made, (ROOT / "docs/json.md").read_text(encoding="utf-8"), "scripts/update-docs makes it anew")


class Terminal(Case):
    """Tables and help fit a terminal, and are whole elsewhere; colours come only on one that wants them."""

    def test_widths(self):
        run("init")
        run("fault", "file", "/größe/\u96fb\u8a71/" + "n" * 40, "fail")
        for words in ("commands",), ("item", "list"), ("modem",), ("usb",), ("fault", "list"), ("fault", "request", "--help"):
            whole = run(*words)[1]
            for columns in 40, 80, 100:
                with self.subTest(words=words, columns=columns):
                    lines = on_terminal(words, columns).splitlines()
                    wide = [line for line in lines if len(line) > columns and not line.startswith("  fcx ")]
                    self.assertEqual(wide, [])
                    self.assertEqual(on_terminal(words, 500, COLUMNS=str(columns)).splitlines(), lines)
            if "--help" not in words:
                self.assertEqual(on_terminal((*words, "--wide"), 40), whole)
                self.assertEqual(on_terminal(words, 500), whole)

    def test_columns_of_utf8(self):
        run("init")
        for path in "/a", "/größe", "/\u96fb\u8a71":  # two columns a character
            run("fault", "file", path, "late", "1")
        rows = run("fault", "list")[1].splitlines()
        places = [len(re.sub("[\u96fb\u8a71]", "xx", row[:re.search("any|ON", row).start()])) for row in rows]
        self.assertEqual(len(set(places)), 1, rows)
        table = on_terminal(("fault", "list"), 40)
        self.assertIn("größe", table)

    def test_broken_and_below(self):
        run("init")
        lines = on_terminal(("item", "list"), 80).splitlines()
        self.assertEqual(lines[2:5], ["2      factory_status         get/set_factory_    flag byte   2",
                                      " " * 30 + "status",
                                      "    factory status; 6 = device test started, 3 also removes the agree-factory"])
        self.assertIn("3200    get_teal_ime                  -             read the IME selection as\n" + " " * 52 + "one raw byte\n",
                      on_terminal(("commands",), 80))

    def test_colours(self):
        run("init")
        for environment, bold in (({"NO_COLOR": ""}, True), ({}, False), ({"NO_COLOR": "", "TERM": "dumb"}, False)):
            with self.subTest(environment):
                shown = [on_terminal(words, 80, **environment) for words in (("modem",), ("--help",), ("item", "get", "x"))]
                self.assertEqual([("\033[" in text) for text in shown], [bold] * 3)
        self.assertIn("\033[1mNAME", on_terminal(("modem",), 80, NO_COLOR=""))
        self.assertIn("\033[31mfcx:\033[0m no item", on_terminal(("item", "get", "xyz"), 80, NO_COLOR=""))
        self.assertNotIn("\033", on_terminal(("help", "modem", "--json"), 80, NO_COLOR=""))
        self.assertNotIn("\033", run("modem")[1] + run("item", "get", "x", env={**os.environ, "NO_COLOR": ""})[2])


# What is typed, what it can become (or a part of that), and what it cannot.
COMPLETIONS = [
    ("se", ["send"], ["sim"]),
    ("send get_ser", ["get_serial_number"], ["get_csn"]),
    ("trace bo", ["boot"], ["at"]),
    ("trace send get_ser", ["get_serial_number"], ["get_csn"]),
    ("trace send 4010 --compare pic", ["picture.png"], ["phone"]),
    ("explore bo", ["boot"], ["at"]),
    ("explore boot --profile m", ["mtk"], ["open"]),
    ("send 401", ["4010", "4018"], ["get_csn"]),
    ("send 4018 --he", ["--hex", "--help"], []),
    ("item get seri", ["serial_number"], []),
    ("item s", ["set"], ["serial_number"]),
    ("prop get vendor.mi", ["vendor.mine"], []),
    ("prop get ro.build.ty", ["ro.build.type"], []),
    ("init --profile ov", ["overlay"], ["open"]),
    ("init --profile=ov", ["overlay"], ["open"]),
    ("simulate --profile m", ["mtk"], ["open"]),
    ("fault request read_ime", ["read_imei", "read_imei3"], ["write_imei"]),
    ("fault request read_imei re", ["refuse"], ["absent"]),
    ("fault command get_ser", ["get_serial_number"], ["get_csn"]),
    ("fault thread reboot f", ["fail"], ["refuse"]),
    ("fault power cut t", ["torn"], ["dropped"]),
    ("power-cut ", ["dropped", "torn", "kept"], []),
    ("fault thread ca", ["cable_wait"], ["cable"]),
    ("fault service di", ["diag"], ["dmi"]),
    ("fault file /proc/mem fail --on syncd", ["syncdir"], ["sync"]),
    ("fault file /proc/memi", ["/proc/meminfo"], []),
    ("--json modem set ime", ["imei1"], ["idde"]),
    ("help modem c", ["clear"], ["commands"]),
    ("ledger claim A bt", ["bt_address"], ["imei"]),
    ("station --profile ov", ["overlay"], ["open"]),
    ("ledger pool list serials --state re", ["returned"], ["free"]),
    ("screen show pic", ["picture.png"], ["phone"]),
    ("--phone pho", ["phone"], ["picture.png"]),
]


class Shells(Case):
    """The shells complete a line with what the tool knows."""

    def setUp(self):
        super().setUp()
        run("init")
        run("prop", "set", "vendor.mine", "1")
        os.chdir(self.work)
        self.addCleanup(os.chdir, ROOT)
        Path("picture.png").touch()
        Path("fcx").write_text("#!/bin/sh\nexec " + shlex.join(TOOL) + ' "$@"\n', encoding="utf-8")
        Path("fcx").chmod(0o755)
        os.environ["PATH"] = f"{self.work}:{os.environ['PATH']}"
        for name in "bash", "zsh", "fish":
            Path(f"{'_fcx' if name == 'zsh' else 'fcx.' + name}").write_text(run("completion", name)[1], encoding="utf-8")

    def check(self, complete):
        for line, there, absent in COMPLETIONS:
            with self.subTest(line):
                printed = complete(line)
                words = {word.rstrip("/").rsplit("=", 1)[-1] for word in printed}
                self.assertLessEqual(set(there), words)
                self.assertFalse(words & set(absent), words)

    def output(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL, timeout=300)
        self.assertEqual(done.stderr, "")
        return done.stdout

    def test_bash(self):
        def complete(line):
            # As bash breaks it: the sign is a word.
            words = line.replace("=", " = ").split(" ")
            script = f"""source fcx.bash; compopt() {{ :; }}
                COMP_LINE='fcx {line}' COMP_WORDS=(fcx {shlex.join(words)}) COMP_CWORD={len(words)}
                _fcx; printf '%s\\n' "${{COMPREPLY[@]}}" """
            return self.output("bash", "--norc", "-c", script).split()
        self.check(complete)

    def test_fish(self):
        def complete(line):
            printed = self.output("fish", "--no-config", "-c", f"source fcx.fish; complete -C {shlex.quote('fcx ' + line)}")
            return [each.split("\t")[0] for each in printed.splitlines()]
        self.check(complete)

    def test_zsh(self):
        # What is handed to compadd, in a shell on a terminal of its own; a line is done when its file is there.
        Path("drive.zsh").write_text(r"""
            zmodload zsh/zpty
            zpty shell zsh -f -i
            zpty -w shell "fpath=($PWD \$fpath); autoload -Uz compinit; compinit -u -d $PWD/dump"
            zpty -w shell 'compadd() { local -a found; builtin compadd -O found "$@"; (( $#found )) && print -rl -- $found >>found; builtin compadd "$@" }'
            zpty -w shell 'typed() { zle complete-word; BUFFER=; : >done }; zle -N typed; bindkey "^I" typed; LISTMAX=-1'
            while IFS= read -r line; do
              rm -f found done
              zpty -n -w shell "fcx $line"$'\t'
              repeat 600 { zpty -r -t shell ignored; [[ -e done ]] && break; sleep 0.1 }
              print -r -- "line $line"
              [[ -e found ]] && cat found
            done
            zpty -d shell""", encoding="utf-8")
        done = subprocess.run(["zsh", "-f", "drive.zsh"], input="".join(f"{line}\n" for line, _, _ in COMPLETIONS),
                              capture_output=True, text=True, check=False, timeout=1200)
        found = {}
        for each in done.stdout.splitlines():
            if each.startswith("line "):
                words = found.setdefault(each[5:], [])
            else:
                words.append(each)
        self.check(lambda line: found[line])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
