"""How much of the code is tests."""

from pathlib import Path

AT_MOST = 1 / 3
TESTS = {".cpp", ".h", ".sh", ".py"}
PLACES = ("tests/", "python/tests/")
CODE = {".cpp", ".h", ".def", ".hal"}
NEITHER = ("benchmarks", "fuzz")


def _lines(tree, paths):
    """Lines that are neither blank nor a `//` comment."""
    return sum(1 for path in paths for line in (tree.root / path).read_text(encoding="utf-8").splitlines()
               if line.strip() and not line.lstrip().startswith("//"))


def share(tree):
    """Lines of tests, and of tests and code."""
    tests = [path for path in tree.files if path.startswith(PLACES) and Path(path).suffix in TESTS]
    code = [path for path in tree.files
            if not path.startswith((*PLACES, *(f"{room}/" for room in NEITHER)))
            and (Path(path).suffix in CODE or (path.startswith("python/fcx_station/") and path.endswith(".py")))]
    written = _lines(tree, tests)
    return written, written + _lines(tree, code)


def offences(tree):
    tests, all_lines = share(tree)
    if tests > AT_MOST * all_lines:
        yield "tests", 0, f"{tests} of {all_lines} lines are tests, {tests / all_lines:.1%}: at most a third may be"
