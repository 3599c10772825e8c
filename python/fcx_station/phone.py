"""A virtual phone for a test: a fresh one in a temporary directory, with a server of its own."""

from __future__ import annotations

import contextlib
import json
import os
import select
import shlex
import shutil
import signal
import subprocess
import tempfile
import time
import weakref
from pathlib import Path
from typing import Any, List, Optional, Sequence, Union

from fcx_station.client import Client
from fcx_station.errors import FcxError, Timeout, ToolError
from fcx_station.tool import find_tool, run_tool

LONGEST_READY_LINE = 65536
NOT_INHERITED = ("FCX_CLOCK", "FCX_PHONE", "FCX_TOKEN")
ENDS_WITHIN_S = 15  # the server, once it is asked to: it lets a command come to its end


class Fault:
    """A fault that stands on a phone. As a context manager it is cleared at the end."""

    def __init__(self, phone: Phone, row: dict):
        self._phone = phone
        self.row = row  #: what `fcx fault list --json` has of it
        self.id: int = row["id"]

    def __enter__(self) -> Fault:
        return self

    def __exit__(self, *_: object) -> None:
        self.clear()

    @property
    def is_set(self) -> bool:
        """Whether it can still strike."""
        return any(fault["id"] == self.id for fault in self._phone.faults())

    def clear(self) -> None:
        """Clears it. One that has struck as often as it may is gone by itself."""
        try:
            self._phone.tool("fault", "clear", str(self.id))
        except ToolError:
            if self.is_set:
                raise


class Phone:
    """A fresh virtual phone, served, until it is closed: then its server ends and nothing is left of it. So it is, too,
    when nobody refers to it any more, and when Python ends."""

    def __init__(self, profile: str = "single", clock: str = "fast", serve: bool = True, boot: bool = False,
                 faults: Sequence[str] = (), options: Sequence[str] = (), timeout: float = 60):
        """Makes it, and starts its server.

        profile: what it is, as `fcx init --profile` takes it.
        clock: "fast", on which nobody waits, or "real".
        serve: whether it has a server; without one there is only the tool.
        boot: whether the server begins with a start of the phone.
        faults: set before the server begins, each as for fault().
        options: further ones of `fcx serve`, as ["--at-tcp", "0"].
        timeout: seconds that a run of the tool, the server's beginning and an answer may take.
        """
        if clock not in ("fast", "real"):
            raise ValueError(f'a clock is "fast" or "real", not {clock!r}')
        self.timeout = timeout
        self._tool = find_tool()
        self._environment = {name: value for name, value in os.environ.items() if name not in NOT_INHERITED}
        if clock == "fast":
            self._environment["FCX_CLOCK"] = "fast"
        self._client: Optional[Client] = None
        self._place = Path(tempfile.mkdtemp(prefix="fcx-"))
        resources = contextlib.ExitStack()
        resources.callback(shutil.rmtree, self._place)
        self._end = weakref.finalize(self, resources.close)
        self.directory = self._place / "phone"  #: of the phone
        self.served: Optional[dict] = None  #: what `fcx serve` has printed; None without a server
        try:
            self.tool("init", "--profile", profile)
            for fault in faults:
                self.fault(fault)
            if serve:
                self.served = self._serve(resources, ["--boot", *options] if boot else options)
        except BaseException:
            self.close()
            raise

    def __enter__(self) -> Phone:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Ends the server and removes the phone. More than once is fine."""
        if self._client is not None:
            self._client.close()
        self._end()

    @property
    def client(self) -> Client:
        """A client of its server. After one that had to be closed this is another."""
        if self._client is None or self._client.is_closed:
            self._client = Client(self._of_server("socket"), timeout=self.timeout, tool=self._tool)
        return self._client

    @property
    def pty(self) -> str:
        """The path of the serial line, a pseudo-terminal."""
        return self._of_server("pty")

    @property
    def at_socket(self) -> str:
        """The path of the socket that speaks AT, as the serial line does."""
        return self._of_server("at_socket")

    def tool(self, *arguments: str) -> dict:
        """Runs `fcx --json` on the phone, as phone.tool("modem", "set", "flight", "1"). @return the object that it
        prints, as docs/json.md has it. Raises ToolError with the tool's message."""
        return run_tool(self._tool, ["--phone", str(self.directory), *arguments], self.timeout, self._environment)

    def item(self, name: Union[str, int]) -> str:
        """What a factory item holds, as its encoding shows it, by its number, its name, or an accessor's."""
        return self.tool("item", "get", "--", str(name))["value"]

    def set_item(self, name: Union[str, int], value: Union[str, bytes]) -> None:
        """Writes a factory item: bytes as they are, a text as `fcx item set` takes it."""
        self.tool("item", "set", "--", str(name), f"hex:{value.hex()}" if isinstance(value, bytes) else value)

    def property(self, name: str) -> Optional[str]:
        """A property's value; None when it is not set."""
        return self.tool("prop", "list")["properties"].get(name)

    def set_property(self, name: str, value: str) -> None:
        self.tool("prop", "set", "--", name, value)

    def log(self, *filters: str) -> List[str]:
        """Lines of the phone's log, as "I Fcx: text", oldest first: all, or those that options of `fcx log` let
        through, as log("--priority", "W")."""
        return [f"{entry['priority']} {entry['tag']}: {entry['message']}"
                for entry in self.tool("log", *filters)["entries"]]

    def events(self) -> List[dict]:
        """What happened to the phone, oldest first: each has id, time_us, kind and detail."""
        return self.tool("events")["events"]

    def faults(self) -> List[dict]:
        """Those that are set, as `fcx fault list --json` has them."""
        return self.tool("fault", "list")["faults"]

    def fault(self, part: str, target: Union[str, int, None] = None, effect: Optional[str] = None,
              value: Union[str, int, None] = None, on: Optional[str] = None, after: Optional[int] = None,
              times: Optional[int] = None) -> Fault:
        """Lets a part of the phone fail, as `fcx fault` does: fault("item 9 fail --times 1"), or
        fault("item", 9, "fail", times=1), or fault("power", effect="cut", after=3)."""
        if target is None and effect is None:
            words = shlex.split(part)
        else:
            options = {"--on": on, "--after": after, "--times": times}
            words = [part]
            for option, given in options.items():
                words += [] if given is None else [option, str(given)]
            words += ["--", *(str(word) for word in (target, effect, value) if word is not None)]
        return Fault(self, self.tool("fault", *words)["faults"][-1])

    def clear_faults(self) -> None:
        self.tool("fault", "clear")

    def reboot(self, reason: str = "by hand") -> dict:
        """Switches the phone off and on, and waits until its server is ready again. @return what `fcx reboot` prints.
        """
        return self._and_ready(self.tool("reboot", "--", reason))

    def power_cut(self, unflushed: str = "dropped") -> dict:
        """Cuts its power, and waits until its server is ready again. unflushed: what becomes of what was not flushed:
        dropped, torn or kept. @return what `fcx power-cut` prints: what was lost."""
        return self._and_ready(self.tool("power-cut", unflushed))

    def complaints(self) -> str:
        """What the server has written to standard error."""
        path = self._place / "serve.err"
        return path.read_text(errors="backslashreplace") if path.exists() else ""

    def _and_ready(self, printed: dict) -> dict:
        if self.served is not None:
            self.client.wait_until_ready(self.timeout)
        return printed

    def _of_server(self, key: str) -> Any:
        if self.served is None:
            raise FcxError("this phone has no server (serve=False)")
        return self.served[key]

    def _serve(self, resources: contextlib.ExitStack, options: Sequence[str]) -> dict:
        words = [*self._tool, "--phone", str(self.directory), "serve", "--socket", str(self._place / "station"),
                 "--at-socket", str(self._place / "at"), "--pty", str(self._place / "tty"), *options]
        with open(self._place / "serve.err", "wb") as complaints:
            # A session of its own: Ctrl-C ends the test, and the test the server.
            process = subprocess.Popen(words, bufsize=0, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=complaints, env=self._environment, start_new_session=True)
        resources.callback(_stop, process)
        line = _first_line(process, self.timeout)
        try:
            return dict(json.loads(line))
        except (TypeError, ValueError):
            raise FcxError(f"`fcx serve` has not begun: {self.complaints().strip() or line!r}") from None


def _first_line(process: subprocess.Popen, timeout: float) -> bytes:
    """What it prints up to a line feed, or up to its end."""
    deadline = time.monotonic() + timeout
    pipe = process.stdout.fileno()
    poll = select.poll()
    poll.register(pipe, select.POLLIN)
    line = b""
    while not line.endswith(b"\n") and len(line) < LONGEST_READY_LINE:
        if not poll.poll(max(0, deadline - time.monotonic()) * 1000):
            raise Timeout(f"`fcx serve` is not ready after {timeout:g} s")
        piece = os.read(pipe, 4096)
        if not piece:
            break
        line += piece
    return line


def _stop(process: subprocess.Popen) -> None:
    process.terminate()
    try:
        process.wait(ENDS_WITHIN_S)
    except subprocess.TimeoutExpired:
        pass  # it is killed, then
    finally:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        process.stdout.close()
