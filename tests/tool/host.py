"""What the tool's tests share: running programs, the samples, and a reader of the native stream of its own."""
import collections
import json
import os
import socket
import struct
import subprocess
import tempfile
import unittest

QLIP = os.environ.get("QLIP", "qlip")
SAMPLES = os.environ.get("QLIP_SAMPLES", os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "samples"))
QUIET_ENVIRONMENT = dict(os.environ, LC_ALL="C.UTF-8")

AUDIO = ["amrnb", "amrnb_dtx_faststart", "amrnb_hinted", "amrwb", "av_h263_amrnb_hinted"]
VIDEO = ["h263", "h263_cif_faststart", "h263_hinted_pt34", "h263_hinted_pt96", "av_h263_amrnb_hinted",
         "mpeg4", "mpeg4_hinted", "mpeg4_with_aac", "h264", "h264_hinted"]
TRACKS = [(name, "ra") for name in AUDIO] + [(name, "rv") for name in VIDEO]


def sample(name):
    return os.path.join(SAMPLES, name + ".3gp")


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


def run(*command, expect=0, stdin=b""):
    """Runs a program; returns (stdout, stderr) and checks the exit code, unless that is None."""
    done = subprocess.run(command, input=stdin, capture_output=True, timeout=120, env=QUIET_ENVIRONMENT)
    assert expect is None or done.returncode == expect, (
        f"{' '.join(command)}: exit {done.returncode}, not {expect}\n{done.stdout[-500:]}\n{done.stderr.decode()}")
    return done.stdout, done.stderr.decode()


def qlip(*arguments, **options):
    return run(QLIP, *arguments, **options)


def qlip_json(*arguments, **options):
    return json.loads(qlip(*arguments, "--json", **options)[0])


def ffprobe(path):
    output, _ = run("ffprobe", "-v", "error", "-ignore_editlist", "1", "-show_format", "-show_streams", "-of", "json",
                    path)
    return json.loads(output)


def raw_frames(path, mode, form):
    """The elementary stream that ffmpeg copies out of a file."""
    kind = "0:a" if mode == "ra" else "0:v"
    return run("ffmpeg", "-v", "error", "-i", path, "-map", kind, "-c", "copy", "-f", form, "-")[0]


Packet = collections.namedtuple("Packet", "timestamp marker payload_type sequence payload")
Stream = collections.namedtuple("Stream", "header frames")  # frames: lists of packets, or (timestamp, payload)


def parse_stream(data):
    """A native stream, by the record sizes and nothing else; fails on every length that does not fit."""
    kind, header_size = data[:8], struct.unpack_from("<I", data, 8)[0]
    at, frames = header_size, []
    while at < len(data):
        if kind == b"AUDIO   ":
            size, _, timestamp = struct.unpack_from("<III", data, at)
            assert 24 < size <= len(data) - at
            frames.append((timestamp, data[at + 24:at + size]))
            at += size
            continue
        frame_size, count, pad, four, one = struct.unpack_from("<5I", data, at)
        assert four == 4 and pad < 4 and frame_size % 4 == 0
        at, end, packets = at + 20, at + frame_size - pad, []
        while at < end:
            size, _, word, timestamp, _ = struct.unpack_from("<5I", data, at)
            assert 20 <= size <= end - at
            packets.append(Packet(timestamp, word >> 23 & 1, word >> 16 & 127, word & 0xFFFF,
                                  data[at + 20:at + size]))
            at += size
        assert len(packets) == count
        frames.append(packets)
        at += pad if one == 0 else 0
    return Stream(data[:header_size], frames)


def bound_in_a_row(count):
    """UDP sockets of this machine whose ports follow each other."""
    while True:
        sockets, port = [], 0
        try:
            for _ in range(count):
                sockets.append(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
                sockets[-1].bind(("127.0.0.1", port))
                port = sockets[-1].getsockname()[1] + 1
            return sockets
        except (OSError, OverflowError):
            for taken in sockets:
                taken.close()


class Case(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def read(self, name):
        return read_file(self.path(name))
