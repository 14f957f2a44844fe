#!/usr/bin/env python3
"""Prints the linker names a host may use from the installed headers.

Reads clang's JSON AST (-Xclang -ast-dump=json) of a translation unit that
includes every installed header, and prints, one per line, the mangled name
of each function and variable those headers declare without defining, and
the vtable and typeinfo names of each polymorphic class they define: exactly
what the shared library has to export, no more.

Usage: public_declarations.py INCLUDE_DIR < ast.json
"""
import json
import os
import sys

DECLARATION_KINDS = {"FunctionDecl", "CXXMethodDecl", "CXXConstructorDecl",
                     "CXXDestructorDecl", "VarDecl"}
SCOPE_KINDS = {"LinkageSpecDecl", "NamespaceDecl", "CXXRecordDecl"}


class FileTracker:
    """clang writes a location's file only when it differs from the location
    written before it, so the file of a node is known only by reading every
    location in the order clang wrote them."""

    def __init__(self):
        self.current = None

    def read(self, value):
        if isinstance(value, dict):
            for key, item in value.items():
                if key == "includedFrom":
                    continue
                if key == "file":
                    self.current = item
                elif key != "inner" and isinstance(item, (dict, list)):
                    self.read(item)
        elif isinstance(value, list):
            for item in value:
                self.read(item)


def declared_not_defined(node, in_class):
    """Whether the headers only declare `node`, leaving its definition (and
    so its symbol) to the library."""
    flags = ("isImplicit", "explicitlyDeleted", "explicitlyDefaulted", "pure", "inline",
             "constexpr")
    if any(node.get(flag) for flag in flags):
        return False
    if node["kind"] == "VarDecl":
        storage = node.get("storageClass")
        return "init" not in node and (storage == "extern" or (in_class and storage == "static"))
    return not any(child.get("kind") == "CompoundStmt" for child in node.get("inner", []))


def linker_names(node):
    name = node["mangledName"]
    if node["kind"] == "CXXConstructorDecl":
        # The complete and base object constructors.
        return [name, name.replace("C1E", "C2E", 1)]
    if node["kind"] == "CXXDestructorDecl":
        names = [name, name.replace("D1E", "D2E", 1)]
        if node.get("virtual"):
            names.append(name.replace("D1E", "D0E", 1))
        return names
    return [name]


def mangled_class(scopes, name):
    parts = [s for s in scopes if s] + [name]
    encoded = "".join(f"{len(part)}{part}" for part in parts)
    return encoded if len(parts) == 1 else f"N{encoded}E"


def walk(nodes, tracker, public_dir, scopes, names, in_class=False):
    for node in nodes:
        if "loc" in node:
            tracker.read(node["loc"])
        in_public = tracker.current is not None and \
            os.path.realpath(tracker.current).startswith(public_dir)
        for key, value in node.items():
            if key not in ("loc", "inner") and isinstance(value, (dict, list)):
                tracker.read(value)
        kind = node.get("kind")
        if in_public and kind in DECLARATION_KINDS and "mangledName" in node \
                and declared_not_defined(node, in_class):
            names.update(linker_names(node))
        if in_public and kind == "CXXRecordDecl" and node.get("completeDefinition") \
                and node.get("definitionData", {}).get("isPolymorphic"):
            cls = mangled_class(scopes, node["name"])
            names.update({f"_ZTV{cls}", f"_ZTI{cls}", f"_ZTS{cls}"})
        if kind in SCOPE_KINDS:
            inner_scopes = scopes + [node.get("name")] if kind != "LinkageSpecDecl" else scopes
            walk(node.get("inner", []), tracker, public_dir, inner_scopes, names,
                 kind == "CXXRecordDecl")
        else:
            tracker.read(node.get("inner", []))


def main():
    public_dir = os.path.realpath(sys.argv[1]) + os.sep
    ast = json.load(sys.stdin)
    names = set()
    walk(ast.get("inner", []), FileTracker(), public_dir, [], names)
    for name in sorted(names):
        print(name)


if __name__ == "__main__":
    main()
