#!/usr/bin/env python3
"""check_exports.py LIBRARY LIST INCLUDE [--update]: what the library exports is what LIST says.

A line of the list is a header: how many signatures it declares, a digest of them, and their short names; those of a class
stand with the class's header. What compilers differ in is left out: the variants of a constructor or destructor count
once, tables and type information of a class only have to be of a class that the headers export. --update writes the list
anew: read its difference before you commit it.
"""
import collections
import functools
import hashlib
import pathlib
import re
import subprocess
import sys

library, listed, include = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
headers = {path.name: path.read_text() for path in sorted(include.rglob("*.h"))}
TABLES = ("_ZTV", "_ZTI", "_ZTS")


def run(*command, text=None):
    return subprocess.run(command, input=text, stdout=subprocess.PIPE, text=True, check=True).stdout


@functools.cache
def header_with(pattern):
    return next((header for header, text in headers.items() if re.search(pattern, text)), None)


def header_of_class(name):
    return header_with(rf"\b(class|struct) QLIP_API {name.split('::')[-1]}\b")


def header_and_name(signature):
    """("box.h", "Read") of a method or a function."""
    *scopes, name = re.sub(r"^(non-virtual|virtual) thunk to ", "", signature).split("(")[0].split("::")
    for scope in scopes:  # the outermost class; Vorn3gp is none
        if header := header_of_class(scope):
            return header, name
    return header_with(rf"(?<!\w){re.escape(name)}\s*[(;]"), name


mangled = [line.split()[0].split("@")[0] for line in run("nm", "-D", "--defined-only", "--format=posix", library).splitlines()]
readable = run("c++filt", text="\n".join(mangled) + "\n").splitlines()
lines = collections.defaultdict(dict)
faults = []
for symbol, signature in zip(mangled, readable):
    if symbol.startswith(TABLES):
        if not header_of_class(signature.split(" for ")[1]):
            faults.append(f"{signature}, which no header exports")
        continue
    header, name = header_and_name(signature)
    lines[header][signature] = name
faults += [f"{signature}: declared in no header" for signature in lines.pop(None, {})]


def line_of(header):
    names = lines[header]
    digest = hashlib.sha256("\n".join(sorted(names)).encode()).hexdigest()[:10]
    return f"{header} {len(names)} {digest}: {' '.join(sorted(set(names.values())))}"


found = {header: line_of(header) for header in sorted(lines)}
if "--update" in sys.argv:
    listed.write_text("\n".join(found.values()) + "\n")
expected = {line.split()[0]: line for line in listed.read_text().splitlines()}
for header in sorted(found.keys() | expected.keys()):
    if found.get(header) != expected.get(header):
        faults += [f"- {expected.get(header, header + ': not listed')}", f"+ {found.get(header, header + ': not exported')}"]
        faults += sorted(f"      {signature}" for signature in lines.get(header, {}))
if faults:
    sys.exit("\n".join([f"The exports of {library} differ from {listed}:", *faults,
                        f"Review them, then: {' '.join(sys.argv[:4])} --update"]))
print(f"{sum(map(len, lines.values()))} signatures in {len(lines)} headers")
