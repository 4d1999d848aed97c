#!/usr/bin/env python3
"""check_exports.py LIBRARY LIST INCLUDE [--update]: what the library exports is what LIST says.

A line of the list is a class, or a header for what is in no class: how many signatures it has, a digest of them, and
their short names. What compilers differ in is left out: the variants of a constructor or destructor count once, tables and
type information of a class only have to be of a class that the headers export. --update writes the list anew: read its
difference before you commit it.
"""
import collections
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


def scope_and_name(signature):
    """("Vorn3gp::Box", "Read") of a method; of anything else the header that declares it, and its name."""
    words = re.sub(r"^(non-virtual|virtual) thunk to ", "", signature).split("(")[0].split("::")
    if len(words) > 1 and words[-2][0].isupper() and words[-2] != "Vorn3gp":
        return "::".join(words[:-1]), words[-1]
    name = re.compile(rf"(?<!\w){re.escape(words[-1])}\s*[(;]")
    return next((header for header, text in headers.items() if name.search(text)), "undeclared"), words[-1]


def exported(name):
    return any(re.search(rf"\b(class|struct) QLIP_API {name.split('::')[-1]}\b", text) for text in headers.values())


mangled = [line.split()[0].split("@")[0] for line in run("nm", "-D", "--defined-only", "--format=posix", library).splitlines()]
readable = run("c++filt", text="\n".join(mangled) + "\n").splitlines()
scopes = collections.defaultdict(dict)
faults = []
for symbol, signature in zip(mangled, readable):
    if symbol.startswith(TABLES):
        if not exported(signature.split(" for ")[1]):
            faults.append(f"{signature}, which no header exports")
        continue
    scope, name = scope_and_name(signature)
    scopes[scope][signature] = name
faults += [f"{signature}: declared in no header" for signature in scopes.pop("undeclared", {})]


def line_of(scope):
    names = scopes[scope]
    digest = hashlib.sha256("\n".join(sorted(names)).encode()).hexdigest()[:10]
    return f"{scope} {len(names)} {digest}: {' '.join(sorted(set(names.values())))}"


found = {scope: line_of(scope) for scope in sorted(scopes)}
if "--update" in sys.argv:
    listed.write_text("\n".join(found.values()) + "\n")
expected = {line.split()[0]: line for line in listed.read_text().splitlines()}
for scope in sorted(found.keys() | expected.keys()):
    if found.get(scope) != expected.get(scope):
        faults += [f"- {expected.get(scope, scope + ': not listed')}", f"+ {found.get(scope, scope + ': not exported')}"]
        faults += sorted(f"      {signature}" for signature in scopes.get(scope, {}))
if faults:
    sys.exit("\n".join([f"The exports of {library} differ from {listed}:", *faults,
                        f"Review them, then: {' '.join(sys.argv[:4])} --update"]))
print(f"{sum(map(len, scopes.values()))} signatures in {len(scopes)} classes and headers")
