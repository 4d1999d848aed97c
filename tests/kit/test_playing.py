"""ffmpeg as the receiver of the kit's packets: the pictures that it decodes, and when they are shown, are those that it
finds in the file itself; of speech, the packets."""
import os
import subprocess
import sys
import tempfile
import unittest

sys.path[:0] = [os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bindings", "python")]
import qlip  # noqa: E402
from rtsp import Server  # noqa: E402

SAMPLES = os.environ["QLIP_SAMPLES"]
AUDIO = ["amrnb", "amrnb_dtx_faststart", "amrnb_hinted", "amrwb", "av_h263_amrnb_hinted"]
VIDEO = ["h263", "h263_cif_faststart", "h263_hinted_pt34", "h263_hinted_pt96", "av_h263_amrnb_hinted",
         "mpeg4", "mpeg4_hinted", "mpeg4_with_aac", "h264", "h264_hinted"]
TRACKS = [(name, "audio") for name in AUDIO] + [(name, "video") for name in VIDEO]
NO_DATA_SIZE = 1  # of an AMR frame that holds nothing; it is not sent
STARTS = {"ssrc": 7, "first_sequence": 65000, "first_timestamp": 0xFFFFF000}  # ffmpeg takes a timestamp of 0 for none
TICK = 2 / 90000  # what rounding to an RTP clock may do to a time


def sample(name):
    return os.path.join(SAMPLES, name + ".3gp")


def received(medium, *source):
    """(time, hash) of each picture as it is shown, or of each packet of speech; times from the first one on."""
    form = ["-map", "0:v", "-fps_mode", "passthrough", "-enc_time_base", "-1"] if medium == "video" else ["-map", "0:a", "-c", "copy"]
    done = subprocess.run(["ffmpeg", "-v", "error", "-nostdin", *source, *form, "-copyts", "-f", "framemd5", "-"],
                          capture_output=True, check=True, timeout=60, text=True)
    found, base = [], 1.0
    for line in done.stdout.splitlines():
        if line.startswith("#tb"):
            numerator, denominator = line.split()[-1].split("/")
            base = int(numerator) / int(denominator)
        if line.startswith("#"):
            continue
        _, _, time, _, size, digest = (part.strip() for part in line.split(","))
        if medium == "video" or int(size) > NO_DATA_SIZE:
            found.append((int(time) * base, digest))
    return [(time - found[0][0], digest) for time, digest in found]


def stored_times(path, medium, *options):
    """When each packet of the file is to be shown, in seconds, in the order of the file."""
    done = subprocess.run(["ffprobe", "-v", "error", *options, "-select_streams", medium[0], "-show_entries",
                           "packet=pts_time", "-of", "csv=p=0", path], capture_output=True, check=True, timeout=60, text=True)
    return [float(line.strip(",")) for line in done.stdout.split()]


def times_arrive(name):
    """ffmpeg joins H.263 packets again with a parser of its own, which gives each picture the time of the next one."""
    return "h263" not in name


class Playing(unittest.TestCase):
    def play(self, stream, frames, medium):
        packets = [packet for frame in frames for packet in frame.packets]
        server = Server([(stream.sdp(0, "track=1"), packets)])
        try:
            return received(medium, "-rtsp_transport", "tcp", "-i", server.url)
        finally:
            server.close()

    def original(self, path, medium):
        return received(medium, "-ignore_editlist", "1", "-i", path)

    def assert_same(self, played, expected, timed=True):
        self.assertEqual([digest for _, digest in played], [digest for _, digest in expected])
        if timed:
            self.assert_times([time for time, _ in played], [time for time, _ in expected])

    def assert_times(self, times, expected):
        self.assertEqual(len(times), len(expected))
        for time, wanted in zip(times, expected):
            self.assertAlmostEqual(time, wanted, delta=TICK)

    def test_whole_files(self):
        for name, medium in TRACKS:
            with self.subTest(name, medium=medium), qlip.open(sample(name)) as source:
                stream = getattr(source, medium)(**STARTS)
                self.assert_same(self.play(stream, list(stream), medium), self.original(sample(name), medium),
                                 times_arrive(name))

    def test_times_are_those_of_the_file(self):
        for name, medium in TRACKS:
            with self.subTest(name, medium=medium), qlip.open(sample(name)) as source:
                stream = getattr(source, medium)(keep_no_data=1)
                times = [frame.timestamp / stream.info.clock_rate for frame in stream]
                self.assert_times(times, stored_times(sample(name), medium, "-ignore_editlist", "1"))

    def test_pictures_out_of_order(self):
        with tempfile.TemporaryDirectory() as scratch:
            path = os.path.join(scratch, "film.3gp")
            subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc=size=176x144:rate=25:duration=2",
                            "-c:v", "libx264", "-bf", "3", "-g", "20", "-pix_fmt", "yuv420p", path], check=True, timeout=60)
            with qlip.open(path) as source:
                frames = list(source.video(**STARTS))
                self.assertNotEqual(frames, sorted(frames, key=lambda frame: frame.presentation_time))
                self.assert_times([frame.presentation_time / 1e9 for frame in frames], stored_times(path, "video"))
                self.assert_same(self.play(source.video(), frames, "video"), self.original(path, "video"))

    def test_files_that_arrive(self):
        for name in ("amrnb_dtx_faststart", "h263_cif_faststart", "h264"):
            medium = "audio" if name.startswith("amr") else "video"
            with self.subTest(name), tempfile.NamedTemporaryFile() as file:
                with open(sample(name), "rb") as whole:
                    data = whole.read()
                arrive = lambda size: (file.write(data[file.tell():size]), file.flush())
                source, stream, frames = qlip.open(file.name, growing=True), None, []
                while True:
                    try:
                        stream = stream or getattr(source, medium)(**STARTS)
                        frames.extend(stream)
                        break
                    except qlip.NotYet:
                        arrive(max(stream.needs if stream else source.state().needed, file.tell() + 700))
                self.assert_same(self.play(stream, frames, medium), self.original(sample(name), medium),
                                 times_arrive(name))

    def test_from_a_sync_picture(self):
        for name in ("h263", "mpeg4", "h264", "h264_hinted", "mpeg4_with_aac"):
            with self.subTest(name), qlip.open(sample(name)) as source:
                stream = source.video(**STARTS)
                landed = stream.seek(1_900_000_000)
                self.assertGreater(landed, 0)
                played = self.play(stream, list(stream), "video")
                expected = [(time - landed / 1e9, digest) for time, digest in self.original(sample(name), "video")
                            if time > landed / 1e9 - TICK]
                self.assert_same(played, expected, times_arrive(name))


if __name__ == "__main__":
    unittest.main()
