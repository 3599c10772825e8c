"""What CMake and the phone's image build: the same sources, and every interface. And what the phone's page has to say
of them: every property."""

import re
from fnmatch import fnmatchcase
from pathlib import PurePath

from rules.house import LIBRARY, room_of

CMAKE, IMAGE = "CMakeLists.txt", "Android.bp"
HOME = "platform/android/"  # the phone's, which CMake compiles in every build
INTERFACES, PACKAGES, MANIFEST = "interfaces/", "cmake/interfaces.cmake", "interfaces/manifest.xml"
PACKAGE_ROOT = "vendor.qve.hardware"
PAGE = "docs/phone.md"
PROPERTY = r"(?:persist|ro|sys|vendor|vold)\.[\w.-]+"


def _read(tree, path):
    return (tree.root / path).read_text(encoding="utf-8") if path in tree.files else ""


def _named(text, suffix):
    return set(re.findall(rf'"([^"\s]+{re.escape(suffix)})"', re.sub(r"//.*", "", text)))


def _cmake_sources(text):
    lists = re.findall(r"add_library\((?:fcx_common|fcx_phone_home)\s+\w+([^)]*)\)", text)
    return {word for each in lists for word in each.split() if word.endswith(".cpp")}


def _sources(tree):
    described = {CMAKE: _cmake_sources(_read(tree, CMAKE)), IMAGE: _named(_read(tree, IMAGE), ".cpp")}
    there = {path for path in tree.sources
             if path.endswith(".cpp") and (path.startswith(HOME) or room_of(path) in LIBRARY)}
    for description, sources in described.items():
        for path in sorted(there - sources):
            yield description, 1, f"{path} is not built"
        for path in sorted(sources - there):
            yield description, 1, f"{path} is no source of the library"


def _interfaces(tree):
    packages = re.search(r"set\(FCX_INTERFACE_PACKAGES\s+([^)]*)\)", _read(tree, PACKAGES))
    linked, manifest = _named(_read(tree, IMAGE), ""), _read(tree, MANIFEST)
    definitions = {}
    for path in tree.files:
        if path.startswith(INTERFACES) and path.endswith(".hal"):
            definitions.setdefault(str(PurePath(path).parent), set()).add(PurePath(path).name)
    names = {}
    for folder, files in sorted(definitions.items()):
        *parts, version = folder[len(INTERFACES):].split("/")
        name = names[folder] = f"{'.'.join([PACKAGE_ROOT, *parts])}@{version}"
        own = f"{folder}/{IMAGE}"
        text = _read(tree, own)
        if f'name: "{name}"' not in text or _named(text, ".hal") != files:
            yield own, 1, f"does not make {name} of {' '.join(sorted(files))}"
        if name not in linked:
            yield IMAGE, 1, f"{name} is not linked"
        for interface in sorted(file[:-len(".hal")] for file in files if file.startswith("I")):
            if not re.search(rf"<name>{re.escape(name.split('@')[0])}</name>(?:(?!</hal>).)*"
                             rf"<fqname>@{re.escape(version)}::{interface}/\w+</fqname>", manifest, re.DOTALL):
                yield MANIFEST, 1, f"{name}::{interface} has no instance"
    listed = set(packages[1].split()) if packages else set()
    for name in sorted(listed ^ set(names.values())):
        yield PACKAGES, 1, f"FCX_INTERFACE_PACKAGES and interfaces/ differ: {name}"


def _properties(tree):
    rows = re.findall(r"^\| (`.*?) \|", _read(tree, PAGE), re.MULTILINE)
    listed = {name for row in rows for name in re.findall(rf"`({PROPERTY}\*?)`", row) if "@" not in row}
    used = set()
    for path, source in sorted(tree.sources.items()):
        if room_of(path) not in LIBRARY:
            continue
        for found in re.finditer(rf'"({PROPERTY})"', source.plain):
            used.add(found[1])
            if not any(fnmatchcase(found[1], name) for name in listed):
                yield path, source.line_of(found.start()), f"{PAGE} does not have the property {found[1]}"
    for name in sorted(listed):
        if not any(fnmatchcase(each, name) for each in used):
            yield PAGE, 1, f"the library knows no property {name}"


def offences(tree):
    """(path, line, text) of each difference."""
    yield from _sources(tree)
    yield from _interfaces(tree)
    yield from _properties(tree)
