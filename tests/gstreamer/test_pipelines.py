"""Pipelines with qlipsrc decode what ffmpeg finds in the file, and those of the documents run as they stand."""
import concurrent.futures
import os
import re
import subprocess
import sys
import tempfile
import unittest

TOP = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path[:0] = [os.path.join(TOP, "tests", "tool")]
from host import run, sample  # noqa: E402

NO_DATA_SIZE = 1  # of an AMR frame that holds nothing; it is not sent
DECODERS = {"h263_hinted_pt34": "rtph263depay ! avdec_h263", "h263": "rtph263pdepay ! avdec_h263",
            "h263_cif_faststart": "rtph263pdepay ! avdec_h263", "h263_hinted_pt96": "rtph263pdepay ! avdec_h263",
            "av_h263_amrnb_hinted": "rtph263pdepay ! avdec_h263", "mpeg4": "rtpmp4vdepay ! avdec_mpeg4",
            "mpeg4_hinted": "rtpmp4vdepay ! avdec_mpeg4", "mpeg4_with_aac": "rtpmp4vdepay ! avdec_mpeg4",
            "h264": "rtph264depay ! avdec_h264", "h264_hinted": "rtph264depay ! avdec_h264"}


def pictures_by(pipeline):
    """The MD5 of each picture at the end of the pipeline."""
    lines = run("gst-launch-1.0", "-q", *f"{pipeline} ! checksumsink hash=md5 sync=false".split())[0].decode().splitlines()
    return [line.split()[-1] for line in lines if re.match(r"[\d:.]+ [0-9a-f]{32}$", line)]


def decoded(medium, *source):
    """The MD5 of each picture, or of each packet of speech, as ffmpeg finds it."""
    form = ["-map", "0:v", "-fps_mode", "passthrough"] if medium == "video" else ["-map", "0:a", "-c", "copy"]
    done = subprocess.run(["ffmpeg", "-v", "error", "-nostdin", *source, *form, "-f", "framehash", "-hash", "md5", "-"],
                          capture_output=True, timeout=60, text=True)
    lines = [line.split(",") for line in done.stdout.splitlines() if not line.startswith("#")]
    return [line[5].strip() for line in lines if medium == "video" or int(line[4]) > NO_DATA_SIZE]


class Pipelines(unittest.TestCase):
    def check_pictures(self, name):
        expected = decoded("video", "-ignore_editlist", "1", "-i", sample(name))
        return name, pictures_by(f"qlipsrc location={sample(name)} ! {DECODERS[name]}"), expected

    def test_pictures(self):
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for name, played, expected in pool.map(self.check_pictures, DECODERS):
                with self.subTest(name):
                    self.assertGreater(len(expected), 1)
                    self.assertEqual(played, expected)

    def test_inspection_has_no_complaint(self):
        shown, said = run("gst-inspect-1.0", "qlipsrc")
        self.assertEqual(said, "")
        for word in ("location", "track", "pt ", "ssrc", "growing", "timestamp-offset", "seqnum-offset", "max-memory", "stats"):
            self.assertIn(f"\n  {word}", shown.decode())

    def test_the_pipelines_of_the_page(self):
        with open(os.path.join(TOP, "docs", "gstreamer.md")) as page:
            blocks = re.findall(r"^```sh\n(gst-launch-1\.0.*?)^```", page.read(), re.M | re.S)
        self.assertGreaterEqual(len(blocks), 4)
        with tempfile.TemporaryDirectory() as scratch:
            os.symlink(sample("av_h263_amrnb_hinted"), os.path.join(scratch, "clip.3gp"))
            os.symlink(sample("h264"), os.path.join(scratch, "h264.3gp"))
            for block in blocks:
                with self.subTest(block):
                    silent = re.sub("auto(video|audio)sink", "fakesink sync=false", block.rstrip())
                    # Now and then rtpbin misses the end of its reports, as the page says.
                    ended = re.sub("^gst-launch-1.0 rtpbin(.*)", r"timeout 20 gst-launch-1.0 rtpbin\1 || [ $? = 124 ]", silent,
                                   flags=re.S)
                    run("sh", "-ec", f"cd {scratch}\n{ended}")


if __name__ == "__main__":
    unittest.main()
