"""Plays tracks into ffmpeg over loopback: what it decodes from the packets equals what it decodes from the file.

Paced by the packets' own times at four times the speed. The receiver listens before the first packet leaves and ends
by its own silence. A packet that the system drops is no fault of ours, so a run that lost frames is made once more.
"""
import concurrent.futures
import os
import subprocess
import time
import unittest

from host import QUIET_ENVIRONMENT, TRACKS, Case, bound_in_a_row, qlip, raw_frames, read_file, run, sample

SPEED = "4"
SILENCE = "2"  # seconds
BOX_TRACKS = [("h263_hinted_pt34", "rv"), ("h263_hinted_pt96", "rv"), ("mpeg4_hinted", "rv")]
AT_ONCE = 12  # playings beside each other; most of their time is waiting


def free_port():
    """An even port that is free, and the next one, which ffmpeg takes for RTCP; for picture, two more above."""
    port = 1
    while port % 2 != 0:
        taken = bound_in_a_row(4)
        port = taken[0].getsockname()[1]
        for sock in taken:
            sock.close()
    return port


def is_bound(port):
    tables = [table for table in ("/proc/net/udp", "/proc/net/udp6") if os.path.exists(table)]
    return any(f":{port:04X} ".encode() in read_file(table) for table in tables)


def decoded(mode, *source):
    """The command that decodes to hashes of pictures, to a hash of all sound, or to pictures and frames of speech."""
    out = ["-map", "0:v", "-fps_mode", "passthrough", "-f", "framemd5"]
    if mode == "ra":
        out = ["-map", "0:a", "-f", "md5"]
    if mode == "both":
        out = ["-map", "0:a", "-c:a", "copy", *out]
    return ["ffmpeg", "-v", "error", "-nostdin", *source, *out, "-"]


def hashes(output):
    """Track by track, for they come in no fixed order; without the start of speech that each has of its own."""
    lines = [line.split(",") for line in output.decode().splitlines() if not line.startswith("#")]
    return [line[min(5, len(line) - 1)].strip() for line in sorted(lines, key=lambda line: line[0])]


class Playing(Case):
    def play(self, mode, sender):
        port = free_port()
        to, sdp = ["--to", f"127.0.0.1:{port}"], self.path(f"{port}.sdp")
        qlip(*sender, *to, "--sdp", sdp, "--pcap", "/dev/null")
        receiver = subprocess.Popen(
            decoded(mode, "-protocol_whitelist", "file,udp,rtp", "-listen_timeout", SILENCE, "-i", sdp),
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=QUIET_ENVIRONMENT)
        try:
            deadline = time.monotonic() + 10
            while not is_bound(port) and time.monotonic() < deadline:
                time.sleep(0.01)
            qlip(*sender, *to, "--speed", SPEED)
            return hashes(receiver.communicate(timeout=30)[0])
        finally:
            receiver.kill()

    def check(self, cases):
        """Cases: (mode, the sending command, the command that decodes the original)."""
        def outcome(case):
            mode, sender, original = case
            expected = hashes(run(*decoded(mode, *original))[0])
            played = self.play(mode, sender)
            return expected, played if played == expected else self.play(mode, sender)

        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            for case, (expected, played) in zip(cases, pool.map(outcome, cases)):
                with self.subTest(case[1]):
                    self.assertTrue(expected)
                    self.assertEqual(played, expected)

    def test_packets_decode_to_what_the_file_holds(self):
        def played(name, mode, *options):
            return mode, ["rtp", sample(name), "--mode", mode, *options], ["-ignore_editlist", "1", "-i", sample(name)]

        cases = [played(name, mode) for name, mode in [*TRACKS, ("av_h263_amrnb_hinted", "both")]]
        cases += [played(name, mode, "--engine", "box") for name, mode in BOX_TRACKS]
        stored = self.write("clip.263", raw_frames(sample("h263_cif_faststart"), "rv", "h263"))
        cases += [("rv", ["fragments", stored, "--rfc", form], ["-f", "h263", "-i", stored])
                  for form in ("2190", "2190mb", "2429")]
        self.check(cases)


if __name__ == "__main__":
    unittest.main()
