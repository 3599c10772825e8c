"""The project's sources as the rules read them."""

import re
from pathlib import Path

SUFFIXES = {".cpp", ".h", ".def"}
STRANGE_SUFFIXES = {".c", ".cc", ".cxx", ".c++", ".hh", ".hpp", ".hxx", ".inl", ".inc", ".ipp"}

_TOKEN = re.compile(
    r'''//(?:\\\n|[^\n])*|/\*.*?\*/'''  # comments
    r'''|R"(?P<delimiter>[^\s()\\]{0,16})\(.*?\)(?P=delimiter)"'''
    r'''|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])+\'''',
    re.DOTALL)


def _blank(text):
    return re.sub(r"[^\n]", " ", text)


class Source:
    """One file: as it is (text), without comments (plain), and without what strings say (code)."""

    def __init__(self, root, path):
        self.path = path
        self.text = (root / path).read_text(encoding="utf-8", errors="replace")
        self.commented_lines = set()
        plain, code, end = [], [], 0
        for token in _TOKEN.finditer(self.text):
            between, found = self.text[end:token.start()], token.group()
            end = token.end()
            if found.startswith("/"):
                first = self.line_of(token.start())
                self.commented_lines.update(range(first, first + found.count("\n") + 1))
                plain += [between, _blank(found)]
                code += [between, _blank(found)]
            else:
                plain += [between, found]
                code += [between, found[0] + _blank(found[1:-1]) + found[-1]]
        self.plain = "".join(plain) + self.text[end:]
        self.code = "".join(code) + self.text[end:]

    def line_of(self, position):
        return self.text.count("\n", 0, position) + 1


class Tree:
    """All sources below a folder but those of builds and hidden ones, by their path from there."""

    def __init__(self, root):
        self.root = Path(root)
        self.files = []
        for top in sorted(self.root.iterdir()):
            if top.name.startswith((".", "build")):
                continue
            found = top.rglob("*") if top.is_dir() else [top]
            self.files += [file.relative_to(self.root).as_posix() for file in found if file.is_file()]
        self.files.sort()
        self.sources = {path: Source(self.root, path) for path in self.files
                        if Path(path).suffix in SUFFIXES}

    def strange(self):
        """Sources under a name that the rules would not look at."""
        return [path for path in self.files if Path(path).suffix in STRANGE_SUFFIXES]
