#!/usr/bin/env python3
"""fuzz_campaign.py CAMPAIGN SECONDS JOBS: runs the targets in CAMPAIGN/bin side by side, time and again whichever is the
furthest from the executions that it shall have."""
import os
import pathlib
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

from fuzz_logs import WANTED, figures_of

ALLOWED = ["-rss_limit_mb=1024", "-malloc_limit_mb=72", "-timeout=10"]
# Small files hold what there is to find, and go fast; each eighth slice takes whole films.
LONGEST = 7 * [1536] + [65536]
MOST_FAILURES = 8  # of a target: then there is enough to look at
# Large blocks come and go with every file that is opened: their shadow is cleared, not mapped anew. What broke is run
# again for a whole stack trace.
SANITIZER = "clear_shadow_mmap_threshold=1000000000:quarantine_size_mb=8:malloc_context_size=0"


class Target:
    def __init__(self, campaign, name):
        self.campaign, self.name = campaign, name
        self.slices = len(self.logs())
        self.executions = sum(figures_of(log).executions for log in self.logs())
        self.running, self.failures = False, 0

    def logs(self):
        return sorted((self.campaign / "logs").glob(f"{self.name}.*"))

    def may_run(self):
        return not self.running and self.failures < MOST_FAILURES

    def done(self):
        return self.executions / WANTED.get(self.name, WANTED["others"])

    def run(self, seconds):
        own = pathlib.Path("build/fuzz/corpus") / self.name
        own.mkdir(parents=True, exist_ok=True)
        corpora = [own, *(kept for kept in [pathlib.Path("fuzz/corpus") / self.name] if kept.is_dir()), "samples"]
        options = [*ALLOWED, f"-max_total_time={seconds}", f"-max_len={LONGEST[self.slices % len(LONGEST)]}", "-entropic=0",
                   "-dict=fuzz/boxes.dict", "-close_fd_mask=1", "-print_final_stats=1",
                   f"-artifact_prefix={self.campaign}/found/{self.name}-"]
        log = self.campaign / "logs" / f"{self.name}.{time.time_ns()}"
        with log.open("w") as out:
            ended = subprocess.run([self.campaign / "bin" / self.name, *options, *corpora], stdout=out, stderr=out,
                                   env={**os.environ, "ASAN_OPTIONS": SANITIZER}, check=False)
        if ended.returncode != 0:
            self.failures += 1
            print(f"{self.name} failed: see {self.campaign}/found and {log}", flush=True)
        self.executions += figures_of(log).executions
        self.slices += 1


def main():
    campaign, seconds, jobs = pathlib.Path(sys.argv[1]).resolve(), float(sys.argv[2]), int(sys.argv[3])
    targets = [Target(campaign, program.name) for program in sorted((campaign / "bin").iterdir()) if program.name != "bombs"]
    end = time.monotonic() + seconds
    # So short that each target has its turn, and so long that reading the corpus does not matter.
    slice_seconds = max(5, min(90, int(seconds * jobs / (2 * len(targets)))))

    choosing = threading.Lock()

    def work():
        while (left := int(end - time.monotonic())) > 0:
            with choosing:
                target = min((each for each in targets if each.may_run()), key=Target.done)
                target.running = True
            try:
                target.run(min(slice_seconds, left))
            finally:
                target.running = False

    with ThreadPoolExecutor(jobs) as workers:
        for worker in [workers.submit(work) for _ in range(jobs)]:
            worker.result()


if __name__ == "__main__":
    main()
