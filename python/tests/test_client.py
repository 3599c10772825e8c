"""What the client makes of whatever a server says: here one that says what it is told to."""

import contextlib
import itertools
import socket
import struct
import threading

import fcx_station as fs
import pytest

COMMAND, AT, START = 0x8002, 0x8003, 0x8004


def frame(kind, body=b"", tag=2, length=None):
    """The hello has the tag 1, and what is asked after it 2."""
    return struct.pack("<IHHI", 8 + len(body) if length is None else length, kind, 0, tag) + body


def response(result, claimed, data):
    return struct.pack("<iiI2048s", result, claimed, 0, data)


def error(number, tag=2):
    return frame(0xffff, struct.pack("<HH", number, 0) + b"because", tag)


HELLO = frame(0x8001, b'\1\0\0\0{"pid": 7}', 1)


@contextlib.contextmanager
def server(path, says, holds=False, hello=HELLO):
    """One that answers a hello and a request, and closes the connection then unless it holds it: its address, and what
    it was asked."""
    asked, over, listener = [], threading.Event(), socket.socket(socket.AF_UNIX)
    listener.bind(str(path / "socket"))
    listener.listen()

    def run():
        connection = listener.accept()[0]
        with connection, contextlib.suppress(ConnectionError):
            for answer in (hello, says):
                header = connection.recv(12, socket.MSG_WAITALL)
                rest = struct.unpack_from("<I", header or b"\x08\0\0\0")[0] - 8
                asked.append(header + (connection.recv(rest, socket.MSG_WAITALL) if rest else b""))
                connection.sendall(answer)
            if holds:
                over.wait()

    threading.Thread(target=run, daemon=True).start()
    with listener:
        yield path / "socket", asked
        over.set()


@pytest.mark.parametrize("says, data_len, data, text", [
    (response(0, 0, b""), 0, b"", ""),
    (response(0, 3, b"A\t\n??"), 3, b"A\t\n", "A\t\n"),
    (response(1, 2, b"\x7f2"), 2, b"\x7f2", None),
    (response(-5, -1, b"x"), -1, b"", ""),
    (response(0, 2048, b"y" * 2048), 2048, b"y" * 2048, "y" * 2048),
    (response(0, 2049, b"y" * 2048), 2049, b"y" * 2048, "y" * 2048),
], ids=itertools.count())
def test_an_answer_has_no_more_than_was_sent(tmp_path, monkeypatch, says, data_len, data, text):
    monkeypatch.setenv("FCX_TOKEN", "t\u00e4")
    with server(tmp_path, frame(COMMAND, says)) as (address, asked), fs.Client(address) as client:
        answer = client.command(4010)
        assert (answer.data_len, answer.data, answer.text, answer.response) == (data_len, data, text, says)
        assert (answer.result, answer.details, client.about) == (struct.unpack_from("<i", says)[0], None, {"pid": 7})
    assert asked == [b"\x0f\0\0\0\1\0\0\0\1\0\0\0\1\0\1\0t\xc3\xa4", b"\x10\0\0\0\2\0\0\0\2\0\0\0\xaa\x0f\0\0\0\0\0\0"]


ASK = {COMMAND: lambda client: client.command(4010), AT: lambda client: client.at("AT"),
       START: lambda client: client.start(), "details": lambda client: client.command(4010, details=True)}
NOT_WHOLE, NO_LENGTH = "in the middle of an answer", "says that it has"
NO_SENSE, OTHER = "makes no sense", "something else"


@pytest.mark.parametrize("ask, says, kind, is_closed, why", [
    # Error frames; those after which the server closes the connection may come unasked.
    *((COMMAND, error(number), kind, number < 5, "because") for number, kind in enumerate(
        [fs.ProtocolError, fs.ProtocolError, fs.Refused, fs.Busy, fs.Restarting, fs.Interrupted, fs.SwitchedOff,
         fs.OutOfTime, fs.Ending, fs.Unusable, fs.ProtocolError, fs.ProtocolError], 1)),
    (COMMAND, error(4, tag=0), fs.Busy, True, "because"), (COMMAND, error(9, tag=0), fs.Ending, False, "because"),
    *((ask, says, fs.ProtocolError, True, why) for ask, says, why in [
        # Of another request, or to another one.
        (COMMAND, error(5, tag=0), OTHER), (COMMAND, frame(COMMAND, response(0, 0, b""), tag=1), OTHER),
        (COMMAND, frame(AT, response(0, 0, b"")), OTHER),
        # Not whole, and of a length that no frame has.
        (COMMAND, HELLO[:11], NOT_WHOLE), (COMMAND, frame(COMMAND, bytes(2059), length=2068), NOT_WHOLE),
        (COMMAND, frame(COMMAND, length=7), NO_LENGTH), (COMMAND, frame(COMMAND, length=8), NO_SENSE),
        (COMMAND, frame(COMMAND, length=4194304), NOT_WHOLE), (COMMAND, frame(COMMAND, length=4194305), NO_LENGTH),
        (COMMAND, b"HTTP/1.1 400 Bad Request\r\n\r\n", NO_LENGTH),
        # Of another shape.
        (COMMAND, frame(0xffff, b"\5"), NO_SENSE), (COMMAND, frame(COMMAND, bytes(2059)), NO_SENSE),
        (COMMAND, frame(COMMAND, bytes(2060) + b"{}"), NO_SENSE), ("details", frame(COMMAND, bytes(2060)), NO_SENSE),
        ("details", frame(COMMAND, bytes(2060) + b"[]"), NO_SENSE),
        ("details", frame(COMMAND, bytes(2060) + b"[" * 200000), NO_SENSE),
        (AT, frame(AT, b"\1\1\0\0\2\0x"), NO_SENSE), (AT, frame(AT, b"\1\1\0\0\0\0half a line"), NO_SENSE),
        (START, frame(START, b"\0\0\0"), NO_SENSE), (START, frame(START, b"\0\0\0\0\xff"), NO_SENSE)]),
    (COMMAND, b"", fs.Disconnected, True, "has closed"),
], ids=itertools.count())
def test_what_is_no_answer(tmp_path, ask, says, kind, is_closed, why):
    with server(tmp_path, says) as (address, _), fs.Client(address) as client:
        with pytest.raises(fs.FcxError, match=why) as raised:
            ASK[ask](client)
        number = says[12] if why == "because" else None
        assert (type(raised.value), raised.value.number, client.is_closed) == (kind, number, is_closed)


@pytest.mark.parametrize("says", [b"", frame(COMMAND)[:5], frame(COMMAND, length=2068)])
def test_a_late_answer_is_nobodys(tmp_path, says):
    with server(tmp_path, says, holds=True) as (address, _), fs.Client(address, timeout=0.2) as client:
        for kind in (fs.Timeout, fs.Disconnected):
            with pytest.raises(kind):
                client.command(4010)


def test_starts_that_fail_or_go_on(tmp_path):
    says = frame(START, b'\1\0\0\0{"complete": false}')
    with server(tmp_path, says) as (address, asked), fs.Client(address) as client:
        with pytest.raises(fs.NotStarted) as raised:
            client.start(daemon_only=True, full=True)
        assert (raised.value.report, asked[1][12:]) == ({"complete": False}, b"\1\0\1\0")
    address.unlink()
    with server(tmp_path, error(5)) as (address, _), fs.Client(address) as client, pytest.raises(fs.Timeout):
        client.wait_until_ready(0)


@pytest.mark.parametrize("hello", [frame(0x8001, b"\2\0\0\0{}", 1), frame(0x8001, b"\1\0", 1),
                                   frame(0x8001, b"\1\0\0\0x", 1), error(11, tag=1)], ids=itertools.count())
def test_a_server_that_cannot_be_talked_to(tmp_path, hello):
    with server(tmp_path, b"", hello=hello) as (address, _), pytest.raises(fs.ProtocolError):
        fs.Client(address)


@pytest.mark.parametrize("address, kind", [
    ("/nowhere/socket", fs.Disconnected), ("/" + "x" * 200, fs.Disconnected), ("127.0.0.1:1", fs.Disconnected),
    ("127.0.0.1:0", ValueError), ("[::1]:65536", ValueError), ('{"socket": null, "tcp": null}', ValueError)])
def test_addresses_where_nobody_is(address, kind):
    with pytest.raises(kind):
        fs.Client(address)


def test_what_makes_no_sense_is_not_sent(tmp_path):
    says = frame(COMMAND, response(0, 0, b""))
    with server(tmp_path, says) as (address, asked), fs.Client(address, tool=["false"]) as client:
        for kind, *words in [(ValueError, 4010, bytes(2049)), (ValueError, 4010, "\u00e4" * 1025), (ValueError, 2**31),
                             (fs.ToolError, "get_csn")]:
            with pytest.raises(kind):
                client.command(*words)
        client.command(-2**31, bytes(2048))
        assert len(asked) == 2
