"""Copies of the tree in which faults are planted, built and tested."""
import collections
import hashlib
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Rooms and names of tests that look at the package, need real time, or build programs themselves.
LEFT_OUT = {"package", "examples", "tool_playing"}
# Faults here are seen by the tests of these rooms only; faults elsewhere by any.
SEEN_BY = {"tools": {"tool"}, "kit": {"kit"}}
MEMORY_LIMIT = 3 << 30
FILE_LIMIT = 5 << 30  # a test makes a file of 4 GiB, without filling it
OUTPUT_SHOWN = 1 << 16

# room: the folder below tests/; seconds: of processor time, of the test undisturbed
Test = collections.namedtuple("Test", "name room command directory environment seconds")
Outcome = collections.namedtuple("Outcome", "fault verdict killer")  # verdict: killed, survived, none


class BuildFailed(Exception):
    pass


def tracked_files():
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            capture_output=True, check=True, text=True).stdout
    return [name for name in set(listed.split("\0")) if name and (ROOT / name).is_file()]


def run_limited(command, seconds, **options):
    """Runs a program with limits on processor time, memory and output; returns (what went wrong or "", output)."""

    def limit():
        os.setsid()
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                   preexec_fn=limit, **options)
        try:
            code = process.wait(timeout=60 + 10 * seconds)  # a program that waits takes no processor time
        except subprocess.TimeoutExpired:
            code = -signal.SIGXCPU
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)  # what it may have left running
            except ProcessLookupError:
                pass
            process.wait()
        output.seek(max(0, output.seek(0, os.SEEK_END) - OUTPUT_SHOWN))
        text = output.read().decode(errors="replace")
    if code == 0:
        return "", text
    failed = re.search(r"\[  FAILED  \] ([\w/.]+)|^(?:FAIL|ERROR): (\w+)", text, re.MULTILINE)
    ended = {-signal.SIGXCPU: "time", -signal.SIGKILL: "time"}.get(code, f"signal {-code}" if code < 0 else f"exit {code}")
    return (failed[1] or failed[2]) if failed else ended, text


class Workshop:
    """A copy of the tree with a build of its own, below build/mutants."""

    def __init__(self, number):
        self.place = ROOT / "build" / "mutants" / str(number)
        self.tree, self.build = self.place / "tree", self.place / "build"

    def prepare(self, jobs):
        self.copy_tree()
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"]
        self.quietly("cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=",
                     "-DCMAKE_CXX_FLAGS=-O1 -w", "-DQLIP_BUILD_BENCH=OFF", "-DQLIP_SHARED_INTERNALS=ON",
                     "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", *(launcher if shutil.which("ccache") else []))
        self.make(jobs)

    def copy_tree(self):
        """Brings the copy up to date; files that are the same keep their times, so that little is built."""
        wanted = tracked_files()
        for name in wanted:
            source, copy = ROOT / name, self.tree / name
            if not copy.is_file() or copy.read_bytes() != source.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
        for copy in self.tree.rglob("*"):
            if copy.is_file() and str(copy.relative_to(self.tree)) not in set(wanted):
                copy.unlink()

    def quietly(self, *command):
        environment = dict(os.environ, CCACHE_BASEDIR=str(self.place), CCACHE_NOHASHDIR="1", CCACHE_SLOPPINESS="time_macros")
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env=environment)
        if done.returncode != 0:
            raise BuildFailed(done.stdout[-3000:])

    def make(self, jobs, *targets):
        self.quietly("ninja", "-C", self.build, "-j", str(jobs), *targets)

    def tests(self):
        """The tests, measured once undisturbed."""
        listed = subprocess.run(["ctest", "--test-dir", self.build, "--show-only=json-v1"], capture_output=True, check=True)
        tests = [self.described(entry) for entry in json.loads(listed.stdout)["tests"]]
        return [self.measured(test) for test in tests if test.room not in LEFT_OUT and test.name not in LEFT_OUT]

    def described(self, entry):
        properties = {row["name"]: row["value"] for row in entry.get("properties", [])}
        directory = properties["WORKING_DIRECTORY"]
        parts = pathlib.Path(directory).relative_to(self.build).parts
        room = parts[1] if parts[0] == "tests" else parts[0]
        return Test(entry["name"], room, entry["command"], directory, properties.get("ENVIRONMENT", []), 0.0)

    def measured(self, test):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        wrong, output = self.run(test, 600)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        if wrong:
            raise BuildFailed(f"{test.name} fails without any fault ({wrong}):\n{output[-2000:]}")
        spent = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        return test._replace(seconds=spent)

    def run(self, test, seconds):
        environment = dict(os.environ, GTEST_FAIL_FAST="1",
                           **dict(entry.split("=", 1) for entry in test.environment))
        return run_limited(test.command, seconds, cwd=test.directory, env=environment)

    def libraries(self):
        """What the built library and tool are, to tell a fault that changes no machine code."""
        files = sorted([*self.build.glob("lib*.so"), *self.build.glob("tools/qlip/qlip")])
        return [hashlib.sha256(file.read_bytes()).digest() for file in files]

    def try_out(self, fault, source, tests, undisturbed):
        """Plants a fault, builds, and runs the tests until one fails. Verdict none: it does not compile, or compiles to
        the same machine code."""
        file = self.tree / fault.file
        file.write_text(source.with_fault(fault))
        try:
            self.make(1)
            if self.libraries() == undisturbed:
                return Outcome(fault, "none", "")
            for test in in_order(tests, fault.file.split("/")[0]):
                own = test._replace(command=[self.moved(part) for part in test.command], directory=self.moved(test.directory),
                                    environment=[self.moved(part) for part in test.environment])
                wrong, _ = self.run(own, int(2 * test.seconds) + 5)
                if wrong:
                    return Outcome(fault, "killed", f"{test.name}: {wrong}")
            return Outcome(fault, "survived", "")
        except BuildFailed:
            return Outcome(fault, "none", "")
        finally:
            file.write_text(source.source)

    def moved(self, path):
        """A path of workshop 0, where the tests were listed, as this workshop's."""
        return path.replace(str(self.place.parent / "0") + "/", str(self.place) + "/")


def in_order(tests, room):
    """The tests that can see a fault of a room: that room's own first, the tool's last, quick ones ahead of slow ones."""
    seeing = [test for test in tests if test.room in SEEN_BY.get(room, {test.room})]
    return sorted(seeing, key=lambda test: (test.room != room, test.room == "tool", test.seconds))
