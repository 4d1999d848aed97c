"""The kit's times, beside those that ffprobe finds in the file."""
import os
import subprocess
import sys
import tempfile
import unittest

sys.path[:0] = [os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", relative)
                for relative in ("tool", os.path.join("..", "bindings", "python"))]
import qlip  # noqa: E402
from host import TRACKS, run, sample  # noqa: E402

TICK = 2 / 90000  # what rounding to an RTP clock may do to a time


class Times(unittest.TestCase):
    def assert_stored(self, times, path, mode, *options):
        """The times, in seconds, are those at which the file's packets are shown, in the order of the file."""
        shown = run("ffprobe", "-v", "error", *options, "-select_streams", mode[1], "-show_entries", "packet=pts_time",
                    "-of", "csv=p=0", path)[0].decode().split()
        self.assertEqual(len(times), len(shown))
        for time, wanted in zip(times, shown):
            self.assertAlmostEqual(time, float(wanted.strip(",")), delta=TICK)

    def test_timestamps_are_those_of_the_file(self):
        for name, mode in TRACKS:
            with self.subTest(name, mode=mode), qlip.open(sample(name)) as source:
                stream = (source.audio if mode == "ra" else source.video)(keep_no_data=1)
                times = [frame.timestamp / stream.info.clock_rate for frame in stream]
                self.assert_stored(times, sample(name), mode, "-ignore_editlist", "1")

    def test_pictures_out_of_order(self):
        with tempfile.TemporaryDirectory() as scratch:
            path = os.path.join(scratch, "film.3gp")
            run("ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc=size=176x144:rate=25:duration=2",
                "-c:v", "libx264", "-bf", "3", "-g", "20", "-pix_fmt", "yuv420p", path)
            with qlip.open(path) as source:
                shown = [frame.presentation_time for frame in source.video()]
                self.assertNotEqual(shown, sorted(shown))
                self.assert_stored([time / 1e9 for time in shown], path, "rv")


if __name__ == "__main__":
    unittest.main()
