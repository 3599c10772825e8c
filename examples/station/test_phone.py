"""Tests of a station, each on a phone of its own: pytest test_phone.py"""

import pytest

IMEI = "490154203237518"


def test_an_imei_is_written_and_read_back(fcx_phone):
    assert fcx_phone.client.command("write_imei", IMEI).text == "IMEI WRITE OK"
    assert fcx_phone.client.command("read_imei").text == IMEI
    assert fcx_phone.item("imei") == IMEI


def test_a_modem_that_fails_once(fcx_phone):
    with fcx_phone.fault("request", "read_imei", "fail", times=1):
        assert fcx_phone.client.command("read_imei").result == 1
        assert fcx_phone.client.command("read_imei").result == 0


@pytest.mark.fcx_phone(profile="blank", faults=["item serial_number fail"])
def test_a_phone_whose_items_cannot_be_read(fcx_phone):
    assert fcx_phone.client.command("get_serial_number").result == 1
    assert "E" in [line[0] for line in fcx_phone.log()]


def test_what_is_answered_outlives_a_power_cut(fcx_phone):
    assert fcx_phone.client.command("set_csn", "123456789012345").result == 0
    fcx_phone.power_cut()
    assert fcx_phone.client.command("get_csn").text == "123456789012345"
