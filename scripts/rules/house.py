"""Which room may include what: the arrows of docs/architecture.md, and that nothing runs in a circle."""

import re
from fnmatch import fnmatch

MIDDLE = ("carrier", "services", "devices", "modem")
LIBRARY = ("dispatch", *MIDDLE, "carrier/package", "services/screen", "modem/link", "ftm", "common")

# Rooms, and their headers that a room with an arrow to them may include. Every other header stays
# inside. A file belongs to the room whose name its path begins with, the longest.
ROOMS = {
    "include/fcx": (),
    "records": (),      # see PUBLIC
    "item table": (),   # see PUBLIC
    "dispatch": (),
    "carrier": (),
    "carrier/package": ("*.h",),
    "services": (),
    "services/screen": ("pixels.h", "raw_image.h", "rectangle.h"),
    "devices": (),
    "modem": (),
    "modem/link": ("command_link.h",),
    "modem/link/requests": ("*",),
    "ftm": ("*.h",),
    "common": ("*.h",),
    "platform": ("*.h",),
    "virtual_phone": ("*.h",),
    "daemon": ("*.h",),
    "exploration": ("*.h",),
    "simulation": ("*.h",),
    "station": ("*.h",),
    "tools": (),
    "examples": (),
    "tests": (),
    "benchmarks": ("empty_modem.h", "fast_properties.h"),
    "fuzz": (),
}

# Who implements a header of include/fcx. Who includes it needs an arrow to one of these.
PUBLIC = {
    "background.h": ("common",),
    "bt_address.h": ("devices",),
    "command_table.h": ("dispatch",),
    "customisation.h": ("carrier", "carrier/package"),
    "device_functions.h": ("devices",),
    "factory_item_table.h": ("item table",),
    "factory_items.def": ("item table",),
    "factory_items.h": ("ftm",),
    "identity_items.h": ("modem",),
    "log_collection.h": ("services",),
    "make_zip_file.h": ("services",),
    "mcc_lookup.h": ("carrier",),
    "modem_efs.h": ("modem/link",),
    "modem_link.h": ("modem/link",),
    "modem_nv.h": ("modem/link",),
    "modem_power.h": ("modem",),
    "network_code.h": ("carrier",),
    "qvcmd.h": ("records",),
    "screen_capture.h": ("services/screen",),
    "service_handler.h": ("dispatch",),
    "single_binary.h": ("carrier",),
    "sync.h": ("common",),
    "sysfs.h": ("services",),
    "system_control.h": ("services",),
    "table.h": ("records",),
    "usb_mode.h": ("modem",),
    "version.h": ("common",),
    "version_info.h": ("modem",),
    "wlan_address.h": ("devices",),
}

# From these rooms to those, and why. An arrow to "include/fcx" leads to all of its headers.
ARROWS = [
    (("dispatch",), MIDDLE, "a handler asks the room that knows"),
    (("dispatch",), ("ftm", "item table", "modem/link/requests"), "a handler names the item or the request"),
    (MIDDLE, ("modem/link", "modem/link/requests"), "all of the library asks the modem through the link"),
    (MIDDLE, ("ftm", "item table"), "all of the library keeps its state in factory items"),
    (("carrier",), ("carrier/package",), "set-up reads the customisation package"),
    (("modem/link",), ("modem/link/requests",), "requests travel by their numbers"),
    (("ftm",), ("item table",), "the accessors are made from the rows"),
    (LIBRARY, ("common",), "text, files, threads and the log are everybody's"),
    (LIBRARY, ("platform",), "what differs between the homes is called through the platform's headers"),
    (("virtual_phone",), ("item table",), "a ready-made phone has items, which have names"),
    ((*LIBRARY, "platform", "virtual_phone"), ("records",), "the two records are part of every contract"),
    (("virtual_phone",), ("platform",), "the bench is a home: it implements them"),
    (("virtual_phone",), ("modem/link/requests",), "the other side of the link has the same contract"),
    (("daemon",), ("include/fcx", "modem/link/requests", "virtual_phone"), "a daemon opens a phone and calls the library"),
    (("daemon",), ("platform",), "what its mutexes guard says so"),
    (("exploration",), ("daemon", "include/fcx", "virtual_phone"), "it lets a daemon work on copies of a phone, and disturbs what it does"),
    (("tools",), ("exploration",), "the tool shows what was tried"),
    (("simulation",), ("daemon", "virtual_phone"), "a life is what a daemon is asked to do, and what the phone holds then"),
    (("simulation",), ("modem/link/requests",), "faults stand on the requests that commands make"),
    (("station",), ("daemon",), "a plan names the daemon's commands, and its AT lines have their limits"),
    (("station",), ("dispatch", "records"), "and commands have opcodes and requests their size"),
    (("station",), ("virtual_phone",), "a ledger in a file is a database as a phone's is, and errors are the bench's"),
    (("station",), ("platform",), "what its mutexes guard says so"),
    (("tools",), ("station",), "the tool checks and runs plans, and shows what the ledger has"),
    (("tools",), ("daemon",), "only the daemon opens a phone"),
    (("tools",), ("simulation",), "a life is drawn by the simulation, and printed by the tool"),
    (("tools",), ("include/fcx", "modem/link/requests", "virtual_phone"), "the tool shows what the library and the bench have"),
    (("examples",), ("include/fcx",), "what another daemon has: the installed headers"),
    (("tests", "benchmarks", "fuzz"), ("include/fcx", "modem/link/requests", "platform", "virtual_phone"),
     "they call what a daemon or a home calls, and look at the phone"),
    (("tests",), ("common",), "what has no public header is tested where it is"),
    (("tests", "fuzz"), ("services/screen",), "each processor's conversions are compared, and image files read without a program"),
    (("tests", "fuzz", "benchmarks"), ("daemon",), "AT lines and frames are the daemon's, and so is the server"),
    (("tests", "fuzz"), ("station",), "plans are read that people and fuzzers have written"),
    (("tests",), ("simulation",), "lives are lived by phones that are tampered with"),
    (("tests",), ("station",), "two stations draw from one ledger"),
    (("tests",), ("exploration",), "verdicts are compared over made-up phones, and how processes end"),
    (("fuzz",), ("benchmarks",), "targets run on the same quick modem and properties"),
]

# The rooms in the middle need each other in these places, and no two files need each other: who
# includes, the header, the file that implements what is asked for, and why.
PAIRS = [
    ("devices/checksums.cpp", "include/fcx/customisation.h", "carrier/package/files.cpp",
     "an identifier of the product tree is read through the service"),
    ("devices/checksums.cpp", "include/fcx/version_info.h", "modem/version_info/fixed_area_version.cpp",
     "the code's checksum is of the build-identifier files"),
    ("modem/identity_items.cpp", "include/fcx/bt_address.h", "devices/bt_address.cpp",
     "an identity reset gives the device its default Bluetooth address"),
    ("modem/identity_items.cpp", "include/fcx/device_functions.h", "devices/device_functions.cpp",
     "the default addresses are made of the serial number"),
    ("modem/identity_items.cpp", "include/fcx/network_code.h", "carrier/network_code.cpp",
     "the network code is an identity, too"),
    ("modem/identity_items.cpp", "include/fcx/single_binary.h", "carrier/network_code_rewrite.cpp",
     "an identity reset starts carrier set-up anew"),
    ("modem/modem_power.cpp", "include/fcx/system_control.h", "services/power.cpp",
     "the modem's files are flushed before it is reset"),
    ("modem/version_info/factory_version.cpp", "include/fcx/customisation.h", "carrier/package/key_values.cpp",
     "the carrier's files are part of the software's version"),
    ("modem/version_info/factory_version.cpp", "include/fcx/mcc_lookup.h", "carrier/network_code_list.cpp",
     "and so is the network code"),
    ("modem/version_info/fixed_area_version.cpp", "include/fcx/customisation.h", "carrier/package/files.cpp",
     "an identifier of the product tree is read through the service"),
    ("modem/version_info/property_files.cpp", "include/fcx/customisation.h", "carrier/package/key_values.cpp",
     "pieces of the version are values of the package's files"),
    ("devices/factory_reset.cpp", "include/fcx/system_control.h", "services/power.cpp",
     "the phone restarts for a factory reset"),
    ("modem/usb_mode.cpp", "include/fcx/sysfs.h", "services/sysfs.cpp",
     "the lock of the USB mode is a kernel attribute"),
    ("services/fixed_area_version.cpp", "include/fcx/version_info.h", "modem/version_info/fixed_area_version.cpp",
     "the stored fixed-area version follows the phone's own"),
    ("services/logs/collect.cpp", "include/fcx/device_functions.h", "devices/sd_card.cpp",
     "logs go to the SD card, too"),
    ("services/nv_sync.cpp", "include/fcx/version_info.h", "modem/version_info/factory_version.cpp",
     "the modem keeps the versions that are reported"),
    ("services/version_items.cpp", "include/fcx/version_info.h", "modem/version_info/factory_version.cpp",
     "the stored versions follow the reported ones"),
    ("services/power_off_with_cable.cpp", "include/fcx/usb_mode.h", "modem/usb_mode.cpp",
     "the USB state tells whether the cable is there"),
    ("benchmarks/last_log_bench.cpp", "services/logs/last_log.h", "services/logs/last_log.cpp",
     "records are inflated beside zlib"),
    ("fuzz/last_log.cpp", "services/logs/last_log.h", "services/logs/last_log.cpp",
     "a record is fed to what inflates it"),
    ("benchmarks/carrier_bench.cpp", "carrier/calling_codes.h", "carrier/calling_codes.h",
     "every calling code is looked up"),
]

_INCLUDE = re.compile(r'^[ \t]*#(?:[ \t]|\\\n)*include(?:_next)?\b(?:[ \t]|\\\n)*(.*)$', re.MULTILINE)


def room_of(path):
    """The name of the room that a file is in, or None."""
    inside = [room for room in ROOMS if path.startswith((room + "/", room + "."))]
    return max(inside, key=len, default=None)


def _includes(tree, source):
    """(line, path or None for what is not the project's, text) of each #include."""
    for found in _INCLUDE.finditer(source.plain):
        text = found.group(1).strip()
        name = re.match(r'"([^"]+)"|<([^>]+)>', text)
        path = None
        if name:
            path = next((p for p in (name.group(1) or name.group(2), f"include/{name.group(1) or name.group(2)}")
                         if p in tree.sources), None)
        yield source.line_of(found.start(1)), path, text


class _Allowances:
    """The arrows and pairs, and which of them a file has needed."""

    def __init__(self):
        self.used = set()

    def _arrow(self, a, rooms):
        found = [row for row in ARROWS if a in row[0] and any(room in row[1] for room in rooms)]
        self.used.update(map(id, found))
        return bool(found)

    def refusal(self, path, target):
        """Why this file must not include that one; None when it may."""
        a = room_of(path)
        pair = next((p for p in PAIRS if p[:2] == (path, target)), None)
        public = target.startswith("include/fcx/")
        if public:
            owners = PUBLIC.get(target[len("include/fcx/"):], ())
            if a == "include/fcx" or a in owners or self._arrow(a, (*owners, "include/fcx")):
                return None
        else:
            owners = (room_of(target),)
            if a == owners[0]:
                return None
            if self._arrow(a, owners) and any(
                    fnmatch(target.rsplit("/", 1)[-1], name) for name in ROOMS[owners[0]]):
                return None
        if pair:
            self.used.add(id(pair))
            return None
        if not public and any(a in row[0] and owners[0] in row[1] for row in ARROWS):
            return f"{target} is internal to {owners[0]}"
        return f"no arrow leads from {a} to {' or '.join(map(str, owners))} ({target})"

    def unused(self, tree):
        there = {room_of(path) for path in tree.sources} | {"records", "item table"}
        for row in ARROWS:
            # Rooms that are still to come need theirs later.
            if id(row) not in self.used and there & set(row[0]) and there & set(row[1]):
                yield f"no file needs the arrow {' '.join(row[0])} -> {' '.join(row[1])}"
        for pair in PAIRS:
            if id(pair) not in self.used:
                yield f"no file needs the pair {pair[0]} -> {pair[1]}"


def _circle(graph):
    """The nodes of one circle, from its first in the alphabet and back to it; None when there is none."""
    done = set()

    def walk(node, way):
        if node in way:
            return way[way.index(node):]
        if node in done:
            return None
        for following in sorted(graph.get(node, ())):
            found = walk(following, [*way, node])
            if found:
                return found
        done.add(node)
        return None

    for start in sorted(graph):
        found = walk(start, [])
        if found:
            first = found.index(min(found))
            return [*found[first:], *found[:first], found[first]]
    return None


def offences(tree):
    """(path, line, text) of each offence against the arrows."""
    for path in tree.strange():
        yield path, 1, "sources are named *.cpp, *.h and *.def"
    allowances = _Allowances()
    graph = {}
    for path, source in tree.sources.items():
        if room_of(path) is None:
            yield path, 1, "this folder is no room of the house (scripts/rules/house.py)"
            continue
        for line, target, text in _includes(tree, source):
            if target is None:
                if not text.startswith("<"):
                    yield path, line, f"includes are written from the root or from include/: {text}"
                continue
            if room_of(target) is None:
                continue
            graph.setdefault(path, set()).add(target)
            refusal = allowances.refusal(path, target)
            if refusal:
                yield path, line, refusal

    headers = {path[len("include/fcx/"):] for path in tree.sources if path.startswith("include/fcx/")
               and not path.endswith(".cpp")}
    listed = "scripts/rules/house.py"
    for name in sorted(headers - set(PUBLIC)):
        yield f"include/fcx/{name}", 1, "PUBLIC does not say who implements it"
    for name in sorted(set(PUBLIC) - headers):
        yield listed, 1, f"PUBLIC has include/fcx/{name}, which is not there"
    for text in allowances.unused(tree):
        yield listed, 1, text
    for path, header, implementation, _ in PAIRS:
        if implementation != header and header not in graph.get(implementation, ()):
            yield listed, 1, f"{implementation} does not implement {header}, as the pair of {path} says"
    for what, edges in (("include", graph), ("ask", _asking())):
        found = _circle(edges)
        if found:
            yield found[0], 1, f"files {what} each other in a circle: {' -> '.join(found)}"


def _asking():
    edges = {}
    for path, _, implementation, _ in PAIRS:
        if path != implementation:
            edges.setdefault(path, set()).add(implementation)
    return edges
