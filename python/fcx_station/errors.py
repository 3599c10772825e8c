"""What can go wrong. Everything is an FcxError; a text for people is in it."""

from __future__ import annotations

from typing import Optional


class FcxError(Exception):
    """Something of the phone, its server or the tool did not work.

    number: of the error that the server has answered, 1 to 11; None when it was not the server that said so.
    """

    def __init__(self, message: str, number: Optional[int] = None):
        super().__init__(message)
        self.number = number


class ProtocolError(FcxError):
    """What came is no answer to what was asked, or the server says so of what it was sent."""


class Disconnected(FcxError):
    """Nobody serves at that address, or the connection has ended. How far a command got then nobody knows."""


class Timeout(FcxError):
    """Nothing came in time. A client is closed after that: a late answer must not be the next one's."""


class Refused(FcxError):
    """The server wants another token, or knows no version of the protocol that the client does."""


class Busy(FcxError):
    """Too many are connected."""


class Restarting(FcxError):
    """The phone or its daemon starts. Nothing was done: send it again, or wait_until_ready()."""


class Interrupted(FcxError):
    """The phone or its daemon has ended before the answer. Read what the command should have written."""


class SwitchedOff(FcxError):
    """The phone is off, and nothing was done. start() switches it on."""


class OutOfTime(FcxError):
    """The command took longer than the server waits, and the daemon was started anew. As Interrupted."""


class Ending(FcxError):
    """The server ends. Nothing was done."""


class Unusable(FcxError):
    """The phone cannot be used; the text says why."""


class NotStarted(FcxError):
    """A start could not start set-up.

    report: what start() gives otherwise.
    """

    def __init__(self, message: str, report: dict):
        super().__init__(message)
        self.report = report


class ToolError(FcxError):
    """The tool could not do what it was asked to.

    exit_status: of the tool: 1 the phone cannot be used, or what was asked for is not there; 2 the words make no
    sense; None when the tool did not get so far.
    """

    def __init__(self, message: str, exit_status: Optional[int] = None):
        super().__init__(message)
        self.exit_status = exit_status


# By the number in an error frame.
BY_NUMBER = {1: ProtocolError, 2: ProtocolError, 3: Refused, 4: Busy, 5: Restarting, 6: Interrupted, 7: SwitchedOff,
             8: OutOfTime, 9: Ending, 10: Unusable, 11: ProtocolError}
