#!/usr/bin/env python3
"""fuzz_ledger.py CAMPAIGN DOCUMENT: writes the document's section on fuzzing from the logs of a campaign."""
import datetime
import pathlib
import re
import subprocess
import sys

from fuzz_logs import figures_of

TITLE = "## Fuzzing"


def ledger(campaign):
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], capture_output=True, text=True, check=True).stdout.strip()
    rows, total, broken = [], 0, 0
    by_target = {}
    for log in sorted((campaign / "logs").iterdir()):
        by_target.setdefault(log.name.split(".")[0], []).append(log)
    for target, logs in sorted(by_target.items()):
        runs = [figures_of(log) for log in logs]
        executions = sum(run.executions for run in runs)
        total += executions
        broken += sum(run.broken for run in runs)
        rows.append(f"| `{target}` | {executions:,} | {max(run.edges for run in runs):,} | {max(run.kept for run in runs):,} |")
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


if __name__ == "__main__":
    main()
