#!/usr/bin/env python3
"""A served phone, as station software meets it: server_test.py CASE, with $FCX_TOOL the command that runs the tool."""

import fcntl
import json
import os
import random
import resource
import select
import shlex
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))
sys.dont_write_bytecode = True
import fcx_station as station  # noqa: E402

TOOL = shlex.split(os.environ["FCX_TOOL"])
CSN = 4018
CSN_ITEM = "csn"
HELLO = bytes.fromhex("0c000000 0100 0000 00000000 01000100")


def frame(kind, body=b"", tag=7, flags=0):
    return struct.pack("<IHHI", 8 + len(body), kind, flags, tag) + body


def command(opcode, data=b"", tag=7):
    return frame(2, struct.pack("<iI", opcode, len(data)) + data, tag)


def error(number, text, tag=7):
    return 0xffff, tag, struct.pack("<HH", number, 0) + text.encode()


class Raw(socket.socket):
    """A connection that says what a test wants."""

    def __init__(self, path, *sent):
        super().__init__(socket.AF_UNIX)
        self.settimeout(30)
        self.connect(path)
        for each in sent:
            self.sendall(each)

    def receive(self, count):
        got = b""
        while len(got) < count:
            piece = self.recv(count - len(got))
            if not piece:
                return got
            got += piece
        return got

    def answer(self):
        """(kind, tag, body), or None at the end."""
        header = self.receive(12)
        if not header:
            return None
        length, kind, _, tag = struct.unpack("<IHHI", header)
        return kind, tag, self.receive(length - 8)


def children(pid):
    return [int(each) for each in Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]


class Case(unittest.TestCase):
    def phone(self, *options, **how):
        phone = station.Phone(options=options, timeout=120, **how)
        self.addCleanup(phone.close)
        return phone

    def run_tool(self, phone, *words, status=0):
        done = subprocess.run([*TOOL, *words], capture_output=True, text=True, check=False, timeout=120,
                              env={**os.environ, "FCX_CLOCK": "fast", "FCX_PHONE": str(phone.directory)})
        self.assertEqual(done.returncode, status, done.stderr + done.stdout)
        return done.stdout, done.stderr

    def eventually(self, holds):
        until = time.monotonic() + 60
        while not holds():
            self.assertLess(time.monotonic(), until)
            time.sleep(0.01)


class Frames(Case):
    """What stands in docs/station-protocol.md, byte by byte."""

    def test_example(self):
        path = self.phone().served["socket"]
        client = Raw(path, HELLO, bytes.fromhex("10000000 0200 0000 07000000 aa0f0000 00000000"))
        kind, tag, body = client.answer()
        self.assertEqual((kind, tag, body[:4]), (0x8001, 0, b"\1\0\0\0"))
        self.assertEqual(sorted(json.loads(body[4:])), ["phone", "pid", "version"])
        self.assertEqual(client.receive(12), bytes.fromhex("14080000 0280 0000 07000000"))
        self.assertEqual(client.receive(2060), struct.pack("<iiI", 0, 12, 0) + b"QV2006A00123" + bytes(2036))

    def test_errors(self):
        path = self.phone().served["socket"]
        version = struct.pack("<HH", 2, 9)
        bad = "the frame's body makes no sense"
        cases = [
            # what is sent, what is answered, and whether the connection stays
            (command(4010), error(1, "the first frame is a hello"), False),
            (b"GET / HTTP/1.1\r\n\r\n", error(2, "a frame's length is 8 to 4096", 0x312f5054), False),
            (frame(1, version), error(3, "this server speaks version 1"), False),
            (HELLO + HELLO, error(1, "a hello comes once", 0), False),
            (HELLO + struct.pack("<IHHI", 4097, 2, 0, 9), error(2, "a frame's length is 8 to 4096", 9), False),
            (HELLO + struct.pack("<IHHI", 7, 2, 0, 9), error(2, "a frame's length is 8 to 4096", 9), False),
            (HELLO + frame(9, b"x" * 4088), error(11, "no such kind of frame"), True),
            (HELLO + frame(2, b"\0\0"), error(11, bad), True),
            (HELLO + frame(2, struct.pack("<iI", 4010, 9)), error(11, bad), True),
            (HELLO + frame(2, struct.pack("<iI", 4419, 2049) + bytes(2049)), error(11, bad), True),
            (HELLO + frame(3, b"\2\0AT"), error(11, bad), True),
            (HELLO + frame(4, b"\0\2\0\0"), error(11, bad), True),
        ]
        for sent, expected, stays in cases:
            with self.subTest(sent[:24].hex()), Raw(path, sent) as client:
                answer = client.answer()
                if answer[0] == 0x8001:
                    answer = client.answer()
                self.assertEqual(answer, expected)
                if stays:
                    client.sendall(command(4010, tag=1))
                self.assertEqual(client.answer() is not None, stays)

    def test_commands_in_a_row(self):
        """Answers come in the order of the requests, whatever pieces those arrive in."""
        path = self.phone().served["socket"]
        sent = HELLO + b"".join(command(CSN, str(tag % 7).encode() * (tag % 2), tag) for tag in range(50))
        with Raw(path) as client:
            threading.Thread(target=lambda: [client.sendall(sent[at:at + 11]) for at in range(0, len(sent), 11)]).start()
            client.answer()
            for tag in range(50):
                kind, answered, body = client.answer()
                data = struct.unpack_from("<ii", body)[1]
                text = b"" if tag % 2 else str((tag - 1) % 7).encode() if tag else b"006QVCS000456"
                self.assertEqual((kind, answered, body[12:12 + data]), (0x8002, tag, text))

    def test_token(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        token = Path(directory.name) / "token"
        token.write_text("s3cret\n", encoding="ascii")
        phone = self.phone("--tcp", "0", "--token-file", str(token))
        for address in phone.served["socket"], phone.served["tcp"]:
            for wrong in "", "s3cre", "s3creT", "s3cret1":
                with self.assertRaisesRegex(station.Refused, "asks for a token, and not for that one"):
                    station.Client(address, token=wrong)
            station.Client(address, token="s3cret").close()
        sent = ("send", "4010", "--connect", phone.served["tcp"])
        self.assertIn("asks for a token", self.run_tool(phone, *sent, status=1)[1])
        self.assertIn("QV2006A00123", self.run_tool(phone, *sent, "--token-file", str(token))[0])


class Connect(Case):
    """`fcx send`, `at` and `boot` print the same whether a server has the phone or they do."""

    def test_same_output(self):
        phone = self.phone(profile="open")
        lines = ["send 4010", "send 4018 123456789012345", "send 3170 fast", "send 4999", "send 4999 --raw", "send 4056",
                 "send 3201 --hex 02", "at AT%BTAD?;+CGSN", "at AT%FCX=3170,fast", "at AT%NONE", "at ATI"]
        for line in [*lines, *(each + " --json" for each in lines)]:
            with self.subTest(line):
                own = subprocess.run([*TOOL, "--phone", phone.directory, *line.split()], capture_output=True, text=True,
                                     check=False, env={**os.environ, "FCX_CLOCK": "fast"})
                out, err = self.run_tool(phone, *line.split(), "--connect", phone.served["socket"], status=own.returncode)
                self.assertEqual((out, err), (own.stdout, own.stderr))

    def test_boot(self):
        phone = self.phone("--tcp", "0", profile="open")
        text = self.run_tool(phone, "boot", "--connect", phone.served["tcp"])[0]
        self.assertRegex(text, r"(?m)^carrier +CR2 ")
        self.assertRegex(text, r"(?m)^SIM +inserted, ICCID \*+2349$")
        report = json.loads(self.run_tool(phone, "boot", "--full", "--json", "--connect", phone.served["socket"])[0])
        self.assertEqual((report["decision"]["carrier"], report["inputs"]["sim"]["iccid"]), ("CR2", "89449800000000012349"))
        events = [each["kind"] for each in phone.events() if each["kind"] == "restart"]
        self.run_tool(phone, "boot", "--daemon", "--connect", phone.served["socket"])
        self.assertEqual(len(events), 2)
        self.assertEqual([each["kind"] for each in phone.events() if each["kind"] == "restart"], events)

    def test_refused(self):
        phone = self.phone(serve=False)
        cases = [(("send", "4010", "--connect", "/none"), 1, "no server at /none: No such file or directory"),
                 (("send", "4010", "--connect", "127.0.0.1:1"), 1, "no server at 127.0.0.1:1: Connection refused"),
                 (("at", "AT", "--connect", "/none", "--token-file", "/none"), 1, "/none cannot be read"),
                 (("send", "4010", "--connect", "/none", "--phone", "x"), 2, "give --phone or --connect"),
                 (("boot", "--real-time", "--connect", "/none"), 2, "a server has its own clock"),
                 (("serve",), 2, "say where it listens"),
                 (("serve", "--tcp", "65536"), 2, "a port is at most 65535"),
                 (("serve", "--limit", "0", "--tcp", "0"), 2, "a limit is 1 to 86400 seconds"),
                 *((("serve", "--tcp", "0", "--bind", host), 1, "asks for a token: none is given")
                   for host in ("0.0.0.0", "126.255.0.1", "192.0.2.7", "::", "fe80::1")),
                 (("serve", "--tcp", "0", "--bind", "nowhere"), 1, '"nowhere" is no IP address'),
                 (("serve", "--socket", "/proc/none/x"), 1, "/proc/none/x: no such file or directory"),
                 (("serve", "--socket", "/" + "x" * 108), 1, "a socket's path has at most 107 characters"),
                 (("serve", "--socket", str(phone.directory)), 1, "is there, and no socket: left alone"),
                 (("serve", "--pty", str(phone.directory)), 1, "is there, and no link: left alone"),
                 (("serve", "--tcp", "0", "--phone", "/none"), 1, "no phone in /none")]
        for words, status, text in cases:
            with self.subTest(words):
                self.assertIn(text, self.run_tool(phone, *words, status=status)[1])


    def test_no_server_of_a_phone(self):
        phone = self.phone(serve=False)
        path = str(phone.directory.with_name("other"))
        hello = frame(0x8001, struct.pack("<HH", 1, 0) + b"{}", 1)
        done = bytes(2060)
        cases = [(b"", "the server has closed the connection"),
                 (b"HTTP/1.1 200 OK\r\n", "what the server says is no frame"),
                 (frame(0x8001, b"", 1), "the server's answer makes no sense"),
                 (hello + frame(0x8002, done, 1), "the server has answered something else than was asked"),
                 (hello + frame(0x8003, done, 2), "the server has answered something else than was asked"),
                 (hello + frame(0x8002, done[1:], 2), "the server's answer makes no sense"),
                 (hello + frame(0x8002, done, 2), "the server's details make no sense")]
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(path)
            listener.listen()
            for said, text in cases:
                with self.subTest(text):
                    told = []
                    tool = threading.Thread(target=lambda told=told: told.append(
                        self.run_tool(phone, "send", "4010", "--connect", path, status=1)[1]))
                    tool.start()
                    with listener.accept()[0] as client:
                        client.sendall(said)
                        client.shutdown(socket.SHUT_WR)
                        tool.join()
                    self.assertIn(text, "".join(told))


class Uptime(Case):
    """The library runs in a fresh process with each uptime; clients stay, and are told what became of a command."""

    def worker(self, phone):
        """The process of this uptime, or None between two of them."""
        return next(iter(children(phone.served["pid"])), None)

    def test_reboot(self):
        phone = self.phone(clock="real")
        client, before = phone.client, self.worker(phone)
        self.assertEqual(client.command(4004, b"1").result, 0, "the answer comes before the reboot")
        self.assertEqual(client.command(4010).text, "QV2006A00123", "until then it goes on")
        self.eventually(lambda: self.worker(phone) not in (before, None))
        client.wait_until_ready()
        self.assertEqual(client.command(4010).text, "QV2006A00123")
        self.assertEqual([each["detail"] for each in phone.events() if each["kind"] == "reboot"], ["restart, reason fcx"])
        self.assertIn("I Fcx: [QVE][SBP] qve_single_binary_init", [line.rstrip() for line in phone.log()],
                      "the daemon has started")

    def test_another_restarts_it(self):
        phone = self.phone()
        for change in ("reboot",), ("power-cut",), ("init", "--force", "--profile", "open"):
            with self.subTest(change):
                before = self.worker(phone)
                phone.tool(*change)
                with self.assertRaisesRegex(station.Restarting, "the phone starts; nothing was done"):
                    phone.client.command(CSN, b"x")
                phone.client.wait_until_ready()
                self.assertNotEqual(self.worker(phone), before)
                self.assertNotEqual(phone.client.command(CSN).text, "x")

    def test_interrupted(self):
        """A command that was begun may have been done; what waits behind it was not."""
        phone = self.phone()
        cases = ["daemon dies --after 1", "power cut --after 1"]
        for fault in cases:
            with self.subTest(fault):
                first, second = phone.client, station.Client(phone.served["socket"], timeout=60)
                phone.fault(fault)
                with self.assertRaisesRegex(station.Interrupted, "has ended before the answer"):
                    first.command(CSN, b"a")
                first.wait_until_ready()
                self.assertEqual(first.command(CSN).text, "a", "it was done, and its answer was not")
                second.command(4010)
                second.close()

    def test_requests_ahead(self):
        """Those that are there when the phone goes are answered, too, and one process takes the place of the other."""
        phone = self.phone()
        phone.fault("power cut --after 1")
        client = Raw(phone.served["socket"], HELLO + command(CSN, b"a") + command(4010) * 50)
        client.answer()
        self.assertEqual([client.answer()[2][0] for _ in range(51)], [6] + [5] * 50)
        client.close()
        phone.client.wait_until_ready()
        self.assertEqual(len(children(phone.served["pid"])), 1)

    def test_while_it_starts(self):
        phone = self.phone(clock="real")
        phone.fault("item", "suffix", "late", 3000, on="read", times=1)
        with station.Client(phone.served["socket"], timeout=60) as other:
            start = threading.Thread(target=other.start)
            start.start()
            self.eventually(lambda: not phone.faults())
            with self.assertRaisesRegex(station.Restarting, "the phone starts; nothing was done"):
                phone.client.command(4010)
            self.assertTrue(start.is_alive(), "it was told at once")
            start.join()
        self.assertEqual(phone.client.command(4010).result, 0)

    def test_that_does_not_come_up(self):
        phone = self.phone()
        phone.fault("daemon dies --times 1000")

        def strikes():
            return 1000 - phone.faults()[0]["remaining"]
        with self.assertRaises(station.Interrupted):
            phone.client.command(CSN, b"a")
        for times in 4, 7:
            self.eventually(lambda times=times: strikes() == times)
            time.sleep(0.5)
            self.assertEqual(strikes(), times, "it rests until somebody asks")
            with self.assertRaisesRegex(station.Unusable, "has ended 3 times in a row while it started"):
                phone.client.command(4010)
        self.eventually(lambda: strikes() == 10)
        time.sleep(0.5)
        phone.clear_faults()
        with self.assertRaises(station.Unusable):
            phone.client.command(4010)
        phone.client.wait_until_ready()
        self.assertEqual(phone.client.command(CSN).text, "a")

    def test_limit_is_each_command_s(self):
        phone = self.phone("--limit", "4", clock="real")
        phone.fault("item", CSN_ITEM, "late", 2400, on="read", times=2)
        clients = [Raw(phone.served["socket"], HELLO, command(CSN)) for _ in range(2)]
        for each in clients:
            self.assertEqual((each.answer()[0], each.answer()[0]), (0x8001, 0x8002))
            each.close()

    def test_killed_server(self):
        """Its worker goes along, whatever that is doing."""
        phone = self.phone(clock="real")
        phone.fault("item", CSN_ITEM, "late", 600_000, on="read", times=1)
        client, worker = Raw(phone.served["socket"], HELLO, command(CSN)), self.worker(phone)
        self.eventually(lambda: not phone.faults())
        os.kill(phone.served["pid"], signal.SIGKILL)
        self.eventually(lambda: not os.path.exists(f"/proc/{worker}"))
        client.close()

    def test_what_waits_was_not_begun(self):
        phone = self.phone("--limit", "1", clock="real")
        phone.fault("item", CSN_ITEM, "late", 60_000, on="write", times=1)
        told = []

        def write(text):
            with station.Client(phone.served["socket"], timeout=60) as client:
                try:
                    told.append((text, client.command(CSN, text).result))
                except station.FcxError as failed:
                    told.append((text, type(failed)))
        first = threading.Thread(target=write, args=("a",))
        first.start()
        self.eventually(lambda: not phone.faults())
        others = [threading.Thread(target=write, args=(text,)) for text in "bcd"]
        for each in others:
            each.start()
        for each in [first, *others]:
            each.join()
        self.assertEqual(sorted(told, key=str), sorted([("a", station.OutOfTime), *((x, station.Restarting) for x in "bcd")],
                                                       key=str))
        phone.client.wait_until_ready()
        self.assertEqual(phone.client.command(CSN).text, "006QVCS000456")

    def test_switched_off(self):
        phone = self.phone()
        phone.tool("card", "insert")
        self.assertEqual(phone.client.command(4002, b"5").result, 0)

        def is_off():
            try:
                phone.client.command(4010)
            except station.Interrupted:
                pass  # by the end of the uptime
            except station.SwitchedOff:
                return True
            return False
        self.eventually(is_off)
        for _ in range(2):
            with self.assertRaisesRegex(station.SwitchedOff, "a start switches it on"):
                phone.client.command(4010)
            phone.client.start()
            self.assertEqual(phone.client.command(4010).result, 0)
            phone.tool("send", "4002", "5")  # by another

    def test_phone_that_goes(self):
        phone = self.phone()
        phone.client.command(4010)
        moved = phone.directory.with_name("moved")
        phone.directory.rename(moved)
        for _ in range(2):
            with self.assertRaises((station.Restarting, station.Unusable)):
                phone.client.command(4010)
        with self.assertRaisesRegex(station.Unusable, "no phone in"):
            phone.client.command(4010)
        moved.rename(phone.directory)
        self.assertEqual(phone.client.command(4010).text, "QV2006A00123")

    def test_end(self):
        """SIGTERM lets the command in hand come to its end, and tells the others."""
        phone = self.phone(clock="real")
        client = phone.client
        phone.fault("item", CSN_ITEM, "late", 3000, on="write", times=1)
        told = {}

        def write(text):
            with station.Client(phone.served["socket"], timeout=60) as other:
                try:
                    told[text] = other.command(CSN, text).result
                except station.FcxError as failed:
                    told[text] = type(failed)
        first = threading.Thread(target=write, args=("a",))
        first.start()
        self.eventually(lambda: not phone.faults())
        # More than are with the worker at once.
        others = [threading.Thread(target=write, args=(text,)) for text in "bcdefghijkl"]
        for each in others:
            each.start()
        time.sleep(1)
        os.kill(phone.served["pid"], signal.SIGTERM)
        for each in [first, *others]:
            each.join()
        self.assertEqual(told, {"a": 0, **dict.fromkeys("bcdefghijkl", station.Ending)})
        with self.assertRaises(station.FcxError):
            client.command(4010)
        for name in "socket", "at_socket", "link":
            self.eventually(lambda name=name: not os.path.lexists(phone.served[name]))

    def test_second_signal(self):
        phone = self.phone(clock="real")
        phone.fault("item", CSN_ITEM, "late", 600_000, on="read", times=1)
        client = Raw(phone.served["socket"], HELLO, command(CSN))
        self.eventually(lambda: not phone.faults())
        for _ in range(2):
            self.assertIsNone(os.waitid(os.P_PID, phone.served["pid"], os.WEXITED | os.WNOHANG | os.WNOWAIT))
            os.kill(phone.served["pid"], signal.SIGTERM)
            time.sleep(0.5)  # the command in hand stays so
        self.eventually(lambda: os.waitid(os.P_PID, phone.served["pid"], os.WEXITED | os.WNOHANG | os.WNOWAIT))
        client.close()

    def test_durable(self):
        """What was answered outlives a power cut that comes right after it, and a killed server."""
        phone = self.phone()
        client = phone.client
        for text, ends in ("1", lambda: phone.tool("power-cut")), ("2", lambda: os.kill(phone.served["pid"], signal.SIGKILL)):
            client.wait_until_ready()
            client.command(CSN, text)
            client.command(4419, text * 9)
            client.command(4056)
            before = phone.tool("prop", "list")["properties"]
            ends()
            self.assertEqual((phone.item("csn"), phone.tool("power")["unflushed"]), (text, []))
            self.assertIn("rpc_threadpool", [each["kind"] for each in phone.events()][-2:])
            kept = {name: value for name, value in before.items() if name.startswith("persist.")}
            now = phone.tool("prop", "list")["properties"]
            self.assertEqual({name: now.get(name) for name in kept}, kept)


class Clients(Case):
    """No client harms another."""

    def test_many(self):
        phone = self.phone()
        _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(4096, most), most))
        self.assertEqual(phone.client.command(4010).result, 0)
        raw = [Raw(phone.served["socket"]) for _ in range(1999)]
        with Raw(phone.served["socket"]) as too_many:
            self.assertEqual(too_many.answer(), error(4, "too many are connected", 0))
        for each in raw[:500]:
            each.sendall(HELLO + command(4010))
        for each in raw[500:750]:
            each.sendall(HELLO[:9])
        self.assertEqual(phone.client.command(4010).result, 0)
        for each in raw[:500]:
            self.assertEqual(each.answer()[0], 0x8001)
            self.assertEqual(each.answer()[0], 0x8002)
        for each in raw:
            each.close()
        files = Path(f"/proc/{phone.served['pid']}/fd")
        self.eventually(lambda: len(list(files.iterdir())) < 40)
        self.assertEqual(phone.client.command(4010).result, 0)

    def test_one_that_reads_nothing(self):
        phone = self.phone()
        with Raw(phone.served["socket"], HELLO) as deaf:
            deaf.setblocking(False)
            sent, most, request = 0, 1_000_000, command(4010) * 100
            while sent < most and select.select([], [deaf], [], 1)[1]:
                sent += deaf.send(request)
                self.assertEqual(phone.client.command(4010).result, 0)
            self.assertLess(sent, most, "it is asked for no more")
            self.assertEqual(phone.client.command(4010).result, 0)

    def test_ones_that_vanish(self):
        """With a command under way, in the middle of a frame, and without a word."""
        phone = self.phone()
        for sent in b"", HELLO, HELLO + command(CSN, b"x")[:13], HELLO + command(4010) * 20, b"\xff" * 70000:
            for _ in range(20):
                client = Raw(phone.served["socket"])
                try:
                    client.sendall(sent)
                except OSError:
                    pass  # it has been told why already
                client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                client.close()
            self.assertEqual(phone.client.command(4010).text, "QV2006A00123")

    def test_one_that_goes_on_sending(self):
        """It finds why it has to go, although the server had stopped reading."""
        client = Raw(self.phone().served["socket"], HELLO + command(4010) + b"\xff" * 300_000)
        self.assertEqual([client.answer()[0] for _ in range(3)], [0x8001, 0x8002, 0xffff])
        self.assertIsNone(client.answer())
        client.close()

    def test_one_that_waits_no_more(self):
        """What it has asked for is not done when its turn comes after it has gone."""
        phone = self.phone(clock="real")
        phone.fault("item", CSN_ITEM, "late", 3000, on="write", times=1)
        first = Raw(phone.served["socket"], HELLO, command(CSN, b"a"))
        self.eventually(lambda: not phone.faults())
        # As many as are with the worker at once.
        others = [first, *(Raw(phone.served["socket"], HELLO, command(4010)) for _ in range(7))]
        gone = Raw(phone.served["socket"], HELLO, command(CSN, b"gone"))
        for each in [gone, *others]:
            each.answer()
        gone.close()
        for each in others:
            self.assertEqual(each.answer()[0], 0x8002)
            each.close()
        self.assertEqual(phone.client.command(CSN).text, "a")

    def test_too_slow(self):
        phone = self.phone()
        silent, slow = Raw(phone.served["socket"]), Raw(phone.served["socket"], HELLO, command(4010)[:9])
        idle = phone.client
        slow.answer()
        self.assertEqual(silent.answer(), error(1, "a hello did not come in time", 0))
        self.assertEqual(slow.answer(), error(1, "the rest of a frame did not come in time", 0))
        self.assertEqual((silent.answer(), slow.answer()), (None, None))
        self.assertEqual(idle.command(4010).result, 0, "who says nothing between frames may stay")

    def test_second_server(self):
        phone = self.phone()
        _, err = self.run_tool(phone, "serve", "--socket", phone.served["socket"], status=1)
        self.assertIn("another server listens there", err)
        os.kill(phone.served["pid"], signal.SIGKILL)
        other = subprocess.Popen([*TOOL, "--phone", phone.directory, "serve", "--socket", phone.served["socket"]],
                                 stdout=subprocess.PIPE, text=True)
        self.addCleanup(other.stdout.close)
        self.addCleanup(other.wait)
        self.addCleanup(other.terminate)
        self.assertTrue(json.loads(other.stdout.readline())["ready"], "what a killed one has left is replaced")
        self.assertEqual(os.stat(phone.served["socket"]).st_mode & 0o777, 0o600)
        self.assertEqual(phone.client.command(4010).result, 0)


    def test_file_that_is_another_s_now(self):
        phone = self.phone()
        os.unlink(phone.served["socket"])
        with socket.socket(socket.AF_UNIX) as other:
            other.bind(phone.served["socket"])
            os.unlink(phone.served["link"])
            os.symlink("other", phone.served["link"])
            os.kill(phone.served["pid"], signal.SIGTERM)
            self.eventually(lambda: not os.path.lexists(phone.served["at_socket"]))
            self.assertTrue(os.path.exists(phone.served["socket"]))
            self.assertEqual(os.readlink(phone.served["link"]), "other")


class Serial(Case):
    """The line, as programs on it see it."""

    def setUp(self):
        self.served = self.phone("--at-tcp", "0")

    def said(self, fd, sent, ends=b"OK\r\n"):
        """What comes back up to an end."""
        os.write(fd, sent)
        got = b""
        while not got.endswith((ends, b"ERROR\r\n")):
            self.assertTrue(select.select([fd], [], [], 60)[0], got)
            got += os.read(fd, 4096)
        return got

    def test_characters(self):
        lines = [(b"AT\r", b"AT\r\r\nOK\r\n"),
                 (b"AT+CGSN\r\n", b"AT+CGSN\r\r\n490154203237518\r\n\r\nOK\r\n"),
                 (b"\x1b\rAT+X\x1bAT%BTAD?;%WLAD?\r",
                  b"\rAT+XAT%BTAD?;%WLAD?\r\r\n02FC0A123456\r\n02FC0A123457\r\n\r\nOK\r\n"),
                 (b"ATE0\r", b"ATE0\r\r\nOK\r\n"),
                 (b"AT+CMEE=1;+CMEE?\r", b"\r\n+CMEE: 1\r\n\r\nOK\r\n"),
                 (b"nonsense\r", b"\r\nERROR\r\n"),
                 (b"AT" + b"x" * 2047 + b"\r", b"\r\nERROR\r\n"),
                 (b"AT+CMEE?\r", b"\r\n+CMEE: 1\r\n\r\nOK\r\n")]
        own = socket.create_connection(self.served.served["at_tcp"].split(":"))
        file = socket.socket(socket.AF_UNIX)
        file.connect(self.served.at_socket)
        tty = os.open(self.served.pty, os.O_RDWR | os.O_NOCTTY)
        for fd in own.fileno(), file.fileno(), tty:
            for sent, expected in lines:
                self.assertEqual(self.said(fd, sent), expected)
        os.write(tty, b"AT\rATE1\rATI")
        self.assertEqual(self.said(tty, b"\r", b"518\r\n\r\nOK\r\n")[:18], b"\r\nOK\r\n\r\nOK\r\nATI\r\r\n",
                         "what comes meanwhile is answered in its turn")
        os.close(tty)
        own.close()
        file.close()

    def test_half_a_line(self):
        """It goes with who has sent it, although another has the terminal open."""
        other = os.open(self.served.pty, os.O_RDWR | os.O_NOCTTY)
        # Nothing shows when the server has seen it.
        for pause in 0.2, 1, 5:
            one = os.open(self.served.pty, os.O_RDWR | os.O_NOCTTY)
            self.assertEqual(self.said(one, b"AT+X", b"AT+X"), b"AT+X")
            os.close(one)
            time.sleep(pause)
            answer = self.said(other, b"AT\r")
            if b"OK" in answer:
                break
        self.assertEqual(answer, b"AT\r\r\nOK\r\n")
        os.close(other)

    def test_one_client_after_another(self):
        pty = self.served.pty
        for number in range(8):
            tty = os.open(pty, os.O_RDWR | os.O_NOCTTY)
            fcntl.ioctl(tty, termios.TIOCEXCL)
            settings = termios.tcgetattr(tty)
            self.assertEqual((settings[0], settings[1] & termios.OPOST, settings[3] & termios.ECHO), (0, 0, 0), "raw")
            self.assertEqual(self.said(tty, b"AT\r"), b"AT\r\r\nOK\r\n", number)
            settings[3] |= termios.ECHO | termios.ICANON
            termios.tcsetattr(tty, termios.TCSANOW, settings)
            # Half a line, an echo that is off, and answers that nobody reads.
            os.write(tty, b"\rATE0\rATI\rATI\rAT+CG")
            os.close(tty)
            if number == 0:
                self.eventually(lambda: self.is_open_to_others(pty))
            time.sleep(0.5)
        # While one is there another may look in.
        tty = os.open(pty, os.O_RDWR | os.O_NOCTTY)
        os.write(tty, b"ATE0\r")
        self.said(tty, b"")
        os.close(os.open(pty, os.O_RDWR | os.O_NOCTTY))
        time.sleep(0.05)
        self.assertEqual(self.said(tty, b"AT\r"), b"\r\nOK\r\n", "it is still the same client's")
        os.close(tty)

    def is_open_to_others(self, pty):
        """As for somebody who is not root: whom the flag keeps out."""
        script = f"import os; os.setuid(65534) if os.getuid() == 0 else 0; os.open({pty!r}, os.O_RDWR | os.O_NOCTTY)"
        os.chmod(pty, 0o666)
        return subprocess.run([sys.executable, "-c", script], stderr=subprocess.DEVNULL, check=False).returncode == 0

    def test_reader_that_stops(self):
        tty = os.open(self.served.pty, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        sent = 0
        try:
            while sent < 10_000_000:
                sent += os.write(tty, b"ATI\r" * 100)
                self.assertEqual(self.served.client.command(4010).result, 0)
        except BlockingIOError:
            pass
        self.assertLess(sent, 1_000_000)
        self.assertEqual(self.served.client.command(4010).result, 0)
        os.close(tty)

    def test_programs(self):
        """pyserial and gammu, as a user who is not root, twice in a row."""
        as_user = ["setpriv", "--reuid=nobody", "--clear-groups"] if os.getuid() == 0 else []
        place = Path(self.served.pty).resolve()
        os.chmod(place, 0o666)
        configuration = self.served.directory.with_name("gammurc")
        configuration.write_text(f"[gammu]\ndevice={place}\nconnection=at115200\n", encoding="ascii")
        self.served.directory.parent.chmod(0o755)
        for _ in range(2):
            done = subprocess.run([*as_user, "gammu", "-c", configuration, "identify"], capture_output=True, text=True,
                                  check=False, timeout=120)
            self.assertRegex(done.stdout, r"IMEI +: 490154203237518\n", done.stdout + done.stderr)
        script = ("import serial, sys\n"
                  "for address in sys.argv[1:]:\n"
                  "  with serial.serial_for_url(address, timeout=60, **({} if ':' in address else {'exclusive': True})) as line:\n"
                  "    line.write(b'AT+CGSN\\r')\n"
                  "    print(line.read_until(b'OK\\r\\n'))\n")
        addresses = [str(place), str(place), "socket://" + self.served.served["at_tcp"]]
        for _ in range(2):
            done = subprocess.run([*as_user, "/usr/bin/python3", "-c", script, *addresses], capture_output=True, text=True,
                                  check=False, timeout=120)
            self.assertEqual(done.stdout, "b'AT+CGSN\\r\\r\\n490154203237518\\r\\n\\r\\nOK\\r\\n'\n" * 3, done.stderr)


class Endurance(Case):
    """Eight clients of which one after another is killed; a server that is killed again and again."""

    SECONDS = int(os.environ.get("FCX_ENDURANCE_SECONDS", "60"))
    KILLS = int(os.environ.get("FCX_ENDURANCE_KILLS", "200"))

    CLIENT = """
import sys
sys.path.insert(0, sys.argv[1])
import fcx_station
client = fcx_station.Client(sys.argv[2])
while True:
    assert client.command(4010).text == "QV2006A00123"
    assert client.at("AT%BTAD?").lines == ["02FC0A123456"]
    client.command(4018, sys.argv[3] * 15)
    print(end=".", flush=True)
"""

    def client(self, phone, name):
        return subprocess.Popen([sys.executable, "-I", "-c", self.CLIENT, str(ROOT / "python"), phone.served["socket"], name],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def test_clients_that_are_killed(self):
        phone = self.phone()
        chance = random.Random(7)
        clients = [self.client(phone, str(number)) for number in range(8)]
        files = Path(f"/proc/{phone.served['pid']}/fd")
        until = time.monotonic() + self.SECONDS
        killed = 0
        while time.monotonic() < until:
            time.sleep(chance.uniform(0, 0.5))
            place = chance.randrange(8)
            victim = clients[place]
            victim.kill()
            out, err = victim.communicate()
            self.assertEqual((err, victim.returncode), (b"", -signal.SIGKILL), "nothing but a kill ends it")
            killed += bool(out)
            clients[place] = self.client(phone, str(place))
            self.assertLess(len(list(files.iterdir())), 60)
        for each in clients:
            self.assertIsNone(each.poll())
            each.kill()
            each.communicate()
        self.assertGreater(killed, 0)
        self.assertRegex(phone.client.command(CSN).text, r"^(\d)\1{14}$", "no write is half another's")

    def test_server_that_is_killed(self):
        phone = self.phone(serve=False)
        path = str(phone.directory.with_name("station"))
        chance = random.Random(9)
        written = None
        for _ in range(self.KILLS):
            server = subprocess.Popen([*TOOL, "--phone", phone.directory, "serve", "--socket", path],
                                      stdout=subprocess.PIPE, text=True)
            self.addCleanup(server.stdout.close)
            self.addCleanup(server.wait)
            self.addCleanup(server.kill)
            self.assertTrue(json.loads(server.stdout.readline())["ready"])
            with station.Client(path) as client:
                found = client.command(CSN).text
                if written is not None:
                    self.assertIn(found, written, "what was answered is there")
                text = f"{chance.randrange(10 ** 15):015}"
                killer = threading.Timer(chance.uniform(0, 0.02), server.kill)
                killer.start()
                written = [found, text]
                try:
                    while True:
                        self.assertEqual(client.command(CSN, text).result, 0)
                        written, text = [text], f"{chance.randrange(10 ** 15):015}"
                        # What is not answered may have been written, or not.
                        written.append(text)
                except station.FcxError:
                    pass
            server.wait()
            killer.join()


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]])
