"""The packets of qlip rtp in a capture file are those of the host kit, as the Python binding gives them, and its times those
that ffprobe finds in the file."""
import os
import re
import struct
import sys
import unittest

sys.path[:0] = [os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bindings", "python")]
import qlip as kit  # noqa: E402
from host import TRACKS, Case, parse_stream, qlip, run, sample

SSRC = 0x716C6970
TICK = 2 / 90000  # what rounding to an RTP clock may do to a time
FILM = "av_h263_amrnb_hinted"


def kit_stream(name, mode, **options):
    source = kit.open(sample(name))
    return (source.audio if mode == "ra" else source.video)(**{"ssrc": SSRC, **options})


class Captures(Case):
    def capture(self, name, *options):
        """[(port, packet, seconds)] and the description."""
        qlip("rtp", sample(name), "--pcap", self.path("c"), "--sdp", self.path("s"), *options)
        data, at, packets = self.read("c"), 24, []
        self.assertEqual(struct.unpack_from("<IHHIIII", data), (0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        while at < len(data):
            seconds, micros, size, original = struct.unpack_from("<4I", data, at)
            frame = data[at + 16:at + 16 + size]
            at += 16 + size
            self.assertEqual((size, sum(struct.unpack(">10H", frame[14:34])) % 0xFFFF), (original, 0))
            port, length = struct.unpack(">HH", frame[36:40])
            self.assertEqual(length, size - 34)
            packets.append((port, frame[42:], seconds + micros / 1e6))
        return packets, self.read("s").decode()

    def assert_same(self, packets, frames, speed=1.0):
        expected = [(packet, (frame.time - frames[0].time) / 1e9 / speed)
                    for frame in frames for packet in frame.packets]
        self.assertEqual([packet for _, packet, _ in packets], [packet for packet, _ in expected])
        for (_, _, time), (_, wanted) in zip(packets, expected):
            self.assertAlmostEqual(time, wanted, delta=2e-6)

    def test_every_track(self):
        for name, mode in TRACKS:
            with self.subTest(name, mode=mode):
                stream = kit_stream(name, mode)
                packets, sdp = self.capture(name, "--mode", mode, "--speed", "2")
                self.assert_same(packets, list(stream), speed=2.0)
                self.assertTrue(sdp.endswith("t=0 0\r\n" + stream.sdp(5004) + "a=recvonly\r\n"))

    def test_silence_is_sent_when_asked_for_and_a_seek_starts_later(self):
        stream = kit_stream("amrnb_dtx_faststart", "ra", keep_no_data=1)
        self.assert_same(self.capture("amrnb_dtx_faststart", "--keep-no-data")[0], list(stream))
        stream = kit_stream("mpeg4", "rv")
        self.assertGreater(stream.seek(1_900_000_000), 0)
        self.assert_same(self.capture("mpeg4", "--seek", "1900")[0], list(stream))

    def test_rounds_run_on(self):
        once, twice = self.capture("h263")[0], self.capture("h263", "--loop", "2")[0]
        self.assertEqual([packet[12:] for _, packet, _ in twice], [packet[12:] for _, packet, _ in 2 * once])
        numbers = [struct.unpack_from(">HI", packet, 2) for _, packet, _ in twice]
        self.assertEqual([sequence for sequence, _ in numbers], list(range(len(twice))))
        self.assertEqual(numbers[len(once)][1] - numbers[len(once) - 1][1], 6000)  # 1/15 second

    def test_as_is_keeps_the_records(self):
        records = [packet for frame in parse_stream(qlip("stream", sample("h264_hinted"))[0]).frames for packet in frame]
        kept = self.capture("h264_hinted", "--as-is")[0]
        self.assertEqual([packet[1:8] + packet[12:] for _, packet, _ in kept],
                         [struct.pack(">BHI", record.marker << 7 | record.payload_type, record.sequence, record.timestamp)
                          + record.payload for record in records])

    def test_sound_and_picture_have_one_clock(self):
        packets, sdp = self.capture(FILM, "--mode", "both", "--loop", "2")
        self.assertEqual(re.findall(r"m=(\w+) (\d+)", sdp), [("audio", "5004"), ("video", "5006")])
        self.assertEqual([time for _, _, time in packets], sorted(time for _, _, time in packets))
        streams = {5004: kit_stream(FILM, "ra"), 5006: kit_stream(FILM, "rv", ssrc=SSRC + 1)}
        frames = {port: list(stream) for port, stream in streams.items()}
        start = min(each[0].time for each in frames.values())
        walls = []
        for port, stream in streams.items():
            once = [packet for frame in frames[port] for packet in frame.packets]
            sent = [packet for each, packet, _ in packets if each == port]
            self.assertEqual((sent[:len(once)], len(sent)), (once, 2 * len(once)))
            reports = [struct.unpack_from(">HHIQI", packet) for each, packet, _ in packets if each == port + 1]
            self.assertEqual([report[:3] for report in reports], 2 * [(0x80C8, 6, stream.info.ssrc)])
            walls.append([wall for _, _, _, wall, _ in reports])
            shown = [timestamp for *_, timestamp in reports]
            self.assertEqual(shown[0], stream.timestamp(start) % 2**32)
            self.assertAlmostEqual((shown[1] - shown[0]) % 2**32 / stream.info.clock_rate,
                                   (walls[-1][1] - walls[-1][0]) / 2**32, delta=2e-4)
        self.assertEqual(*walls)


class Times(Case):
    def test_times_are_those_of_the_file(self):
        film = self.path("film.3gp")
        run("ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc=size=176x144:rate=25:duration=2", "-c:v", "libx264",
            "-bf", "3", "-g", "20", "-pix_fmt", "yuv420p", film)
        for path, mode, options in [(sample(name), mode, ["-ignore_editlist", "1"]) for name, mode in TRACKS] + [(film, "rv", [])]:
            with self.subTest(path, mode=mode), kit.open(path) as source:
                stream = (source.audio if mode == "ra" else source.video)(keep_no_data=1)
                rate = stream.info.clock_rate
                times = [frame.timestamp / rate if options else frame.presentation_time / 1e9 for frame in stream]
                shown = run("ffprobe", "-v", "error", *options, "-select_streams", mode[1], "-show_entries", "packet=pts_time",
                            "-of", "csv=p=0", path)[0].decode().split()
                self.assertEqual(len(times), len(shown))
                for time, wanted in zip(times, shown):
                    self.assertAlmostEqual(time, float(wanted.strip(",")), delta=TICK)
        self.assertNotEqual(times, sorted(times), "the film's pictures are shown out of order")


if __name__ == "__main__":
    unittest.main()
