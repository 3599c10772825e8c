#!/usr/bin/env python3
"""Reads what abidw writes and prints it so that it does not depend on where, and by whom, the library was
built: one unit instead of one a source file, types called by their names instead of by numbers, all of it in
alphabetical order."""

import sys
import xml.etree.ElementTree as ElementTree

REFERENCES = ("type-id", "naming-typedef-id")


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


def main():
    corpus = ElementTree.parse(sys.stdin).getroot()
    units = corpus.findall("abi-instr")
    if not any(unit.find(".//function-decl") is not None for unit in units):
        sys.exit("the library has no debug information to read")
    whole = units[0]
    whole.set("path", corpus.get("soname"))
    for unit in units[1:]:
        whole.extend(unit)
        corpus.remove(unit)
    whole[:] = merge(whole)
    names = Names(whole).names
    for element in whole.iter():
        for attribute in ("id", "method-class-id", *REFERENCES):
            if element.get(attribute) in names:
                element.set(attribute, names[element.get(attribute)])
    for element in whole.iter():
        # Parameters, enumerators and dimensions have an order of their own.
        if element.tag in ("abi-instr", "namespace-decl", "class-decl", "union-decl"):
            element[:] = sorted(element, key=key)
    ElementTree.indent(corpus, " ")
    print(ElementTree.tostring(corpus, encoding="unicode"))


main()
