"""What the logs of a fuzz campaign say, and what a campaign shall come to."""
import re
from typing import NamedTuple

# Executions that a target shall have: those that parse files take the longest to get anywhere.
WANTED = {name: 1_000_000 for name in ["box_tree", "films", "hinted_video", "isoff_open", "kit_file", "second_reader",
                                       "selection", "stream_file"]}
WANTED["others"] = 500_000


class Figures(NamedTuple):
    executions: int
    edges: int
    kept: int


def figures_of(log):
    text = log.read_text(errors="replace")
    final = re.search(r"stat::number_of_executed_units: (\d+)", text)
    steps = re.findall(r"^#(\d+)\t.* cov: (\d+) .* corp: (\d+)/", text, re.M)
    # A run that was ended from outside has no final figures.
    executions = int(final[1]) if final else int(steps[-1][0]) if steps else 0
    return Figures(executions, max((int(step[1]) for step in steps), default=0), int(steps[-1][2]) if steps else 0)
