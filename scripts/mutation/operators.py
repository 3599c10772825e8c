"""What is changed in a source to see whether a test notices: tables of changes, and where each fits."""

import re
from collections import Counter
from dataclasses import dataclass

# A binary operator, which stands between blanks, and what takes its place.
BINARY = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "&&": ("||",), "||": ("&&",), "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",),
    "+=": ("-=",), "-=": ("+=",), "&": ("|",), "|": ("&",), "^": ("&",), "<<": (">>",), ">>": ("<<",),
    "|=": ("&=",), "&=": ("|=",),
}

# A word, and what takes its place: constants, priorities, tags, error codes, result words, limits.
WORDS = {
    "true": ("false",), "false": ("true",),
    "ANDROID_LOG_INFO": ("ANDROID_LOG_ERROR",), "ANDROID_LOG_ERROR": ("ANDROID_LOG_INFO",),
    "DOMAIN_INFO": ("DOMAIN_ERROR", "HANDLER_INFO"), "DOMAIN_ERROR": ("DOMAIN_INFO", "HANDLER_ERROR"),
    "HANDLER_INFO": ("HANDLER_ERROR", "DOMAIN_INFO"), "HANDLER_ERROR": ("HANDLER_INFO", "DOMAIN_ERROR"),
    "QVCMD_OK": ("QVCMD_FAIL",), "QVCMD_FAIL": ("QVCMD_OK",),
    "min": ("max",), "max": ("min",), "front": ("back",), "back": ("front",),
    "find": ("rfind",), "rfind": ("find",), "find_first_of": ("find_last_of",), "find_last_of": ("find_first_of",),
    "continue": ("break",),
    **{error: ("ENOENT" if error == "EIO" else "EIO",) for error in (
        "EIO", "ENOENT", "ENOTDIR", "EACCES", "EPERM", "EEXIST", "EINVAL", "ENOMEM", "ENOSPC", "ENOTSUP", "ENAMETOOLONG",
        "ETIMEDOUT", "EINTR", "ELOOP", "EROFS", "EAGAIN", "EBUSY", "ENOTEMPTY", "EFBIG", "EBADMSG", "ENODEV")},
}

# A call that removing changes nothing but time: it is left alone.
ONLY_TIME = {"reserve", "shrink_to_fit"}
# What a wait is known by: a loop around one is made boundless.
WAITS = {"platform_sleep_us", "wait", "wait_for", "wait_until"}
# A wait with a bound, and the one without; it takes as many arguments as the number says.
BOUND_WAITS = {"wait": ("wait", 1), "pthread_cond_timedwait": ("pthread_cond_wait", 2)}

# Calls that make something outlive a power cut, and what such a call comes to when it does nothing and reports success.
SYNCS = {
    "platform_flush": "0", "fsync": "0", "fdatasync": "0", "syncfs": "0", "sync": "static_cast<void>(0)",
    "flush_directory_of": "fcx::Result()", "platform_sync": "static_cast<void>(0)", "system_efs_sync": "0",
}

_TOKEN = re.compile(
    r"""(?P<skip>[ \t\n]+|\\\n|//(?:\\\n|[^\n])*|/\*.*?\*/"""
    r"""|(?<![^\n])[ \t]*\#[ \t]*define[ \t]+\w+(?:\([^()]*\))?"""
    r"""|(?<![^\n])[ \t]*\#(?:\\\n|[^\n])*)"""
    r"""|(?P<raw>R"(?P<delimiter>[^\s()\\]{0,16})\(.*?\)(?P=delimiter)")"""
    r"""|(?P<text>"(?:\\.|[^"\\\n])*")|(?P<char>(?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])+')"""
    r"""|(?P<number>0[xX][0-9a-fA-F']+|\d[\d']*(?![\d.]))(?P<suffix>[uUlL]*)|(?P<float>\d[\d.]*)"""
    r"""|(?P<word>[A-Za-z_]\w*)"""
    r"""|(?P<sign><<=|>>=|\.\.\.|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|\[\[|\]\]|.)""",
    re.DOTALL)

_CLOSING = {"(": ")", "{": "}", "[": "]", "[[": "]]"}
_SCOPES = {"class", "struct", "union", "enum", "namespace", "extern", "template"}
_NO_CALL = {"return", "if", "while", "for", "switch", "do", "else", "case", "default", "goto", "delete", "new", "using",
            "typedef", "const", "constexpr", "static", "auto", "struct", "enum", "class", "friend", "break", "continue",
            "static_assert", "throw", "sizeof", "template", "inline", "extern", "explicit", "virtual", "operator"}
_CONTROL = {"if", "while", "for", "switch"}
_BARRED_CALLS = {"static_assert", "GUARDED_BY", "REQUIRES", "EXCLUDES", "ACQUIRE", "RELEASE", "TRY_ACQUIRE",
                 "CAPABILITY", "alignas", "decltype", "defined"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    path: str
    line: int
    operator: str
    change: str
    start: int
    end: int
    replacement: str
    shown: str  # the line

    def apply(self, text):
        return text[:self.start] + self.replacement + text[self.end:]

    @property
    def identity(self):
        """What names it in a list."""
        return self.path, self.shown, self.change


def one_line(text):
    return re.sub(r"\s+", " ", text).strip()


class Text:
    """A source as operators look at it: tokens, brackets, and what each brace holds."""

    def __init__(self, path, text):
        self.path, self.text = path, text
        self.tokens = [Token(found.lastgroup if found.lastgroup != "suffix" else "number", found.group(),
                             found.start(), found.end())
                       for found in _TOKEN.finditer(text) if found.lastgroup != "skip"]
        self.partner, self.around = self._brackets()
        self.barred = self._barred()
        self.holds = {i: self._what_holds(i) for i, token in enumerate(self.tokens)
                      if token.text == "{" and i in self.partner}

    def _brackets(self):
        partner, around, open_ones = {}, [], []
        for i, token in enumerate(self.tokens):
            is_sign = token.kind == "sign"
            if is_sign and open_ones and token.text == _CLOSING[self.tokens[open_ones[-1]].text]:
                partner[i], partner[open_ones[-1]] = open_ones[-1], i
                open_ones.pop()
            around.append(open_ones[-1] if open_ones else None)
            if is_sign and token.text in _CLOSING:
                open_ones.append(i)
        return partner, around

    def _barred(self):
        """Indexes of tokens in which nothing is changed: declarations that only the compiler reads."""
        barred = set()
        for i, token in enumerate(self.tokens):
            end = i
            if token.text in ("using", "namespace", "friend", "typedef"):
                end = self._until(i, (";", "{"))
            elif token.text in _BARRED_CALLS and self.is_at(i + 1, "("):
                end = self.partner.get(i + 1, i)
            elif token.text == "[[":
                end = self.partner.get(i, i)
            elif token.text == "template" and self.is_at(i + 1, "<"):
                end, depth = i + 1, 1
                while depth > 0 and end + 1 < len(self.tokens):
                    end += 1
                    depth += {"<": 1, ">": -1, ">>": -2}.get(self.tokens[end].text, 0)
            if end > i:
                barred.update(range(i, end + 1))
        return barred

    def _until(self, i, signs):
        while i + 1 < len(self.tokens) and self.tokens[i].text not in signs:
            i += 1
        return i

    def is_at(self, i, *texts):
        return 0 <= i < len(self.tokens) and self.tokens[i].text in texts

    def _what_holds(self, i):
        """What a brace holds: "code", "declarations" or "values"."""
        first = i - 1
        while first >= 0 and not (self.tokens[first].text in (";", "{", "}") and self.around[first] == self.around[i]) and (
                first != self.around[i]):
            first = self.partner[first] - 1 if self.tokens[first].text in (")", "]", "}", "]]") and first in self.partner else first - 1
        head = self.tokens[first + 1:i]
        if head and head[0].text in _SCOPES and self.tokens[i - 1].text not in (")", "const", "override", "=") and not (
                head[0].text == "template" and any(token.text == "(" for token in head)):
            return "declarations"
        if not head or self.is_at(i - 1, ")", "const", "noexcept", "override", "else", "do", "mutable", ":"):
            if head or self.around[i] is None or self.holds_code(self.around[i]):
                return "code" if head or self.around[i] is not None else "declarations"
            return "values"
        return "code" if any(self.is_at(k, "->") and self.is_at(k - 1, ")") for k in range(first + 1, i)) else "values"

    def holds_code(self, brace):
        return self._what_holds(brace) == "code" if self.tokens[brace].text == "{" else False

    def is_code(self, i):
        brace = self.around[i]
        return brace is not None and self.holds.get(brace) == "code"

    def line_of(self, position):
        return self.text.count("\n", 0, position) + 1

    def between(self, first, last):
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def split(self, open_one):
        """(first, last) indexes of what the commas between two brackets part."""
        parts, first, i, close = [], open_one + 1, open_one + 1, self.partner[open_one]
        while i < close:
            if self.tokens[i].text == ",":
                parts.append((first, i - 1))
                first = i + 1
            i = self.partner[i] if self.tokens[i].text in _CLOSING and i in self.partner else i
            i += 1
        if first < close:
            parts.append((first, close - 1))
        return [part for part in parts if part[0] <= part[1]]

    def statements(self):
        """(first, last) indexes of the plain statements in code, the last being the semicolon."""
        for i in range(1, len(self.tokens)):
            if not self.is_code(i) or not self._begins_statement(i):
                continue
            k = i
            while k < len(self.tokens) and self.tokens[k].text != ";":
                if self.tokens[k].text in _CLOSING and k in self.partner:
                    k = self.partner[k]
                elif self.tokens[k].text in (")", "}", "]"):
                    break
                k += 1
            if k < len(self.tokens) and self.tokens[k].text == ";":
                yield i, k

    def _begins_statement(self, i):
        before = self.tokens[i - 1]
        if before.text in (";", "{", "}", "else", "do"):
            return True
        if before.text == ":":
            return any(self.is_at(k, "case", "default") for k in range(max(0, i - 6), i))
        head = self.partner.get(i - 1)
        return before.text == ")" and head is not None and self.tokens[head - 1].text in _CONTROL


# Each operator below yields (first index, last index, replacement, change) of its changes to a text.


def binary(text):
    for i, token in enumerate(text.tokens):
        is_apart = text.text[token.start - 1:token.start].isspace() and text.text[token.end:token.end + 1].isspace()
        if token.kind == "sign" and is_apart and not text.is_at(i - 1, "template", "operator"):
            for other in BINARY.get(token.text, ()):
                yield i, i, other, f"{token.text} -> {other}"


def words(text):
    for i, token in enumerate(text.tokens):
        if token.kind == "word" and not (token.text == "find" and not text.is_at(i - 1, ".", "->")):
            for other in WORDS.get(token.text, ()):
                yield i, i, other, f"{token.text} -> {other}"


def numbers(text):
    for i, token in enumerate(text.tokens):
        if token.kind == "number":
            digits = re.sub(r"[uUlL']", "", token.text) if not token.text.lower().startswith("0x") else token.text.replace("'", "")
            digits = re.sub(r"[uUlL]+$", "", digits)
            base = 16 if digits.lower().startswith("0x") else 8 if re.fullmatch(r"0[0-7]+", digits) else 10
            try:
                value = int(digits, base)
            except ValueError:
                continue
            suffix = re.search(r"[uUlL]*$", token.text).group()
            for other in (value + 1, value - 1) if value > 0 else (1,):
                shown = {16: f"0x{other:X}", 8: f"0{other:o}"}.get(base, str(other)) + suffix
                yield i, i, shown, f"{token.text} -> {shown}"


def characters(text):
    for i, token in enumerate(text.tokens):
        if token.kind == "char":
            other = "'~'" if token.text != "'~'" else "'^'"
            yield i, i, other, f"{token.text} -> {other}"


def texts(text):
    for i, token in enumerate(text.tokens):
        if token.kind == "text" and len(token.text) > 2 and not text.is_at(i - 1, "extern", "operator"):
            said = token.text[1:-1]
            last = re.search(r"(\\(?:x[0-9A-Fa-f]+|[0-7]{1,3}|.)|[^\\])\Z", said).group()
            shorter, longer = f'"{said[:-len(last)]}"', f'"{said}~"'
            yield i, i, longer, f"{one_line(token.text)} -> {one_line(longer)}"
            if not re.search(r"%[-0-9.*lzh]*\Z", said[:-len(last)]):
                yield i, i, shorter, f"{one_line(token.text)} -> {one_line(shorter)}"


def negations(text):
    for i, token in enumerate(text.tokens):
        if token.text == "!" and token.kind == "sign":
            yield i, i, "", "! dropped"


def signs(text):
    for i, token in enumerate(text.tokens):
        if token.text == "-" and text.tokens[i + 1:i + 2] and text.tokens[i + 1].kind == "number" and (
                text.tokens[i + 1].start == token.end and text.is_at(i - 1, "return", "(", ",", "=", "==", "!=", "?", ":", "{", "<", ">")):
            yield i, i, "", f"-{text.tokens[i + 1].text} -> {text.tokens[i + 1].text}"


def _condition(text, i):
    """(first, last) indexes of a condition, which may have a declaration before it."""
    open_one = i + 1
    if not text.is_at(open_one, "(") or open_one not in text.partner:
        return None
    close = text.partner[open_one]
    halves = [k for k in range(open_one + 1, close) if text.tokens[k].text == ";" and text.around[k] == open_one]
    if text.tokens[i].text == "for":
        return (halves[0] + 1, halves[1] - 1) if len(halves) == 2 and halves[0] + 1 < halves[1] else None
    return (halves[-1] if halves else open_one) + 1, close - 1


def conditions(text):
    for i, token in enumerate(text.tokens):
        found = _condition(text, i) if token.text in ("if", "while") and token.kind == "word" else None
        if found is None:
            continue
        said = text.between(*found)
        if token.text == "if":
            yield *found, f"!({said})", f"if not ({one_line(said)})"
        yield *found, "false", f"{token.text} never ({one_line(said)})"


def endless_waits(text):
    for i, token in enumerate(text.tokens):
        if token.text in BOUND_WAITS and text.is_at(i + 1, "(") and text.is_code(i):
            other, count = BOUND_WAITS[token.text]
            parts = text.split(i + 1)
            if len(parts) > count:
                given = text.between(parts[0][0], parts[count - 1][1])
                yield i, text.partner[i + 1], f"{other}({given})", f"{token.text}() without a bound"
        if token.text in ("for", "while") and token.kind == "word":
            found = _condition(text, i)
            body = text.partner.get(i + 1, i) + 1
            end = text.partner[body] if text.is_at(body, "{") and body in text.partner else text._until(body, (";",))
            if found and any(each.text in WAITS for each in text.tokens[body:end]):
                yield *found, "true", f"{token.text} always ({one_line(text.between(*found))})"


def choices(text):
    for i, token in enumerate(text.tokens):
        if token.text != "?":
            continue
        k, colon = i + 1, None
        while k < len(text.tokens) and text.tokens[k].text not in (";", ",", ")", "}", "]"):
            if text.tokens[k].text == ":" and colon is None:
                colon = k
            elif text.tokens[k].text == "?":
                break
            k = text.partner[k] if text.tokens[k].text in _CLOSING and k in text.partner else k
            k += 1
        if colon is not None and text.tokens[k].text != "?" and i + 1 < colon < k - 1:
            one, other = text.between(i + 1, colon - 1), text.between(colon + 1, k - 1)
            yield i + 1, k - 1, f"{other} : {one}", f"? {one_line(one)} : {one_line(other)} exchanged"


def returns(text):
    for first, last in text.statements():
        if text.tokens[first].text != "return":
            continue
        if first + 1 == last:
            yield first, last, ";", "return dropped"
            continue
        said = text.between(first + 1, last - 1)
        if not re.fullmatch(r"\{\}|[\d']+|false|nullptr|std::nullopt", said):
            yield first, last, "return {};", f"return {one_line(said)} -> {{}}"
        if last - first > 2 and not said.startswith("{"):
            yield first, last, f"return !({said});", f"return {one_line(said)} -> its opposite"


def statements(text):
    for first, last in text.statements():
        token = text.tokens[first]
        said = one_line(text.between(first, last))
        if token.text in ("break", "continue"):
            yield first, last, ";", f"{token.text} dropped"
        if token.text in (*_NO_CALL, "{") or token.kind not in ("word", "sign"):
            continue
        k = first
        while text.is_at(k, "*", "++", "--", "("):
            k = text.partner[k] if text.is_at(k, "(") else k
            k += 1
        # A name, what it is asked for, and so on: two names beside each other declare something.
        name = None
        while k < last:
            each = text.tokens[k]
            if each.kind == "word" and text.tokens[k - 1].kind == "word" and k > first:
                name = None
                break
            if each.text == "<" and text.is_at(k + 1, "void", "int", "long", "char") :
                k = text._until(k, (">",))
            elif each.text in _CLOSING and k in text.partner:
                k = text.partner[k]
                name = name or text.tokens[k].text
            elif each.text in ("=", "+=", "-=", "|=", "&=", "*=", "/=", "++", "--"):
                name = "="
                break
            elif each.kind == "sign" and each.text not in ("::", ".", "->", "<", ">"):
                name = None
                break
            elif each.kind == "word":
                name = each.text
            k += 1
        if name is None and not text.is_at(first, "++", "--"):
            continue
        called = {text.tokens[k].text for k in range(first, last) if text.is_at(k + 1, "(")}
        if not called & ONLY_TIME:
            yield first, last, ";", f"{said} dropped"


def arguments(text):
    def shape(first, last):
        kinds = [text.tokens[k].kind if text.tokens[k].kind in ("word", "number", "text") else text.tokens[k].text
                 for k in range(first, last + 1)]
        return tuple(kinds) if kinds[0] in ("word", "number", "text") and "{" not in kinds else None

    for i, token in enumerate(text.tokens):
        if token.text != "(" or i not in text.partner or i == 0 or text.tokens[i - 1].kind != "word" or (
                text.tokens[i - 1].text in _NO_CALL):
            continue
        parts = text.split(i)
        for one, other in zip(parts, parts[1:]):
            a, b = text.between(*one), text.between(*other)
            if a != b and shape(*one) is not None and shape(*one) == shape(*other) and "word word" not in (
                    " ".join(text.tokens[k].kind for k in range(one[0], one[1] + 1))):
                yield one[0], other[1], f"{b}, {a}", f"{one_line(a)}, {one_line(b)} exchanged"


def rows(text):
    for brace, holds in text.holds.items():
        parts = text.split(brace)
        if holds != "values" or len(parts) < 3 or not text.is_at(brace - 1, "=", "{", ","):
            continue
        for first, last in parts:
            end = last + 1 if text.is_at(last + 1, ",") else last
            if text.tokens[first].kind != "number":
                yield first, end, "", f"{one_line(text.between(first, last))} left out"
    if text.path.endswith(".def"):
        for i, token in enumerate(text.tokens):
            if text.around[i] is None and token.kind == "word" and text.is_at(i + 1, "("):
                end = text.partner[i + 1]
                yield i, end, "", f"{one_line(text.between(i, end))} left out"


def enumerators(text, enums):
    for i, token in enumerate(text.tokens):
        values = enums.get(token.text)
        if values and text.is_at(i + 1, "::") and i + 2 < len(text.tokens) and text.tokens[i + 2].text in values and (
                not text.is_at(i - 1, "case")):
            value = text.tokens[i + 2].text
            other = values[(values.index(value) + 1) % len(values)]
            if other != value:
                yield i + 2, i + 2, other, f"{token.text}::{value} -> {other}"


OPERATORS = {
    "comparison or arithmetic": binary,
    "word": words,
    "number": numbers,
    "character": characters,
    "text": texts,
    "negation": negations,
    "sign": signs,
    "condition": conditions,
    "endless wait": endless_waits,
    "choice": choices,
    "return": returns,
    "statement": statements,
    "arguments": arguments,
    "row": rows,
}


def enums_of(sources):
    """The values of each enum class, by its name; of two with the same name none."""
    found, twice = {}, set()
    for source in sources:
        plain = re.sub(r"//[^\n]*", "", source)
        for name, values in re.findall(r"\benum (?:class )?(\w+)[^{};()]*\{([^{}]*)\}", plain):
            listed = re.findall(r"(?:^|,)\s*(\w+)", values)
            if name in found and found[name] != listed:
                twice.add(name)
            found[name] = listed
    return {name: values for name, values in found.items() if name not in twice and len(values) > 1}


def _mutant(text, operator, first, last, replacement, change):
    start, end = text.tokens[first].start, text.tokens[last].end
    line = text.line_of(start)
    return Mutant(text.path, line, operator, change, start, end, replacement, one_line(text.text.split("\n")[line - 1]))


def mutants(path, source, enums):
    """All mutants of a source, in the order in which they stand there."""
    text = Text(path, source)
    found = []
    every = [(name, lambda text, operator=operator: operator(text)) for name, operator in OPERATORS.items()]
    for name, operator in [*every, ("enumerator", lambda text: enumerators(text, enums))]:
        for first, last, replacement, change in operator(text):
            if first not in text.barred:
                found.append(_mutant(text, name, first, last, replacement, change))
    found.sort(key=lambda mutant: (mutant.start, mutant.end, mutant.replacement))
    numbered, seen, places = [], Counter(), set()
    for mutant in found:
        if (mutant.start, mutant.end, mutant.replacement) in places:
            continue
        places.add((mutant.start, mutant.end, mutant.replacement))
        # By its line's text it is known when lines above it have changed.
        seen[mutant.shown, mutant.change] += 1
        count = seen[mutant.shown, mutant.change]
        change = mutant.change if count == 1 else f"{mutant.change} ({count})"
        numbered.append(Mutant(**{**mutant.__dict__, "change": change}))
    return numbered


def syncs(path, source):
    """A mutant for each place at which something is made to outlive a power cut."""
    text = Text(path, source)
    found = {}
    for i, token in enumerate(text.tokens):
        # A name after another one, or after a type, is being declared.
        declared = i > 0 and (text.tokens[i - 1].kind == "word" and text.tokens[i - 1].text not in ("return", "else")
                              or text.is_at(i - 1, "*", "&", ".", "->"))
        if token.text not in SYNCS or not text.is_at(i + 1, "(") or declared:
            continue
        first, last, result = i, text.partner[i + 1], SYNCS[token.text]
        while text.is_at(first - 1, "::"):
            first -= 2 if first >= 2 and text.tokens[first - 2].kind == "word" else 1
        found[first, last] = _mutant(text, "sync", first, last, result, f"{one_line(text.between(first, last))} does nothing")
    return list(found.values())
