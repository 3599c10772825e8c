"""The tool `fcx`: where it is, and what it prints with --json."""

from __future__ import annotations

import functools
import json
import os
import shlex
import shutil
import subprocess
from pathlib import Path
from typing import Dict, List, Mapping, Optional, Sequence, Set, Tuple

from fcx_station.errors import FcxError, Timeout, ToolError


def find_tool() -> List[str]:
    """The words that run the tool: those of $FCX_TOOL, as a shell splits them; else `fcx` in the PATH; else the
    checkout's that this file is in. Raises FcxError when there is none."""
    if os.environ.get("FCX_TOOL"):
        return shlex.split(os.environ["FCX_TOOL"])
    launcher = Path(__file__).resolve().parents[2] / "fcx"
    for found in (shutil.which("fcx"), launcher if os.access(launcher, os.X_OK) and launcher.is_file() else None):
        if found:
            return [str(found)]
    raise FcxError("there is no tool: no $FCX_TOOL, no fcx in the PATH, and this is no checkout")


def run_tool(tool: Sequence[str], arguments: Sequence[str], timeout: float,
             environment: Optional[Mapping[str, str]] = None) -> dict:
    """Runs it with --json, and gives the object that it prints: for exit status 3, too, where the object says what is
    not as it should be. Raises ToolError when it prints an error, Timeout after `timeout` seconds."""
    try:
        run = subprocess.run([*tool, "--json", *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                             timeout=timeout, env=environment)
    except subprocess.TimeoutExpired:
        raise Timeout(f"fcx {shlex.join(arguments)}: nothing after {timeout:g} s") from None
    except (OSError, ValueError) as error:
        raise ToolError(f"{tool[0]} cannot be run: {error}") from error
    try:
        printed = json.loads(run.stdout)
    except ValueError:
        printed = None
    if not isinstance(printed, dict):
        said = run.stderr.decode(errors="backslashreplace").strip()
        raise ToolError(f"fcx {shlex.join(arguments)}: no object was printed, but: {said or run.stdout[:200]!r}")
    if isinstance(printed.get("error"), dict):
        raise ToolError(str(printed["error"].get("message")), printed["error"].get("exit_status"))
    return printed


@functools.lru_cache(maxsize=None)
def _opcodes(tool: Tuple[str, ...], timeout: float) -> Dict[str, Set[int]]:
    opcodes: Dict[str, Set[int]] = {}
    for row in run_tool(tool, ["commands"], timeout)["commands"]:
        for name in (row["name"], row["writes_as"]):
            opcodes.setdefault(name, set()).add(row["opcode"])
    return opcodes


def opcode_of(name: str, tool: Optional[Sequence[str]], timeout: float) -> int:
    """The opcode of a command's name, as `fcx commands` has it. Raises FcxError when there is no tool to ask, or
    not exactly one command of that name."""
    try:
        words = tuple(tool or find_tool())
    except FcxError as error:
        raise FcxError(f"{name}: give the opcode's number, since names are asked of the tool, and {error}") from None
    opcodes = sorted(_opcodes(words, timeout).get(name, ()))
    if not opcodes:
        raise FcxError(f"no command is called {name}; `fcx commands` lists them")
    if len(opcodes) > 1:
        raise FcxError(f"{name} is the name of several commands: give the number, one of {opcodes}")
    return opcodes[0]
