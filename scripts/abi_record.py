#!/usr/bin/env python3
"""Reads what abidw writes and prints it so that it does not depend on where, and by whom, the library was
built: one unit instead of one a source file, types called by their names instead of by numbers, all of it in
alphabetical order. Of others' types only the names are left: what they consist of is not the library's to promise."""

import re
import sys
import xml.etree.ElementTree as ElementTree

REFERENCES = ("type-id", "naming-typedef-id", "method-class-id")
# The standard library's, minizip's and libxml2's.
OTHERS = re.compile(r"(std|__gnu_cxx|__pthread\w*|_IO_\w+|tm_(un)?zip\w*|(un)?z(ip)?_\w+|zlib_\w+|_?xml\w+)$")


class Names:
    """What each type is called, by the identifier that abidw has given it."""

    def __init__(self, unit):
        self.types, self.scopes, self.names = {}, {}, {}
        self._enter(unit, ())
        taken = set()
        for identifier in sorted(self.types, key=lambda found: (self._name(found), self._content(found))):
            name = unique = self._name(identifier)
            while unique in taken:  # as a declaration and the definition
                unique += "'"
            taken.add(unique)
            self.names[identifier] = unique

    def _enter(self, element, scope):
        if element.tag in ("namespace-decl", "class-decl", "union-decl"):
            inside = scope + (element.get("name"),)
        else:
            inside = scope
        if element.get("id"):
            self.types[element.get("id")] = element
            self.scopes[element.get("id")] = scope
        for child in element:
            self._enter(child, inside)

    def _content(self, identifier):
        return [sorted((name, value) for name, value in element.items() if name not in ("id", *REFERENCES))
                for element in self.types[identifier].iter()]

    def _name(self, identifier):
        if identifier not in self.types:
            return "void" if identifier is None else identifier
        element = self.types[identifier]
        target = element.get("type-id")
        if element.tag == "pointer-type-def":
            return self._name(target) + "*"
        if element.tag == "reference-type-def":
            return self._name(target) + ("&" if element.get("kind") == "lvalue" else "&&")
        if element.tag == "qualified-type-def":
            return self._name(target) + "".join(f" {word}" for word in ("const", "volatile", "restrict")
                                                if element.get(word) == "yes")
        if element.tag == "array-type-def":
            return self._name(target) + "".join(f"[{part.get('length')}]" for part in element)
        if element.tag == "subrange":
            return f"[{element.get('length')}]"
        if element.tag == "function-type":
            *arguments, result = [self._name(part.get("type-id")) for part in element]
            owner = self._name(element.get("method-class-id")) + "::" if element.get("method-class-id") else ""
            return f"{result}({owner})({', '.join(arguments)})"
        return "::".join(self.scopes[identifier] + (element.get("name"),))


def key(element):
    """Where an element stands among its siblings."""
    if element.tag == "data-member":
        return "", int(element.get("layout-offset-in-bits", -1)), element[0].get("name") or "", ""
    inner = element[0] if element.tag in ("member-function", "member-type") else element
    return (element.tag, int(inner.get("vtable-offset", -1)), inner.get("mangled-name") or inner.get("id", ""),
            inner.get("name", ""))


def merge(elements):
    """One of each namespace."""
    merged, namespaces = [], {}
    for element in elements:
        if element.tag != "namespace-decl":
            merged.append(element)
        elif element.get("name") in namespaces:
            namespaces[element.get("name")].extend(element)
        else:
            namespaces[element.get("name")] = element
    for namespace in namespaces.values():
        namespace[:] = merge(namespace)
    return [*merged, *namespaces.values()]


def close(elements, is_others=False):
    """Leaves nothing but the name of a type of others."""
    for element in elements:
        of_others = is_others or OTHERS.match(element.get("name") or "") is not None
        if element.tag == "namespace-decl":
            close(element, of_others)
        elif of_others and element.tag in ("class-decl", "union-decl"):
            element[:] = []
            element.attrib.pop("size-in-bits", None)
            element.set("is-declaration-only", "yes")


def prune(unit):
    """Takes out the types that no function and no variable leads to."""
    holders = {}  # of each type, the element below a namespace that it is in

    def find(elements):
        for element in elements:
            if element.tag == "namespace-decl":
                find(element)
            else:
                holders.update((part.get("id"), element) for part in element.iter() if part.get("id"))

    find(unit)
    kept, waiting = set(), [part for part in unit.iter() if part.tag in ("function-decl", "var-decl")
                            and part.get("elf-symbol-id")]
    while waiting:
        for part in waiting.pop().iter():
            for holder in (holders[part.get(name)] for name in REFERENCES if part.get(name)):
                if holder not in kept:
                    kept.add(holder)
                    waiting.append(holder)

    def sweep(parent):
        for element in list(parent):
            if element.tag == "namespace-decl":
                sweep(element)
            if (element.get("id") and element not in kept) or (element.tag == "namespace-decl" and len(element) == 0):
                parent.remove(element)

    sweep(unit)


def main():
    corpus = ElementTree.parse(sys.stdin).getroot()
    # parson's functions are the library's only where the machine that builds has them.
    for symbols in corpus.findall("elf-function-symbols"):
        symbols[:] = [symbol for symbol in symbols if not symbol.get("name").startswith("json_")]
    units = corpus.findall("abi-instr")
    if not any(unit.find(".//function-decl") is not None for unit in units):
        sys.exit("the library has no debug information to read")
    whole = units[0]
    whole.set("path", corpus.get("soname"))
    for unit in units[1:]:
        whole.extend(unit)
        corpus.remove(unit)
    whole[:] = merge(whole)
    close(whole)
    prune(whole)
    names = Names(whole).names
    for element in whole.iter():
        for attribute in ("id", *REFERENCES):
            if element.get(attribute) in names:
                element.set(attribute, names[element.get(attribute)])
    for element in whole.iter():
        # Parameters, enumerators and dimensions have an order of their own.
        if element.tag in ("abi-instr", "namespace-decl", "class-decl", "union-decl"):
            element[:] = sorted(element, key=key)
    ElementTree.indent(corpus, " ")
    print(ElementTree.tostring(corpus, encoding="unicode"))


main()
