#!/usr/bin/env python3
"""fuzz_ledger.py CAMPAIGN DOCUMENT: writes the document's section on fuzzing from the logs of a campaign."""
import datetime
import json
import pathlib
import re
import sys

from fuzz_logs import figures_of

TITLE = "## Fuzzing"


def ledger(campaign):
    commits = ", ".join(dict.fromkeys((campaign / "commits").read_text().split()))
    rows, total = [], 0
    broken = len(list((campaign / "found").iterdir()))  # one that is mended is taken away
    by_target = {}
    for log in sorted((campaign / "logs").iterdir()):
        by_target.setdefault(log.name.split(".")[0], []).append(log)
    for target, logs in sorted(by_target.items()):
        runs = [figures_of(log) for log in logs]
        executions = sum(run.executions for run in runs)
        total += executions
        rows.append(f"| `{target}` | {executions:,} | {max(run.edges for run in runs):,} | {max(run.kept for run in runs):,} |")
    lines = [
        TITLE, "",
        f"Written by `scripts/fuzz` on {datetime.date.today()} at {commits}: {total:,} executions under the address and",
        f"undefined-behaviour sanitizers; inputs that broke a target and are not mended: {broken}.", "",
        "| Target | Executions | Edges | Corpus |", "|---|---|---|---|", *rows, "",
    ]
    faults = campaign / "faults.json"
    if faults.exists():
        tests = [test for suite in json.loads(faults.read_text())["testsuites"] for test in suite["testsuite"]]
        points = [(key.removeprefix("points of "), count) for test in tests for key, count in test.items() if "points of " in key]
        total = sum(int(count) for _, count in points)
        lines += [
            f"Points of failure: {total:,} times an allocation failed, alone or with all later ones, and a life of its user ended",
            "with the status that it must have and nothing left behind (`tests/memory`): "
            + ", ".join(f"{name} {int(count):,}" for name, count in points) + ".", "",
        ]
    bombs = campaign / "bombs.md"
    if bombs.exists() and bombs.stat().st_size > 0:
        lines += [
            "Files that are made to cost much, each handled once. `Before` is what they cost while nothing was bounded, without",
            "sanitizers. Memory is all that was asked for in bytes, also when it was given back or never touched; what a signal",
            "takes that is thrown counts, too. Kept is what was not given back. `bombs` fails when a file costs more than 32 calls",
            "of the host's for a byte and 20,000, or passes the bounds of its row.", "",
            "| File | Bytes | Before | Calls | Memory | Kept | Lines | Reads | CPU ms | Outcome |",
            "|---|---|---|---|---|---|---|---|---|---|",
            *bombs.read_text().splitlines(), "",
        ]
    return "\n".join(lines)


def main():
    campaign, document = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    text = document.read_text() if document.exists() else "# Robustness\n"
    section = re.compile(rf"^{TITLE}\n.*?(?=^## |\Z)", re.M | re.S)
    new = ledger(campaign)
    text = section.sub(lambda _: new + "\n", text) if section.search(text) else text.rstrip() + "\n\n" + new
    document.write_text(text.rstrip() + "\n")


if __name__ == "__main__":
    main()
