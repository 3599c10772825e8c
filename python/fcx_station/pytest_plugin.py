"""The fixture fcx_phone: a fresh virtual phone for each test that names it.

    @pytest.mark.fcx_phone(profile="open", faults=["request 117 fail"])
    def test_without_an_imei(fcx_phone):
        assert fcx_phone.client.command(4294).result == 1

The marker takes what fcx_station.Phone takes. The report of a test that fails has the end of the phone's log.
"""

from __future__ import annotations

from typing import Iterator

import pytest

from fcx_station.errors import FcxError
from fcx_station.phone import Phone

LAST_LINES = 200  # of the log, in a report

_PHONE = pytest.StashKey[Phone]()


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "fcx_phone(profile, clock, serve, boot, faults, options, timeout): "
                                       "what the virtual phone of the fixture fcx_phone is")


@pytest.fixture
def fcx_phone(request: pytest.FixtureRequest) -> Iterator[Phone]:
    """A fresh virtual phone with its server; gone after the test."""
    marker = request.node.get_closest_marker("fcx_phone")
    if marker is not None and marker.args:
        raise pytest.UsageError("the marker fcx_phone takes its arguments by name, as profile=\"open\"")
    with Phone(**(marker.kwargs if marker else {})) as phone:
        request.node.stash[_PHONE] = phone
        yield phone


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item) -> Iterator[None]:
    outcome = yield
    report = outcome.get_result()
    phone = item.stash.get(_PHONE, None)
    if phone is None or not report.failed or report.when == "teardown":
        return
    try:
        log = "\n".join(phone.log("-n", str(LAST_LINES)))
    except FcxError as error:
        log = f"It cannot be read: {error}"
    report.sections.append(("The phone's log", log))
    if phone.complaints():
        report.sections.append(("The phone's server", phone.complaints()))
