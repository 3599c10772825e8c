"""What `fcx boot` explains is what the library says: each row's log line or property is in its sources."""

import re
from collections import Counter
from re import _parser as parser

from rules.house import LIBRARY, room_of

REPORT = "tools/boot_report.cpp"
ENOUGH = 0.6  # of a pattern's own characters: what stands for `%s` is a value, and comes from elsewhere
ANY = None    # in place of a character: whatever stands there, or nothing

_STRING = r'"(?:\\.|[^"\\\n])*"'
_STRINGS = re.compile(rf"{_STRING}(?:\s*(?:PRI\w+\s*)?{_STRING})*")
_ROW = re.compile(rf"\{{\s*Kind::(line|property)\s*,\s*({_STRINGS.pattern})\s*,")
_PREFIX = re.compile(r"^(\[QVE\]\[SBP\](\[\w+\])? ?|persist\.vendor\.qve\.)")
_CONVERSION = re.compile(r"%%|%[-+ #0]*(?:\d+|\*)?(?:\.(?:\d+|\*))?(?:hh|h|ll|l|z|j|t)?[a-zA-Z]")
_ESCAPES = {"n": "\n", "t": "\t", "r": "\r", "0": "\0"}


def _text(strings):
    """What string literals that stand one after another say."""
    # A macro between two of them is what is left of a conversion.
    joined = re.sub(r'"\s*PRI\w+\s*"', "d", strings)
    joined = "".join(part[1:-1] for part in re.findall(_STRING, joined))
    return re.sub(r"\\(.)", lambda found: _ESCAPES.get(found[1], found[1]), joined)


def _format(text):
    """A format as characters, ANY for a conversion."""
    text, items, end = _PREFIX.sub("", text).rstrip("\n"), [], 0
    for found in _CONVERSION.finditer(text):
        items += [*text[end:found.start()], "%" if found[0] == "%%" else ANY]
        end = found.end()
    return [*items, *text[end:]]


def _alternatives(parsed):
    """A pattern as each of the rows of characters that it stands for, ANY for a class or a repetition."""
    rows = [[]]
    for kind, value in parsed:
        name = str(kind)
        if name == "LITERAL":
            following = [[chr(value)]]
        elif name == "SUBPATTERN":
            following = _alternatives(value[-1])
        elif name == "BRANCH":
            following = [row for branch in value[1] for row in _alternatives(branch)]
        elif name == "MAX_REPEAT" and value[:2] == (0, 1):
            following = [[], *_alternatives(value[2])]
        elif name == "AT":
            following = [[]]
        else:
            following = [[ANY]]
        rows = [[*row, *more] for row in rows for more in following]
    return rows


def _common(row, said):
    """How many characters a pattern and a format have in common where one line fits both, or -1."""
    impossible = -1
    below = None
    for i in range(len(row), -1, -1):
        best = [impossible] * (len(said) + 1)
        for j in range(len(said), -1, -1):
            if i == len(row) and j == len(said):
                best[j] = 0
                continue
            ways = []
            if i < len(row) and j < len(said) and row[i] is not ANY and row[i] == said[j] and below[j + 1] >= 0:
                ways.append(1 + below[j + 1])
            if i < len(row) and (row[i] is ANY or (j < len(said) and said[j] is ANY)):
                ways.append(below[j])
            if j < len(said) and (said[j] is ANY or (i < len(row) and row[i] is ANY)):
                ways.append(best[j + 1])
            best[j] = max(ways, default=impossible)
        below = best
    return below[0]


def _shown(items):
    return "".join(item or " " for item in items)


def _is_said(row, formats):
    own = Counter(row)
    del own[ANY]
    enough = ENOUGH * sum(own.values())
    # Most have not even the characters; that which is meant has the longest word.
    able = [said for said, characters in formats
            if len(said) >= enough and sum((own & characters).values()) >= enough]
    word = max(_shown(row).split(), key=len, default="")
    able.sort(key=lambda said: word not in _shown(said))
    return any(_common(row, said) >= enough for said in able)


def offences(tree):
    """(path, line, text) of each row that explains what the library never says."""
    report = tree.sources.get(REPORT)
    if report is None:
        return
    texts = {_text(found[0]) for path, source in tree.sources.items() if room_of(path) in LIBRARY
             for found in _STRINGS.finditer(source.plain)}
    # One that begins with a conversion may have its prefix from there.
    formats = {tuple(_format(text)) for text in texts | {text[3:] for text in texts if text.startswith("%s ")}}
    formats = [(said, Counter(said)) for said in sorted(formats, key=str)]
    names = {_PREFIX.sub("", text) for text in texts}
    rows = list(_ROW.finditer(report.plain))
    if not rows:
        yield REPORT, 1, "no row that explains a line was found"
    for row in rows:
        pattern, line = _text(row[2]), report.line_of(row.start(1))
        if row[1] == "property":
            if re.sub(r"\\(.)", r"\1", pattern).split("=")[0] not in names:
                yield REPORT, line, f"the library sets no such property: {pattern}"
        elif not all(_is_said(each, formats) for each in _alternatives(parser.parse(pattern))):
            yield REPORT, line, f"the library logs no such line: {pattern}"
