"""A virtual phone that is served, and what a test does to it."""

import os
import signal
import threading
import time
from pathlib import Path

import fcx_station as fs
import pytest

IMEI, CSN = "490154203237518", "123456789012345"


@pytest.fixture(scope="module")
def phone():
    with fs.Phone() as made:
        yield made


@pytest.mark.parametrize("opcode, data, result, answered", [
    (4018, CSN, 0, b""), ("set_csn", CSN.encode(), 0, b""), ("get_csn", "", 0, CSN.encode()),
    ("set_teal_ime", b"\2", 0, b""), ("get_teal_ime", b"", 0, b"\2"), (3170, "fast", 1, b""), (4999, "", 0, b"")])
def test_commands(phone, opcode, data, result, answered):
    answer = phone.client.command(opcode, data, details=True)
    told = [answer.details[key] for key in ("result", "data", "data_hex", "known")]
    assert (answer.result, answer.data, answer.data_len) == (result, answered, len(answered))
    assert told == [result, answer.text, answered.hex(), opcode != 4999]


def test_what_nobody_has(phone, monkeypatch):
    for kind, why, call in [
            (fs.FcxError, "no command is called", lambda: phone.client.command("get_cns")),
            (fs.FcxError, "several commands.*4011, 4019", lambda: phone.client.command("get_factory_version")),
            (fs.ToolError, "999999", lambda: phone.tool("item", "get", "999999")),
            (fs.ToolError, "fails", lambda: phone.fault("item 9 fails")),
            (fs.ToolError, "no profile", lambda: fs.Phone(profile="none")),
            (fs.FcxError, "`fcx serve` has not begun: .*no-option", lambda: fs.Phone(options=["--no-option"])),
            (ValueError, "slow", lambda: fs.Phone(clock="slow"))]:
        with pytest.raises(kind, match=why) as raised:
            call()
        assert kind is not fs.ToolError or raised.value.exit_status == 2
    # Without a tool a command still has its number.
    monkeypatch.setattr("fcx_station.tool.__file__", "/a/b/c.py")
    monkeypatch.delenv("FCX_TOOL")
    monkeypatch.setenv("PATH", "/nowhere")
    with fs.Client(phone.served) as client:
        with pytest.raises(fs.FcxError, match="give the opcode's number"):
            client.command("get_csn")
        assert client.command(4018).result == 0


def test_at_lines(phone):
    with fs.Client(phone.served) as client, fs.Client(phone.served) as other:
        assert client.at("AT+CMEE=2") == fs.AtAnswer(True, [], "")
        assert client.at("AT+CMEE?;+CGSN") == fs.AtAnswer(True, ["+CMEE: 2", IMEI], "")
        assert client.at("AT%XX") == fs.AtAnswer(False, [], "no AT command is called %XX")
        assert other.at("AT+CMEE?").lines == ["+CMEE: 0"]


def test_what_a_phone_keeps(phone):
    phone.set_item("serial_number", b"AB")
    assert (phone.item(9), phone.client.command(4010).data) == ("AB", b"AB")
    phone.set_property("persist.vendor.qve.sample", "-1")
    assert [phone.property(f"persist.vendor.qve.{name}") for name in ("sample", "none")] == ["-1", None]


def test_faults(phone):
    def results(opcode=4294, times=1):
        return [phone.client.command(opcode).result for _ in range(times)]

    with phone.fault("request 117 fail"):
        assert results() == [1]
        with phone.fault("item", 9, "fail", -5, on="read", after=2, times=1) as other:
            row = [other.row[key] for key in ("target", "on", "value", "after", "remaining")]
            assert row == ["9", "read", -5, 2, 1]
            assert (results(4010, 3), other.is_set) == ([0, 1, 0], False)
    assert (results(), phone.faults()) == ([0], [])
    kept = phone.fault("request", "read_imei", "fail")
    assert (results(), kept.is_set) == ([1], True)
    phone.clear_faults()
    assert (results(), kept.is_set) == ([0], False)


def test_a_phone_that_goes_down(phone):
    assert phone.client.start()["complete"] is True
    assert phone.reboot("test")["reason"] == "test"
    assert phone.power_cut("torn")["unflushed"] == "torn"
    with phone.fault("daemon", effect="dies"), pytest.raises(fs.Interrupted):
        phone.client.command("set_csn", CSN)
    phone.client.wait_until_ready()
    before = len(phone.log())
    assert phone.client.command("get_csn").text == CSN
    assert phone.log()[before:] == ["I Diag_Lib: service_handler: opcode = 4018", f"I Diag_Lib: CSN : 37 ({CSN})"]
    ends = [event for event in phone.events() if event["kind"] in ("restart", "power_cut")]
    assert [end["kind"] for end in ends] == ["restart", "restart", "power_cut"] and ends[1]["detail"] == "test"


def test_threads_share_a_client(phone):
    client, right = phone.client, []

    def ask(opcode, expected):
        for _ in range(50):
            right.append(client.command(opcode).text == expected)

    asked = [(4404, "QV100EAW.AEUROPBK"), (4016, "20200601")] * 2
    threads = [threading.Thread(target=ask, args=words) for words in asked]
    for step in (threading.Thread.start, threading.Thread.join):
        for thread in threads:
            step(thread)
    assert right == [True] * 200


@pytest.mark.parametrize("clock, late_ms, takes_s", [("fast", 20000, range(10)), ("real", 1000, range(1, 10))])
def test_clocks(monkeypatch, clock, late_ms, takes_s):
    # What the test has of its own is not the phone's.
    monkeypatch.setenv("FCX_CLOCK", "fast" if clock == "real" else "real")
    monkeypatch.setenv("FCX_TOKEN", "secret")
    with fs.Phone(clock=clock) as phone, phone.fault("request", 117, "late", late_ms):
        with fs.Client(phone.served["socket"], token="") as client:
            began = time.monotonic()
            assert client.command(4294).text == IMEI and int(time.monotonic() - began) in takes_s


def test_other_phones(tmp_path):
    (tmp_path / "token").write_text("secret\n")
    with fs.Phone(profile="open", boot=True, faults=["request 117 fail"],
                  options=["--tcp", "0", "--token-file", str(tmp_path / "token")]) as phone:
        with fs.Client(phone.served["tcp"], token="secret") as client:
            assert (client.command(4294).result, client.about["phone"]) == (1, str(phone.directory))
        assert phone.property("persist.vendor.qve.sim.operator") == "CR2"
        with pytest.raises(fs.Refused):
            phone.client.command(4010)
    with fs.Phone(serve=False) as phone, pytest.raises(fs.FcxError, match="no server"):
        assert phone.reboot()["restarted"] and phone.client


@pytest.mark.parametrize("end", [
    lambda phone, pid: phone.close(),
    lambda phone, pid: os.kill(pid, signal.SIGKILL),
    lambda phone, pid: os.kill(pid, signal.SIGSTOP),  # it cannot end, and is killed
    None,  # nobody refers to it any more
])
def test_nothing_is_left(end, monkeypatch):
    monkeypatch.setattr("fcx_station.phone.ENDS_WITHIN_S", 0.5)
    phone = fs.Phone()
    client, place, process = phone.client, phone.directory.parent, Path(f"/proc/{phone.served['pid']}")
    assert phone.client is client and process.exists() and place.exists()
    if end is not None:
        with pytest.raises(ZeroDivisionError), phone:
            end(phone, phone.served["pid"])
            1 / 0
    del phone
    assert not place.exists() and not process.exists()
    with pytest.raises(fs.Disconnected):
        client.command(4010)
