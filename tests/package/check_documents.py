#!/usr/bin/env python3
"""check_documents.py TOP LIBRARY_DIR CC CXX: compiles, and runs on a sample, every whole program in the documents.

A whole program is a fenced block of C or C++ that has a main function. A block of C or C++ without one is compiled only.
Links to files of the project must lead somewhere.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

top, library, cc, cxx = pathlib.Path(sys.argv[1]), *sys.argv[2:5]
BLOCK = re.compile(r"^```(c|cpp|c\+\+)\n(.*?)^```", re.M | re.S)
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
