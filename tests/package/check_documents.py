#!/usr/bin/env python3
"""check_documents.py TOP LIBRARY_DIR CC CXX: compiles, and runs on a sample, every whole program in the documents.

A whole program is a fenced block of C or C++ that has a main function. A block of C or C++ without one is compiled only.
Links to files of the project must lead somewhere. Each line of the oddities and the decisions has a name of its own, and each
comment on behaviour that is kept says for whom, and names its line of the oddities.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

top, library, cc, cxx = pathlib.Path(sys.argv[1]), *sys.argv[2:5]
BLOCK = re.compile(r"^```(c|cpp|c\+\+)\n(.*?)^```", re.M | re.S)
KEPT = re.compile(r"kept for [^.\[]+((?: \[[^]]+\])+)", re.I)
ROOMS = "boxes common formats h263 host include iso kit packets second_reader session tools".split()
LINK = re.compile(r"\]\((?!https?:|#)([^)#]+)(?:#[^)]*)?\)")


def check_block(language, code, where, scratch):
    is_c = language == "c"
    source = scratch / ("block.c" if is_c else "block.cpp")
    source.write_text(code)
    command = [cc, "-std=c99"] if is_c else [cxx, "-std=c++17"]
    command += ["-Wall", "-Wextra", "-Werror", "-I", str(top / "include"), str(source)]
    whole = re.search(r"\bmain\s*\(", code)
    program = scratch / "program"
    libraries = ["-lqlip_host", "-lqlip"] if "qlip/host.h" in code else ["-lqlip"]
    command += ["-L", library, *libraries, f"-Wl,-rpath,{library}", "-o", str(program)] if whole else ["-fsyntax-only"]
    subprocess.run(command, check=True)
    if whole:
        sample = top / "samples" / ("h263_hinted_pt96.3gp" if "C3gpInterface" in code else "amrnb.3gp")
        run = subprocess.run([str(program), str(sample), str(scratch / "out")], stdout=subprocess.PIPE, timeout=60)
        if run.returncode != 0:
            sys.exit(f"{where}: the program ended with {run.returncode}")


def names_of(kind, seen):
    """The names of a kind's lines: of those that hosts must know, and of those inside."""
    names = set()
    for document in (top / f"docs/{kind}.md", top / f"docs/internals/{kind}.md"):
        for line in re.findall(r"^- .*", document.read_text(), re.M):
            name = re.match(r"- `([a-z0-9-]+)`: ", line)
            if not name or name[1] in seen:
                sys.exit(f"{document}: this line has no name, or that of another one: {line}")
            seen.add(name[1])
            names.add(name[1])
    return names


def comments_of(text):
    """The comments of a source file, each on one line."""
    found = re.findall(r"//[^\n]*(?:\n[ \t]*//[^\n]*)*|/\*.*?\*/", text, re.S)
    return (" ".join(comment.replace("//", " ").split()) for comment in found)


def check_kept_comments(oddities):
    count = 0
    for source in (path for room in ROOMS for path in sorted((top / room).rglob("*.[ch]*"))):
        for comment in comments_of(source.read_text()):
            for kept in re.finditer(r"\bkept\b", comment, re.I):
                told = KEPT.match(comment, kept.start())
                if not told:
                    sys.exit(f"{source}: kept for whom, and by which line of docs/oddities.md? {comment}")
                for name in set(re.findall(r"\[([^]]+)\]", told[1])) - oddities:
                    sys.exit(f"{source}: the oddities have no line {name}")
                count += 1
    return count


names = set()
oddities = names_of("oddities", names)
names_of("decisions", names)
print(f"{check_kept_comments(oddities)} comments on {len(oddities)} oddities")

blocks = 0
for document in sorted([*top.glob("*.md"), *top.glob("docs/**/*.md")]):
    text = document.read_text()
    for target in LINK.findall(text):
        if not (document.parent / target).exists():
            sys.exit(f"{document}: link to {target} leads nowhere")
    for number, (language, code) in enumerate(BLOCK.findall(text), 1):
        with tempfile.TemporaryDirectory() as scratch:
            check_block(language, code, f"{document} block {number}", pathlib.Path(scratch))
        blocks += 1
print(f"{blocks} blocks of code checked")
