#!/usr/bin/env python3
"""Which phone is on that line? serial_identify.py PORT: a terminal, as /dev/pts/3, or socket://HOST:PORT."""

import sys

import serial

ASKED = {"manufacturer": "AT+CGMI", "model": "AT+CGMM", "IMEI": "AT+CGSN", "Bluetooth": "AT%BTAD?"}


def ask(line, command):
    """The lines of information; None after ERROR."""
    line.write(command.encode("ascii") + b"\r")
    lines = []
    while True:
        received = line.read_until(b"\n")
        if not received.endswith(b"\n"):
            raise TimeoutError(f"{command}: no answer in {line.timeout} s")
        text = received.decode("ascii").strip()
        if text in ("OK", "ERROR"):
            return lines if text == "OK" else None
        if text and text != command:  # as it is echoed
            lines.append(text)


with serial.serial_for_url(sys.argv[1], timeout=30) as line:
    for name, command in ASKED.items():
        lines = ask(line, command)
        print(f"{name:14}{'ERROR' if lines is None else ' '.join(lines)}")
