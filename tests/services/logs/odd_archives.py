"""Writes archives that no packer would, each named for what is odd about it: odd_archives.py DIRECTORY"""

import struct
import sys
import zlib
from pathlib import Path

STORED, DEFLATED, NEITHER = 0, 8, 99


class Entry:
    """One entry. What is given beside its content is claimed in its place."""

    def __init__(self, name, content=b"", method=STORED, size=None, packed=None, crc=None, mode=0, extra=b""):
        self.name, self.mode, self.extra = name.encode(), mode, extra
        self.body = content
        if method == DEFLATED:
            deflate = zlib.compressobj(wbits=-15)
            self.body = deflate.compress(content) + deflate.flush()
        self.fields = (method, 0, 0x21, zlib.crc32(content) if crc is None else crc,
                       len(self.body) if packed is None else packed, len(content) if size is None else size,
                       len(self.name))

    def local(self):
        return struct.pack("<IHHHHHIIIHH", 0x04034B50, 20, 0, *self.fields, 0) + self.name + self.body

    def central(self, offset):
        head = struct.pack("<IHHHHHHIIIHHHHHII", 0x02014B50, 0x314, 20, 0, *self.fields, len(self.extra), 0, 0, 0,
                           self.mode << 16, offset)
        return head + self.name + self.extra


def archive(*entries, count=None):
    local = central = b""
    for entry in entries:
        central += entry.central(len(local))
        local += entry.local()
    count = len(entries) if count is None else count
    return local + central + struct.pack("<IHHHHIIH", 0x06054B50, 0, 0, count, count, len(central), len(local), 0)


TERABYTE = struct.pack("<HHQ", 1, 8, 1 << 40)
WHOLE = archive(Entry("a", b"first"), Entry("d/b", b"second second second", DEFLATED))
ARCHIVES = {
    "absolute": archive(Entry("/out", b"x")),
    "absolute_backslash": archive(Entry("\\out", b"x")),
    "cut_at_its_end": WHOLE[:-10],
    "cut_in_half": WHOLE[:80],
    "declares_less": archive(Entry("a", b"x" * 999, DEFLATED, size=3)),
    "declares_more": archive(Entry("a", b"x", DEFLATED, size=9)),
    "declares_more_and_wrong_checksum": archive(Entry("a", b"x", DEFLATED, size=9, crc=1)),
    "declares_terabyte": archive(Entry("a", b"x", DEFLATED, size=0xFFFFFFFF, extra=TERABYTE)),
    "dots": archive(Entry("..a/b../...", b"dots")),
    "empty_name": archive(Entry("", b"x")),
    "entries_missing": archive(Entry("a", b"first"), count=3),
    "folders": archive(Entry("d/"), Entry("d/e/"), Entry("d/e/f", b"deep"), Entry("g\\"), Entry("g\\h", b"flat")),
    "garbage": bytes(range(256)) * 9,
    "link": archive(Entry("l", b"/etc", mode=0o120777), Entry("l/x", b"x")),
    "name_of_255": archive(Entry("n" * 255, b"longest")),
    "name_of_256": archive(Entry("n" * 256, b"x")),
    "no_entries": archive(),
    "nothing": b"",
    "parent": archive(Entry("d/../../out", b"x")),
    "parent_backslash": archive(Entry("d\\..\\out", b"x")),
    "parent_folder": archive(Entry("../")),
    "parent_last": archive(Entry("d/..", b"x")),
    "stored_past_the_end": archive(Entry("a", b"x", size=99999, packed=99999)),
    "twice": archive(Entry("a", b"first"), Entry("a", b"second")),
    "unknown_method": archive(Entry("a", b"x", NEITHER)),
    "whole": WHOLE,
    "wrong_checksum": archive(Entry("a", b"changed", DEFLATED, crc=1)),
    "wrong_deflate": archive(Entry("a", b"\xff" * 9, 0)).replace(b"\0\0\0\0\x21\0", b"\x08\0\0\0\x21\0"),
}

for name, content in ARCHIVES.items():
    Path(sys.argv[1], name + ".zip").write_bytes(content)
