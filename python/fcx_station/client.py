"""The client of `fcx serve`: docs/station-protocol.md has the frames byte by byte."""

from __future__ import annotations

import contextlib
import json
import os
import socket
import struct
import threading
import time
from dataclasses import dataclass
from typing import Any, Callable, List, Mapping, Optional, Sequence, Tuple, TypeVar, Union

from fcx_station.errors import BY_NUMBER, Disconnected, FcxError, NotStarted, ProtocolError, Restarting, Timeout
from fcx_station.tool import opcode_of

VERSION = 1  # of the protocol
LONGEST_DATA = 2048  # bytes that a command takes and gives, and of an AT line
LONGEST_ANSWER = 4194304  # bytes after a frame's length

_HEADER = struct.Struct("<IHHI")  # length of what follows this number, kind, flags, tag
_IN_LENGTH = _HEADER.size - 4
_RESPONSE = struct.Struct(f"<iiI{LONGEST_DATA}s")  # result, data length, a word of the modem link's, data

_HELLO, _COMMAND, _AT_LINE, _START, _ERROR = 1, 2, 3, 4, 0xffff
_ANSWER = 0x8000  # is added to the kind of what is answered
_WITH_DETAILS = 1
_CLOSING = (1, 2, 3, 4)  # after these errors the server closes the connection
_ANY_TAG = (*_CLOSING, 9)  # these it may say without having been asked: their tag is 0 then
_POLL_S = 0.05

Parsed = TypeVar("Parsed")


@dataclass(frozen=True)
class Answer:
    """What a factory command has answered. An unknown opcode leaves a response of zeros: only `details` tell it from
    one that was done."""

    result: int  #: what the command's result says; 0: done
    data: bytes  #: the answer's bytes, at most 2048
    data_len: int  #: how many bytes the answer claims, which may be less than 0 or more than 2048
    response: bytes  #: the whole response, 2060 bytes as the library has left them
    text: Optional[str]  #: the data as text; None when they are other than printable ASCII, line feeds and tabs
    details: Optional[dict]  #: what `fcx send --json` prints, when it was asked for


@dataclass(frozen=True)
class AtAnswer:
    """What an AT line has answered."""

    ok: bool  #: whether it ends with OK, and not with ERROR
    lines: List[str]  #: of information, without their ends
    reason: str  #: of an error, for people; may be empty


class Client:
    """A connection to a running server. Threads may share one: their requests take turns.

    Whatever cannot be done is an FcxError. After one that leaves it open what the server will send next (Timeout,
    ProtocolError, Disconnected) and after Refused and Busy the client is closed: make another.
    """

    def __init__(self, address: Union[str, os.PathLike, Mapping[str, Any]], token: Optional[str] = None,
                 timeout: float = 30, tool: Optional[Sequence[str]] = None):
        """Connects, and says hello.

        address: the path of a socket, "HOST:PORT", or the line (or the object) that `fcx serve` has printed.
        token: for a server that asks for one; that of $FCX_TOKEN when it is None.
        timeout: seconds until all of an answer must be there; above 0.
        tool: the words that run the tool, which is asked for the names of commands; found when it is None.
        """
        if timeout <= 0:
            raise ValueError("a timeout is above 0")
        self.timeout = timeout
        self._tool = tool
        self._lock = threading.Lock()
        self._tag = 0
        self._echo, self._error_mode = True, 0
        self._socket: Optional[socket.socket] = _connected(address, timeout)
        given = os.environ.get("FCX_TOKEN", "") if token is None else token
        #: What the server says of itself: phone, version, pid.
        self.about: dict = self._exchange(_HELLO, struct.pack("<HH", VERSION, VERSION) + given.encode(), _read_hello)

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    @property
    def is_closed(self) -> bool:
        return self._socket is None

    def close(self) -> None:
        """Ends the connection, also while another thread waits for an answer. More than once is fine."""
        connection, self._socket = self._socket, None
        if connection is not None:
            with contextlib.suppress(OSError):  # the other side may have ended it
                connection.shutdown(socket.SHUT_RDWR)  # wakes who waits
            connection.close()

    def command(self, opcode: Union[int, str], data: Union[bytes, str] = b"", details: bool = False) -> Answer:
        """Has a factory command carried out.

        opcode: its number, or its name as `fcx commands` lists it.
        data: at most 2048 bytes, or a text, which is sent as it is.
        details: whether the answer is to have what `fcx send --json` prints.
        """
        number = opcode_of(opcode, self._tool, self.timeout) if isinstance(opcode, str) else opcode
        payload = _bytes_of(data)
        try:
            body = struct.pack("<iI", number, len(payload)) + payload
        except struct.error:
            raise ValueError(f"{number} is no opcode") from None
        return self._exchange(_COMMAND, body, lambda answer: _read_answer(answer, details),
                              _WITH_DETAILS if details else 0)

    def at(self, line: str) -> AtAnswer:
        """Has an AT line carried out. line: without its end, at most 2048 bytes. What it sets by ATE and AT+CMEE holds
        for the lines after it."""
        def read(answer: bytes) -> AtAnswer:
            ok, echo, mode, _, reason_length = struct.unpack_from("<BBBBH", answer)
            reason, lines = answer[6:6 + reason_length], answer[6 + reason_length:]
            if len(reason) < reason_length or (lines and not lines.endswith(b"\n")):
                raise ValueError("the AT answer is not whole")
            self._echo, self._error_mode = bool(echo), mode
            return AtAnswer(bool(ok), _text_of(lines).split("\n")[:-1], _text_of(reason))
        return self._exchange(_AT_LINE, struct.pack("<BB", self._echo, self._error_mode) + _bytes_of(line), read)

    def start(self, daemon_only: bool = False, full: bool = False) -> dict:
        """Switches the phone off and on, or starts the daemon alone. @return what `fcx boot --json` prints, with ICCIDs
        whole when `full`. Raises NotStarted when set-up could not be started."""
        def read(answer: bytes) -> Tuple[int, dict]:
            return struct.unpack_from("<I", answer)[0], _object_of(answer[4:])
        status, report = self._exchange(_START, struct.pack("<BBBB", daemon_only, 0, full, 0), read)
        if status != 0:
            raise NotStarted("set-up could not be started", report)
        return report

    def wait_until_ready(self, timeout: float = 60) -> None:
        """Waits until commands are carried out again: asks by the line AT, which changes nothing. Raises Timeout when
        the phone still starts after so many seconds, and whatever else the line is answered with."""
        deadline = time.monotonic() + timeout
        while True:
            try:
                self.at("AT")
                return
            except Restarting:
                if time.monotonic() >= deadline:
                    raise Timeout(f"the phone still starts after {timeout:g} s") from None
                time.sleep(_POLL_S)

    def _exchange(self, kind: int, body: bytes, parse: Callable[[bytes], Parsed], flags: int = 0) -> Parsed:
        """Sends a request, and gives what its answer says. Raises what an error frame says."""
        with self._lock:
            connection = self._socket
            if connection is None:
                raise Disconnected("the connection is closed")
            self._tag = self._tag % 0xffffffff + 1  # never 0
            try:
                is_error, answer = self._ask(connection, kind, flags, body)
                if not is_error:
                    return parse(answer)
                number = struct.unpack_from("<H", answer)[0]
            except BaseException as error:
                # An answer may still come, or half of one: whoever asks next must not get it.
                self.close()
                if isinstance(error, (ValueError, struct.error, RecursionError)):
                    raise ProtocolError(f"the server's answer makes no sense: {error}") from error
                raise
            if number in _CLOSING:
                self.close()
        raise BY_NUMBER.get(number, ProtocolError)(_text_of(answer[4:]) or f"error {number}", number)

    def _ask(self, connection: socket.socket, kind: int, flags: int, body: bytes) -> Tuple[bool, bytes]:
        """Whether the answer is an error, and its body."""
        deadline = time.monotonic() + self.timeout
        try:
            connection.settimeout(self.timeout)
            connection.sendall(_HEADER.pack(_IN_LENGTH + len(body), kind, flags, self._tag) + body)
        except socket.timeout:
            raise Timeout(f"the server has not taken it in {self.timeout:g} s") from None
        except OSError:
            pass  # why it takes nothing may be what it has sent
        header = self._receive(connection, _HEADER.size, deadline, "")
        length, answered, _, tag = _HEADER.unpack(header)
        if not _IN_LENGTH <= length <= LONGEST_ANSWER:
            raise ProtocolError(f"the server's answer says that it has {length} bytes")
        answer = self._receive(connection, length - _IN_LENGTH, deadline, "in the middle of an answer")
        if answered == _ERROR:
            fits = tag == self._tag or (tag == 0 and struct.unpack_from("<H", answer)[0] in _ANY_TAG)
        else:
            fits = tag == self._tag and answered == kind | _ANSWER
        if not fits:
            raise ProtocolError(f"the server has answered something else: kind {answered:#x}, tag {tag}, after kind "
                                f"{kind:#x}, tag {self._tag}")
        return answered == _ERROR, answer

    def _receive(self, connection: socket.socket, count: int, deadline: float, where: str) -> bytes:
        """So many bytes. where: for people, of what the first is not the beginning."""
        got = bytearray()
        while len(got) < count:
            remaining = deadline - time.monotonic()
            try:
                if remaining <= 0:
                    raise socket.timeout
                connection.settimeout(remaining)
                piece = connection.recv(min(count - len(got), 65536))
            except socket.timeout:
                raise Timeout(f"no answer in {self.timeout:g} s") from None
            except OSError as error:
                raise Disconnected(f"the connection has ended: {error}") from error
            if not piece and (got or where):
                raise ProtocolError(f"the server has closed the connection {where or 'in the middle of an answer'}")
            if not piece:
                raise Disconnected("the server has closed the connection")
            got += piece
        return bytes(got)


def _connected(address: Union[str, os.PathLike, Mapping[str, Any]], timeout: float) -> socket.socket:
    if isinstance(address, str) and address.lstrip().startswith("{"):
        address = json.loads(address)
    if isinstance(address, Mapping):
        address = address.get("socket") or address.get("tcp")
        if address is None:
            raise ValueError("that server has neither a socket nor a TCP port")
    name = os.fspath(address)
    host, colon, port = name.rpartition(":")
    try:
        if colon and "/" not in name and port.isdecimal() and not isinstance(address, os.PathLike):
            if not 0 < int(port) < 65536:
                raise ValueError(f"{port} is no port")
            connected = socket.create_connection((host.strip("[]"), int(port)), timeout)
            connected.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            return connected
        connected = socket.socket(socket.AF_UNIX)
        try:
            connected.settimeout(timeout)
            connected.connect(name)
        except BaseException:
            connected.close()
            raise
        return connected
    except socket.timeout:
        raise Timeout(f"{name} does not answer in {timeout:g} s") from None
    except OSError as error:
        raise Disconnected(f"{name} cannot be reached: {error}") from error


def _bytes_of(data: Union[bytes, str]) -> bytes:
    encoded = data.encode() if isinstance(data, str) else bytes(data)
    if len(encoded) > LONGEST_DATA:
        raise ValueError(f"{len(encoded)} bytes are more than the {LONGEST_DATA} that a request holds")
    return encoded


def _text_of(received: bytes) -> str:
    return received.decode(errors="backslashreplace")


def _object_of(received: bytes) -> dict:
    read = json.loads(received)
    if not isinstance(read, dict):
        raise ValueError("it is no JSON object")
    return read


def _read_hello(answer: bytes) -> dict:
    version = struct.unpack_from("<HH", answer)[0]
    if version != VERSION:
        raise ValueError(f"it chose version {version}")
    return _object_of(answer[4:])


def _read_answer(answer: bytes, details: bool) -> Answer:
    response, rest = answer[:_RESPONSE.size], answer[_RESPONSE.size:]
    result, data_len, _, all_data = _RESPONSE.unpack(response)
    if rest and not details:
        raise ValueError("there are details that nobody has asked for")
    data = all_data[:max(data_len, 0)]
    is_text = all(byte in b"\t\n" or 0x20 <= byte < 0x7f for byte in data)
    return Answer(result, data, data_len, response, data.decode("ascii") if is_text else None,
                  _object_of(rest) if details else None)
