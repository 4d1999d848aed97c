#!/usr/bin/env python3
"""fuzz_ledger.py CAMPAIGN DOCUMENT: writes the document's section on fuzzing from the logs of a campaign."""
import datetime
import pathlib
import re
import subprocess
import sys

TITLE = "## Fuzzing"


def figures_of(logs):
    executions, edges, kept = 0, 0, 0
    for log in logs:
        text = log.read_text(errors="replace")
        final = re.search(r"stat::number_of_executed_units: (\d+)", text)
        steps = re.findall(r"^#(\d+)\t.* cov: (\d+) .* corp: (\d+)/", text, re.M)
        # A run that was ended from outside has no final figures.
        executions += int(final[1]) if final else int(steps[-1][0]) if steps else 0
        edges = max([edges, *(int(step[1]) for step in steps)])
        kept = int(steps[-1][2]) if steps else kept
    return executions, edges, kept


def ledger(campaign):
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], capture_output=True, text=True, check=True).stdout.strip()
    rows, total = [], 0
    by_target = {}
    for log in sorted((campaign / "logs").iterdir()):
        by_target.setdefault(log.name.split(".")[0], []).append(log)
    for target, logs in sorted(by_target.items()):
        executions, edges, kept = figures_of(logs)
        total += executions
        rows.append(f"| `{target}` | {executions:,} | {edges:,} | {kept:,} |")
    broken = sum("ERROR: " in log.read_text(errors="replace") for logs in by_target.values() for log in logs)
    lines = [
        TITLE, "",
        f"Written by `scripts/fuzz` on {datetime.date.today()} at commit {commit}: {total:,} executions under the address and",
        f"undefined-behaviour sanitizers; {broken} runs ended with an input that broke a target.", "",
        "| Target | Executions | Edges | Corpus |", "|---|---|---|---|", *rows, "",
    ]
    bombs = campaign / "bombs.md"
    if bombs.exists() and bombs.stat().st_size > 0:
        lines += [
            "Files that are made to cost much, each handled once. Memory is all that was ever asked for, also when it was given",
            "back or never touched; a file that is open has 2 MB for its tables, and a session some 0.3 MB beside.", "",
            "| File | Bytes | Calls of the host's | Memory asked for | Lines | Outcome |", "|---|---|---|---|---|---|",
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


main()
