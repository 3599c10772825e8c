"""One name, one type: two of one name in a namespace are one to the linker, which takes either's functions for both."""

import re

from .house import room_of

# Each of their files is a program of its own, or of namespaces without names.
PROGRAMS = ("tests", "benchmarks", "fuzz", "examples")

_TOKEN = re.compile(r"\bnamespace\s*([\w:]*)\s*\{|\b(?:class|struct|union|enum(?:\s+class)?)\s+(?:\w+\([^{};]*?\)\s+)?(\w+)"
                    r"(?:\s+final)?\s*(?::[^:;{}][^;{}]*)?\{|[{}]")


def _types(code):
    """(name with its namespaces, position) of each type that other files could see."""
    around = []  # the namespaces, and None for all else that is open
    for token in _TOKEN.finditer(code):
        if token.group() == "}":
            if around:
                around.pop()
        elif token.group(1) is not None:
            around.append(token.group(1) or None)
        else:
            if token.group(2) and None not in around:
                yield "::".join([*around, token.group(2)]), token.start()
            around.append(None)


def offences(tree):
    """(path, line, text) of each type whose name another file has given, too."""
    first = {}
    for path, source in tree.sources.items():
        if room_of(path) in PROGRAMS:
            continue
        for name, position in _types(source.code):
            other = first.setdefault(name, path)
            if other != path:
                yield path, source.line_of(position), f"{name} is a type of {other}, too"
