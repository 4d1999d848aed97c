"""Compares the speech frames of a native stream with those that ffmpeg copies out of the same file.

Usage: check_speech.py C_HOST FILE (a file with AMR sound). Exits with 77 without ffmpeg.
"""

import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

MAGICS = (b"#!AMR-WB\n", b"#!AMR\n")


def speech_of_stream(stream):
    kind, header_size, _, _, count = struct.unpack_from("<8s4I", stream)
    assert kind == b"AUDIO   " and header_size == 68, (kind, header_size)
    frames = []
    at = header_size
    while at < len(stream):
        size, _, _, _, sequence, reserved, zero = struct.unpack_from("<4I2HI", stream, at)
        assert sequence == len(frames) & 0xFFFF and reserved == 0 and zero == 0
        frames.append(stream[at + 25 : at + size])
        at += size
    assert len(frames) == count, (len(frames), count)
    return b"".join(frames)


def main():
    host, file = sys.argv[1:]
    if shutil.which("ffmpeg") is None:
        sys.exit(77)
    with tempfile.TemporaryDirectory() as scratch:
        raw = pathlib.Path(scratch, "raw.amr")
        command = ["ffmpeg", "-v", "error", "-i", file, "-map", "0:a:0", "-c", "copy", "-f", "amr", raw]
        subprocess.run(command, check=True)
        expected = raw.read_bytes()
        magic = next(magic for magic in MAGICS if expected.startswith(magic))
        for mode in ([], ["indexed"]):
            out = pathlib.Path(scratch, "stream")
            subprocess.run([host, file, "ra", out, *mode], check=True)
            assert speech_of_stream(out.read_bytes()) == expected[len(magic) :], f"frames differ {mode}"


main()
