"""The package as it is installed, the fixture, and the examples of the pages."""

import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

import fcx_station
import pytest
from fcx_station.tool import find_tool

ROOT = Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples" / "station"
ASKED = {"serial number": "QV2006A00123", "SKU": "QV100EAW.AEUROPBK",
         "software": "QV100AT-00-V10a-310-410-JUN-01-2020+0", "IMEI": "490154203237518"}


def run(*words, **environment):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, timeout=120,
                          env={**os.environ, **environment})


def test_the_installed_package(tmp_path):
    there = tmp_path / "there"
    # The sources are built in their place.
    shutil.copytree(ROOT / "python", tmp_path / "python", ignore=shutil.ignore_patterns("build", "*.egg-info", "tests"))
    pip = run(sys.executable, "-m", "pip", "install", "--no-build-isolation", "--no-index", "--no-deps", "--target",
              there, tmp_path / "python", PIP_DISABLE_PIP_VERSION_CHECK="1", HOME=str(tmp_path))
    assert pip.returncode == 0, pip.stderr
    about = "import fcx_station, importlib.metadata as m; print(fcx_station.__file__, m.version('fcx-station'))"
    imported = run(sys.executable, "-c", about, PYTHONPATH=str(there))
    header = (ROOT / "include" / "fcx" / "version.h").read_text()
    version = ".".join(re.findall(r"^#define FCX_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE))
    assert imported.stdout.split() == [str(there / "fcx_station" / "__init__.py"), version]
    assert (there / "fcx_station" / "py.typed").exists() and fcx_station.__version__ == version
    # pytest finds the fixture by itself.
    shutil.copy(EXAMPLES / "test_phone.py", tmp_path)
    tests = run(sys.executable, "-m", "pytest", "-q", tmp_path / "test_phone.py", PYTHONPATH=str(there))
    assert re.search(r"^4 passed", tests.stdout, re.MULTILINE), tests.stdout


def test_the_fixture(pytester, monkeypatch):
    monkeypatch.setenv("PYTHONPATH", str(ROOT / "python"))
    pytester.makepyfile("""
        import pytest

        def test_fails(fcx_phone):
            print("PLACE", fcx_phone.directory)
            assert fcx_phone.client.command(4010).text == "none"

        @pytest.mark.fcx_phone(profile="blank", faults=["item 9 fail"], serve=False)
        def test_marked(fcx_phone):
            assert fcx_phone.tool("status")["profile"] == "blank"
            assert fcx_phone.tool("send", "4010")["result"] == 1 and fcx_phone.served is None

        @pytest.mark.fcx_phone("open")
        def test_by_place(fcx_phone):
            pass

        @pytest.mark.fcx_phone(profile="none")
        def test_no_phone(fcx_phone):
            pass
    """)
    result = pytester.runpytest_subprocess("-p", "fcx_station.pytest_plugin", "--strict-markers", "-rP")
    result.assert_outcomes(passed=1, failed=1, errors=2)
    result.stdout.fnmatch_lines(["*takes its arguments by name*"])
    result.stdout.fnmatch_lines(["*The phone's log*", "I Diag_Lib: service_handler: opcode = 4010"])
    place = re.search(r"^PLACE (.*)$", result.stdout.str(), re.MULTILINE)[1]
    assert result.stdout.str().count("The phone's log") == 1 and not Path(place).exists()


def test_the_examples(tmp_path):
    tool = tmp_path / "fcx"
    tool.write_text(f'#!/bin/sh\nexec {shlex.join(find_tool())} "$@"\n')
    tool.chmod(0o755)
    environment = {"PATH": f"{tmp_path}:{os.environ['PATH']}", "PYTHONPATH": str(ROOT / "python")}
    shell, python, serial = EXAMPLES / "identify.sh", EXAMPLES / "identify.py", EXAMPLES / "serial_identify.py"
    with fcx_station.Phone(options=["--at-tcp", "0"]) as phone:
        address = phone.served["socket"]
        for example in ([sys.executable, python], [shell]):
            told = run(*example, address, **environment)
            assert (told.returncode, told.stdout) == (0, "".join(f"{k:14}{v}\n" for k, v in ASKED.items())), told.stderr
        for line in (phone.pty, phone.served["link"], f"socket://{phone.served['at_tcp']}", phone.pty):
            told = run(sys.executable, serial, line)
            assert told.stdout.split()[-4:] == ["IMEI", ASKED["IMEI"], "Bluetooth", "02FC0A123456"], told.stderr
        with phone.fault("request read_imei fail"):
            told = run(shell, address, **environment)
            assert (told.returncode, told.stdout.count("\n")) == (3, len(ASKED) - 1)
    assert run(shell, address, **environment).returncode == 1


@pytest.mark.parametrize("page", ["python/README.md", "docs/serial.md"])
def test_the_pages_show_the_examples(page):
    examples = [path.read_text() for path in EXAMPLES.iterdir() if path.is_file()]
    shown = re.findall(r"^```(?:python|sh)\n(.*?)^```", (ROOT / page).read_text(), re.MULTILINE | re.DOTALL)
    assert shown and not [text for text in shown if not any(text in example for example in examples)]
