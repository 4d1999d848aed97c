"""The Python binding, as its users use it."""
import gc
import os
import tempfile
import unittest

import qlip

SAMPLES = os.environ["QLIP_SAMPLES"]


def sample(name):
    return os.path.join(SAMPLES, name + ".3gp")


def contents(name):
    with open(sample(name), "rb") as file:
        return file.read()


class Binding(unittest.TestCase):
    def test_a_file_is_its_name_a_descriptor_or_its_bytes(self):
        with open(sample("amrnb"), "rb") as file:
            for given in (sample("amrnb"), file.fileno(), contents("amrnb")):
                self.assertEqual(sum(1 for _ in qlip.open(given).audio()), 151)
            self.assertEqual(file.tell(), 0)

    def test_a_stream_outlives_its_source(self):
        with qlip.open(contents("h264")) as source:
            stream = source.video(ssrc=0x01020304, payload_type=100)
        del source
        gc.collect()
        packets = [packet for frame in stream for packet in frame.packets]
        self.assertEqual(packets[0][:12], bytes([0x80, 100, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4]))
        self.assertIsNone(stream.read())

    def test_what_is_wrong_comes_with_status_and_reason(self):
        with qlip.open(sample("mpeg4_with_aac")) as source:
            with self.assertRaises(qlip.Error) as refused:
                source.audio()
            self.assertEqual((refused.exception.status, str(refused.exception)),
                             (15, "the audio track: AAC is not supported"))
            self.assertEqual([track.reason for track in source.tracks()], ["", "AAC is not supported"])
        with self.assertRaises(FileNotFoundError):
            qlip.open("/nowhere.3gp")
        with self.assertRaisesRegex(qlip.Error, "missing or cut short"):
            qlip.open(contents("amrnb")[:1000]).audio()
        with self.assertRaises(TypeError):
            qlip.open(3.5)

    def test_closed_handles_are_refused(self):
        source = qlip.open(sample("amrnb"))
        stream = source.audio()
        for thing in (stream, source):
            thing.close()
            thing.close()
        for call in (stream.read, source.tracks, source.audio, stream.sdp, lambda: list(stream.chunks())):
            with self.assertRaises(qlip.Error) as refused:
                call()
            self.assertEqual(refused.exception.status, 5)

    def test_a_growing_file_says_what_it_needs(self):
        data = contents("amrnb_dtx_faststart")
        with tempfile.NamedTemporaryFile() as file, qlip.open(file.name, growing=True) as source:
            with self.assertRaises(qlip.NotYet):
                source.audio()
            file.write(data[:1000])
            file.flush()
            self.assertEqual(source.state().structure, "whole")
            stream, frames = source.audio(), []
            with self.assertRaises(qlip.NotYet):
                frames.extend(stream)
            self.assertGreater(stream.needs, 1000)
            with self.assertRaises(qlip.NotYet):
                source.wait(stream.needs, 0.0)
            file.write(data[1000:])
            file.flush()
            source.wait(stream.needs, 10.0)
            source.set_growing(False)
            frames.extend(stream)
            self.assertTrue(source.state().complete)
            self.assertEqual([frame.sequence for frame in frames], list(range(len(frames))))

    def test_seeking_descriptions_and_clocks(self):
        with qlip.open(sample("av_h263_amrnb_hinted")) as source:
            sound, picture = source.audio(), source.video()
            sync = source.sync_before(2_000_000_000)
            self.assertEqual(picture.seek(sync), sync)
            self.assertLessEqual(sound.seek(sync), sync)
            self.assertTrue(picture.read().is_sync)
            self.assertIn("m=audio 5004 RTP/AVP 97\r\na=rtpmap:97 AMR/8000/1\r\n", sound.sdp(5004))
            self.assertTrue(picture.caps().startswith("application/x-rtp, media=(string)video"))
            self.assertEqual(picture.timestamp(1_000_000_000), 90000)
            picture.set_first_timestamp(7)
            self.assertEqual(picture.timestamp(1_000_000_000), 90007)
            report = picture.sender_report(ntp=5, time=sync, cname="test@host")
            self.assertEqual((report[1], len(report) % 4), (200, 0))

    def test_chunks_are_the_native_stream(self):
        chunks = list(qlip.open(sample("amrnb")).audio(chunks=1).chunks())
        self.assertEqual([len(chunk) for chunk in chunks[:6]], [24, 16, 12, 16, 24, 33])
        self.assertEqual(chunks[0][:8], b"AUDIO   ")

    def test_the_version_is_that_of_the_project(self):
        self.assertEqual(qlip.version(), os.environ["QLIP_PROJECT_VERSION"])


if __name__ == "__main__":
    unittest.main()
