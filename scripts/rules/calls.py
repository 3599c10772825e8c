"""Calls and words that have one place in the library, or none."""

import re
from fnmatch import fnmatch

from rules.house import LIBRARY, room_of

EVERYWHERE = "*"

# What is said, where it counts, and where it does not, with the reason. `words` are patterns of whole
# words, which count wherever they stand. `calls` are names that mean other things too: they count when
# the function of that name is called or named with `::`. `members` count when an object's is called.
RULES = [
    {"text": "device files are opened, changed and removed in common/files.cpp only",
     "rooms": LIBRARY,
     "calls": "open open64 stat stat64 lstat access mkdir rename unlink remove rmdir link chmod chown lchown "
              "truncate utime utimes mount",
     "words": "fopen fopen64 freopen openat openat64 opendir fdopendir scandir ftw nftw creat creat64 renameat "
              "renameat2 unlinkat mkdirat mknod mknodat mkfifo fchmodat fchownat fstatat statx statfs statvfs "
              "faccessat linkat symlink symlinkat readlink readlinkat realpath truncate64 utimensat mkstemp "
              "mkostemp mkstemps mkdtemp tmpfile xmlParseFile xmlReadFile "
              "[io]?fstream filesystem",
     "but": {"common/files.*": "the one place"}},
    {"text": "archives are opened in services/logs/zip_streams.cpp only, over common/files.h",
     "rooms": LIBRARY,
     "words": "zipOpen(?:64|2|2_64|3)? unzOpen(?:64|2|2_64)? fill_fopen\\w*",
     "but": {"services/logs/zip_streams.cpp": "the one place"}},
    {"text": "sleeping, shell commands and flushing all files are the home's (platform/device_home.h)",
     "rooms": LIBRARY,
     "calls": "system sleep sync",
     "words": "syncfs usleep nanosleep clock_nanosleep sleep_for sleep_until popen"},
    {"text": "the library starts threads in common/threads.cpp only, and its one program in common/programs.cpp",
     "rooms": LIBRARY,
     "calls": "clone",
     "words": "fork vfork exec[lv]p?e? execvpe fexecve posix_spawnp? pthread_create std\\s*::\\s*(?:thread|async)",
     "but": {"common/threads.cpp": "the one place", "common/programs.cpp": "the one place"}},
    {"text": "properties are read and set in common/properties.cpp only",
     "rooms": LIBRARY,
     "words": "property_get\\w* property_set __system_property_\\w+",
     "but": {"common/properties.cpp": "the one place"}},
    {"text": "the factory item store is asked in ftm/store.cpp only",
     "rooms": LIBRARY,
     "words": "(?:init|[gs]et)_ftm_item get_ftm_(?:multi_item|path|block_size)",
     "but": {"ftm/store.cpp": "the one place"}},
    {"text": "the library throws nothing and calls nothing that throws or does not know sizes",
     "rooms": LIBRARY,
     "members": "at",
     "words": "throw sto(?:i|l|ul|ll|ull|f|d|ld) strcpy strcat v?sprintf gets"},
    {"text": "resources have owners",
     "rooms": EVERYWHERE,
     "calls": "free fclose"},
    {"text": "memory has owners",
     "rooms": LIBRARY,
     "words": "[mc]alloc realloc strn?dup v?asprintf"},
    {"text": "only platform/ knows which home it is in",
     "rooms": (*LIBRARY, "include/fcx", "tools", "daemon"),
     "words": "__ANDROID__ __ANDROID_API__ __BIONIC__"},
]

# What a resource's owner is called, and who may do without one.
OWNER = r"\b(?:unique_ptr|shared_ptr|sp)\s*<|\breset\s*\("
OWNERLESS = {"platform/immortal.h": "made in static storage, and never destroyed",
             "tests/memory.cpp": "takes the place of it"}


def _pattern(rule):
    """One pattern for all that a rule names. What is offended is its group `name`."""
    forms = []
    if "words" in rule:
        forms.append(rf"(?<!\w)(?:{'|'.join(rule['words'].split())})(?!\w)")
    if "calls" in rule:
        names = "|".join(rule["calls"].split())
        # Neither a member nor another scope's: after `std::` or a lone `::`, or without either.
        forms.append(rf"(?:(?<![\w>])\s*::\s*(?:{names})(?!\w)"
                     rf"|(?:\bstd\s*::\s*|(?<![\w.>:]))(?:{names})(?=\s*\())")
    if "members" in rule:
        forms.append(rf"(?:\.|->)\s*(?:{rule['members']})(?=\s*\()")
    return re.compile("|".join(forms))


def _matching(path, patterns):
    return next((pattern for pattern in patterns if fnmatch(path, pattern)), None)


def _named(tree):
    for rule in RULES:
        pattern, needed = _pattern(rule), set()
        exceptions = rule.get("but", {})
        for path, source in tree.sources.items():
            if rule["rooms"] != EVERYWHERE and room_of(path) not in rule["rooms"]:
                continue
            found = list(pattern.finditer(source.code))
            exception = _matching(path, exceptions)
            if exception is None:
                for each in found:
                    name = re.sub(r"\s+", "", each.group())
                    yield path, source.line_of(each.end() - 1), f"{rule['text']}: {name}"
            elif found:
                needed.add(exception)
        for unused in sorted(set(exceptions) - needed):
            yield "scripts/rules/calls.py", 1, f"{unused} does not need its exception from: {rule['text']}"


def _made(tree):
    """`new` without an owner, and `delete`."""
    ownerless = set()
    for path, source in tree.sources.items():
        for each in re.finditer(r"\b(new|delete)\b", source.code):
            before = source.code[:each.start()].rstrip()
            line = source.line_of(each.start())
            if each.group() == "delete":
                if not before.endswith("="):
                    yield path, line, "resources have owners: delete"
            elif before.endswith("<"):
                pass  # the header of that name
            elif path in OWNERLESS:
                ownerless.add(path)
            else:
                statement = re.split(r"[;}]|\{(?=.*\S)", before[-400:], flags=re.DOTALL)[-1]
                given = before.endswith(("(", "{")) and re.search(OWNER, statement)
                if not given or not re.match(r"new\s*\(\s*std\s*::\s*nothrow\s*\)", source.code[each.start():]):
                    yield path, line, "resources have owners: new (std::nothrow) only into one"
    for unused in sorted(set(OWNERLESS) - ownerless):
        yield "scripts/rules/calls.py", 1, f"{unused} does not need to be without an owner"


def _argument(code):
    """What stands in the parentheses that were opened just before."""
    depth = 1
    for end, character in enumerate(code):
        depth += {"(": 1, ")": -1}.get(character, 0)
        if depth == 0:
            return code[:end]
    return code


def _dropped(tree):
    """A call's result that is dropped, and no word about why."""
    cast = re.compile(r"\bstatic_cast\s*<\s*void\s*>\s*\(|\(\s*void\s*\)(?=\s*[\w:])|\bstd\s*::\s*ignore\s*=")
    for path, source in tree.sources.items():
        if room_of(path) in ("tests", "benchmarks", "fuzz"):
            continue
        lines = source.text.splitlines()
        for each in cast.finditer(source.code):
            rest = source.code[each.end():]
            what = _argument(rest) if each.group().endswith("(") else rest.split(";")[0]
            line = first = source.line_of(each.start())
            while first > 1 and lines[first - 2].endswith("\\"):
                first -= 1  # to where the macro begins
            if re.search(r"\w\s*\(", what) and not source.commented_lines & {line, first - 1}:
                yield path, line, "a result is dropped without a comment that says why"


def offences(tree):
    """(path, line, text) of each offence."""
    yield from _named(tree)
    yield from _made(tree)
    yield from _dropped(tree)
