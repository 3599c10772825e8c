"""A station's side of a phone's factory daemon.

Client speaks to a running `fcx serve`; Phone makes a virtual phone for a test and serves it:

    import fcx_station

    with fcx_station.Client("/run/station/phone-1.sock") as client:
        print(client.command(4010).text)

    with fcx_station.Phone(profile="open") as phone:
        with phone.fault("request 117 fail"):
            print(phone.client.command(4294).result)
"""

from fcx_station.client import Answer, AtAnswer, Client
from fcx_station.errors import (Busy, Disconnected, Ending, FcxError, Interrupted, NotStarted, OutOfTime, ProtocolError,
                                Refused, Restarting, SwitchedOff, Timeout, ToolError, Unusable)
from fcx_station.phone import Fault, Phone

# The library's: include/fcx/version.h has the same, and a test compares them.
__version__ = "0.1.0"

__all__ = ["Answer", "AtAnswer", "Busy", "Client", "Disconnected", "Ending", "Fault", "FcxError", "Interrupted",
           "NotStarted", "OutOfTime", "Phone", "ProtocolError", "Refused", "Restarting", "SwitchedOff", "Timeout",
           "ToolError", "Unusable"]
