"""The public headers as Doxygen reads them, and docs/api.md, the page of what is in them."""

import re
import shutil
import subprocess
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

HEADERS = "include/fcx"
PAGE = "docs/api.md"

# A header says things once: the comment at its top is the file's, a `///` comment belongs to all declarations up
# to the next empty line, and a `//` comment with an empty line after it begins a family. Doxygen is told so.


def _documented(text):
    """The lines of a comment as Doxygen's own."""
    return [re.sub(r"^(\s*)//+", r"\1///", line) for line in text]


def _file_comment(lines):
    """A header's first comment: what the file is, and its example as code."""
    count = next(i for i, line in enumerate(lines) if not line.startswith("//"))
    out, in_example = ["/// @file"], False
    for line in lines[:count]:
        if line == "// Example:":
            in_example = True
            out += ["/// @par Example", "/// @code"]
        else:
            out.append(f"/// {line[5:]}".rstrip() if in_example else f"///{line[2:]}")
    return [*out, "/// @endcode"] if in_example else out, lines[count:]


def _is_comment(line):
    return line.strip().startswith("//") and not line.strip().startswith("///")


def filtered(text):
    """A header's text for Doxygen."""
    out, lines = _file_comment(text.splitlines())
    doc, in_family, statement = [], False, False
    i = 0
    while i < len(lines):
        line = lines[i].strip()
        if line.startswith("///"):
            doc = []
            while lines[i].strip().startswith("///"):
                doc.append(lines[i])
                i += 1
            out += doc
            continue
        if _is_comment(lines[i]):
            first = i
            while _is_comment(lines[i]):
                i += 1
            family = [each.strip()[2:].strip() for each in lines[first:i]]
            if lines[i].strip().startswith("#"):
                pass  # of macros
            elif lines[i].strip():
                # Of the declarations that follow it at once.
                doc = _documented(lines[first:i])
                out += doc
            else:
                title, _, rest = " ".join(family).partition(". ")
                out += ["/// @}"] if in_family else []
                out += [f"/// @name {title.rstrip('.:')}", f"/// {rest}", "/// @{"]
                in_family = True
            continue
        if re.match(r"#\s*(define|undef|include \"fcx/factory_items.def\")", line):
            # One with a comment is for callers; the others, and the rows that they make something of, are not.
            first = i
            while lines[i].endswith("\\"):
                i += 1
            i += 1
            out += lines[first:i] if doc else []
            doc = []
            continue
        ends_family = line.startswith(("#pragma GCC visibility pop", "private:", "public:", "};", "}  // namespace", "namespace "))
        if ends_family and in_family:
            out.append("/// @}")
            in_family = False
        out.append(lines[i])
        if not line or line.endswith("{"):
            doc = []
        elif doc and re.search(r"(;|\{.*\})(\s*//.*)?$", line):
            following = lines[i + 1].strip() if i + 1 < len(lines) else ""
            if following and not following.startswith(("//", "#", "}", "private:", "public:")):
                out += doc
        i += 1
    return "\n".join(out) + "\n"


def run(root, output, *settings):
    """Runs Doxygen. What it complains of, as (path, line, text)."""
    configuration = "\n".join([(root / "docs/Doxyfile").read_text(encoding="utf-8"), f"OUTPUT_DIRECTORY = {output}",
                               *settings])
    done = subprocess.run(["doxygen", "-"], input=configuration, cwd=root, capture_output=True, text=True)
    complaints = []
    for line in done.stderr.splitlines():
        found = re.match(r"(.*?):(\d+): (?:warning|error): (.*)", line)
        if found:
            path = Path(found.group(1))
            path = path.relative_to(root.resolve()) if path.is_absolute() else path
            complaints.append((str(path), int(found.group(2)), found.group(3)))
        elif line.strip():
            complaints.append(("docs/Doxyfile", 1, line.strip()))
    if done.returncode != 0 and not complaints:
        complaints.append(("docs/Doxyfile", 1, f"doxygen ends with {done.returncode}"))
    return complaints


def _text(element):
    """An element's text in one line, as Markdown."""
    if element is None:
        return ""
    for code in element.iter("computeroutput"):
        code.text = f"`{code.text}`"
    text = re.sub(r"\s+", " ", "".join(element.itertext())).strip()
    return text.replace("|", "\\|").replace("<", "\\<").replace("*", "\\*")


def _declared(member, name):
    """How a member is declared, in short: of a function all, of anything else the name."""
    arguments = member.findtext("argsstring") if member.get("kind") == "function" else None
    if not arguments:
        return name
    result = "".join(member.find("type").itertext())
    values = [parameter.findtext("declname") for parameter in member.findall("templateparamlist/param")]
    name += f"<{', '.join(values)}>" if values else ""
    return re.sub(r" ?([*&]+) ?", r"\1 ", f"{result} {name}{arguments}").replace(" )", ")").replace(" ,", ",").strip()


def _members(xml):
    """(location, declaration, element) of all that the headers declare."""
    for file in sorted(xml.glob("*.xml")):
        for compound in ElementTree.parse(file).getroot().findall("compounddef"):
            kind, owner = compound.get("kind"), compound.findtext("compoundname")
            prefix = "" if kind == "file" else f"{owner}::"
            if kind in ("class", "struct"):
                yield compound.find("location"), owner, compound
            elif kind not in ("file", "namespace"):
                continue
            for member in compound.iter("memberdef"):
                name = member.findtext("name")
                # What a class has without being asked is not told, and a struct's fields are in its header.
                is_own = kind == "class" and re.fullmatch(rf"operator=|~?{owner.split('::')[-1]}", name)
                if kind != "struct" and not is_own and member.get("prot") == "public" and (
                        member.get("kind") in ("function", "enum", "variable", "define")):
                    yield member.find("location"), _declared(member, prefix + name), member


def page(xml):
    """docs/api.md, from Doxygen's XML."""
    headers = {}
    for location, name, element in _members(xml):
        brief = _text(element.find("briefdescription"))
        headers.setdefault(location.get("file"), set()).add((int(location.get("line")), name, brief))
    out = ["# The exported headers", "",
           "Made by `scripts/update-docs` from the headers, which have the whole of it. An example stands at the head of",
           "each; `build/api/html` has the same as pages.", ""]
    for file in sorted(xml.glob("*_8h.xml")):
        compound = ElementTree.parse(file).getroot().find("compounddef")
        name = compound.find("location").get("file")
        out += [f"## [{name}](../include/{name})", "", _text(compound.find("briefdescription")), ""]
        rows = []
        for _, member, brief in sorted(headers.get(name, ())):
            shown = f"`{member}`"
            if rows and rows[-1][1] == brief:
                if shown not in rows[-1][0]:
                    rows[-1][0].append(shown)
            else:
                rows.append(([shown], brief))
        out += ["| | |", "|---|---|"] if rows else []
        out += [f"| {'<br>'.join(names)} | {brief} |" for names, brief in rows]
        out += [""] if rows else []
    return "\n".join(out).rstrip() + "\n"


def make(root):
    """Makes the page, and build/api/html. What Doxygen complains of."""
    (root / "build").mkdir(exist_ok=True)
    complaints = run(root, root / "build/api")
    (root / PAGE).write_text(page(root / "build/api/xml"), encoding="utf-8")
    return complaints


def offences(tree):
    """(path, line, text) of what is not documented, or not as it is, and of a page that is behind."""
    if shutil.which("doxygen") is None:
        yield "scripts/check", 1, "doxygen is not installed: scripts/install-packages check"
        return
    with tempfile.TemporaryDirectory() as output:
        yield from run(tree.root, output, "GENERATE_HTML = NO")
        xml = Path(output) / "xml"
        made = page(xml)
        for location, name, element in _members(xml):
            if _text(element.find("detaileddescription")) and not _text(element.find("briefdescription")):
                yield f"include/{location.get('file')}", 1, f"{name}: its comment does not begin with what it is"
    written = tree.root / PAGE
    if not written.exists() or written.read_text(encoding="utf-8") != made:
        yield PAGE, 1, "scripts/update-docs makes it anew"
