#!/usr/bin/env python3
"""Prints the medians of benchmark results as ratios of library to floor, and what else they measured."""
import json
import sys

COUNTERS = ("small_session_kb", "bytes_per_moov_byte", "memory_per_frame", "times_a_copy",
            "header_per_frame", "kb_per_stream", "us_per_open", "kb_per_session",
            "sessions_per_gib")

medians = {}
for path in sys.argv[1:]:
    with open(path, encoding="utf-8") as file:
        for row in json.load(file)["benchmarks"]:
            if row.get("aggregate_name") == "median":
                medians[row["run_name"]] = row


def cost(row):
    """Nanoseconds for an item, or for a whole iteration where items are not counted."""
    if "items_per_second" in row:
        return 1e9 / row["items_per_second"]
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[row["time_unit"]]
    return row["cpu_time"] * scale


print(f"{'measured':44} {'ns':>12} {'x floor':>8}")
for name, row in sorted(medians.items()):
    kind, _, rest = name.partition("/")
    floor = medians.get("floor/" + rest.partition("/")[0])
    ratio = f"{cost(row) / cost(floor):8.2f}" if kind == "library" and floor else " " * 8
    print(f"{name:44} {cost(row):12.1f} {ratio}")
    for counter in COUNTERS:
        if counter in row:
            print(f"  {counter:42} {row[counter]:12.2f}")
