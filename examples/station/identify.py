#!/usr/bin/env python3
"""Which phone is that? identify.py ADDRESS, where `fcx serve` is: a socket's path, or HOST:PORT."""

import sys

import fcx_station

ASKED = {"serial number": 4010, "SKU": 4404, "software": 4011, "IMEI": 4294}

with fcx_station.Client(sys.argv[1]) as client:
    client.wait_until_ready()
    for name, opcode in ASKED.items():
        answer = client.command(opcode)
        print(f"{name:14}{answer.text if answer.result == 0 else f'result {answer.result}'}")
