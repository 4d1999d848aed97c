"""`qlip serve` in front of clients that play, jump, vanish and lie.

A packet that the system drops is no fault of ours, so what ffmpeg lost is played to it once more.
"""
import concurrent.futures
import os
import re
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

TOP = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path[:0] = [os.path.join(TOP, "tests", "tool"), os.path.join(TOP, "bindings", "python")]
import qlip  # noqa: E402
from host import SAMPLES, TRACKS, Case, read_file as contents, sample  # noqa: E402
from rtsp_client import Client  # noqa: E402
from test_pipelines import DECODERS, decoded, pictures_by  # noqa: E402

AT_ONCE = 50
FRAMES_AHEAD = 6  # of speech, that the server sends together
# A sanitizer's runtime was loaded for the binding in this process, where leaks are Python's own.
os.environ.pop("LD_PRELOAD", None)
SERVERS = {**os.environ, "ASAN_OPTIONS": "fast_unwind_on_malloc=0"}


class Server:
    def __init__(self, *arguments):
        self.log = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen([os.environ["QLIP"], "serve", "--port", "0", *arguments], stderr=self.log, env=SERVERS)
        deadline = time.monotonic() + 30
        while not (found := re.search(r"rtsp://[\d.]+:(\d+)/", self.lines())) and time.monotonic() < deadline:
            time.sleep(0.02)
        self.port = int(found.group(1))

    def lines(self):
        self.log.seek(0)
        return self.log.read()

    def url(self, name):
        return f"rtsp://127.0.0.1:{self.port}/{name}"

    def client(self, name):
        return Client(self.port, name)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(20)
        if self.process.returncode != 0:
            sys.stderr.write(self.lines()[-5000:])
        self.log.close()
        return self.process.returncode


def payloads(packets):
    return [packet[12:] for packet in packets]


def payloads_of(name, medium):
    return payloads(packet for frame in getattr(qlip.open(sample(name)), medium)() for packet in frame.packets)


class Serving(Case):
    @classmethod
    def setUpClass(cls):
        cls.server = Server(SAMPLES, "--clients", "200")

    @classmethod
    def tearDownClass(cls):
        assert cls.server.stop() == 0

    def tearDown(self):
        self.assertIsNone(self.server.process.poll(), self.server.lines()[-3000:])

    def test_ffmpeg_gets_every_frame_over_udp_and_tcp(self):
        cases = [(name, "audio" if mode == "ra" else "video", way) for way in ("udp", "tcp") for name, mode in TRACKS]

        def play(case):
            name, medium, way = case
            source = ["-rtsp_transport", way, "-i", self.server.url(name + ".3gp")]
            expected = decoded(medium, "-ignore_editlist", "1", "-i", sample(name))
            played = decoded(medium, *source)
            return case, played if played == expected else decoded(medium, *source), expected

        with concurrent.futures.ThreadPoolExecutor(15) as pool:
            for case, played, expected in pool.map(play, cases):
                with self.subTest(case):
                    self.assertGreater(len(expected), 1)
                    self.assertEqual(played, expected)

    def test_ffplay_plays_sound_and_picture_together_to_the_end(self):
        def play(way):
            screen = {**os.environ, "SDL_VIDEODRIVER": "dummy", "SDL_AUDIODRIVER": "dummy"}
            return subprocess.run(["ffplay", "-autoexit", "-stats", "-rtsp_transport", way, self.server.url("av_h263_amrnb_hinted.3gp")],
                                  env=screen, stderr=subprocess.PIPE, text=True, timeout=60)

        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for done in pool.map(play, ("udp", "tcp")):
                self.assertEqual(done.returncode, 0, done.stderr[-2000:])
                self.assertGreater(float(re.findall(r"([\d.]+) A-V:", done.stderr)[-1]), 2.5)  # seconds, of three

    def test_gstreamer_gets_every_picture(self):
        for name in ("h264", "h263_hinted_pt34", "mpeg4"):
            with self.subTest(name):
                played = pictures_by(f"rtspsrc latency=500 location={self.server.url(name + '.3gp')} ! {DECODERS[name]}")
                self.assertEqual(played, decoded("video", "-ignore_editlist", "1", "-i", sample(name)))

    def test_range_starts_both_tracks_at_the_sync_picture(self):
        name = "av_h263_amrnb_hinted"
        with qlip.open(sample(name)) as source, self.server.client(name + ".3gp") as client:
            sync = source.sync_before(1_900_000_000)
            video, audio = source.video(), source.audio()
            video.seek(sync)
            expected = [packet for frame in video for packet in frame.packets]
            audio.seek(sync)
            speech = [frame for frame in audio if frame.presentation_time + frame.duration > sync]
            described = client.ask("DESCRIBE").body
            self.assertRegex(described, "m=video(.|\r\n)*a=rtpmap:96 H263-1998/90000(.|\r\n)*m=audio(.|\r\n)*a=rtpmap:97 AMR/8000")
            self.assertIn("a=framesize:96 176-144", described)
            self.assertIn("a=range:npt=0-3", described)
            client.set_up(2)
            played = client.ask("PLAY", Range="npt=1.9-")
            self.assertAlmostEqual(float(re.match(r"npt=([\d.]+)-", played.headers["range"]).group(1)), sync / 1e9, delta=0.02)
            client.take_until_goodbye(2)
            self.assertEqual(payloads(client.packets[0]), payloads(expected))
            self.assertEqual(payloads(client.packets[2]), payloads([packet for frame in speech for packet in frame.packets]))
            for index, (channel, late) in enumerate(((0, 0), (2, (sync - speech[0].presentation_time) * 8000 // 10**9))):
                told = re.search(r"seq=(\d+);rtptime=(\d+)", played.headers["rtp-info"].split(",")[index])
                sequence, timestamp = struct.unpack_from(">xxHI", client.packets[channel][0])
                self.assertEqual((int(told.group(1)), int(told.group(2))), (sequence, timestamp + late))

    def test_pause_and_go_on(self):
        with self.server.client("amrnb.3gp") as client:
            client.set_up(1)
            client.ask("PLAY")
            time.sleep(0.5)
            self.assertEqual(client.ask("PAUSE").status, 200)
            had = len(client.packets[0])
            self.assertLess(had, 100)
            time.sleep(0.5)
            self.assertEqual(client.ask("PLAY").status, 200)
            client.take_until_goodbye(1)
            played, expected = payloads(client.packets[0]), payloads_of("amrnb", "audio")
            # GStreamer's server drops what becomes due while it pauses.
            self.assertEqual(played, [payload for payload in expected if payload in played])
            self.assertGreaterEqual(len(played), len(expected) - FRAMES_AHEAD)
            self.assertEqual(client.ask("TEARDOWN").status, 200)

    def test_many_clients_at_once_lose_nothing(self):
        expected = payloads_of("h264_hinted", "video")

        def play(_):
            with self.server.client("h264_hinted.3gp") as client:
                client.set_up(1)
                client.ask("PLAY")
                client.take_until_goodbye(1, 60)
                return payloads(client.packets[0])

        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            for played in pool.map(play, range(AT_ONCE)):
                self.assertEqual(played, expected)

    def test_clients_that_vanish_harm_nobody(self):
        udp = "RTP/AVP;unicast;client_port=40000-40001"
        for _ in range(3):
            for state in range(5):
                client = self.server.client("av_h263_amrnb_hinted.3gp")
                transport = [udp] if state % 2 else []
                steps = [lambda: client.socket.sendall(b"DESCRIBE rtsp://"), lambda: client.send("DESCRIBE"),
                         lambda: client.set_up(2, *transport), lambda: client.ask("PLAY"), lambda: client.ask("PAUSE")]
                for step in steps[1 if state else 0:state + 1]:
                    step()
                # A reset, not an end.
                client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                client.close()
        self.assertGreater(len(decoded("video", "-rtsp_transport", "tcp", "-i", self.server.url("h264.3gp"))), 10)

    def test_there_is_no_way_out(self):
        os.mkdir(self.path("films"))
        os.symlink(sample("h264"), self.path("secret.3gp"))
        os.symlink(sample("h264"), self.path("films/link.3gp"))
        for name in (".hidden.3gp", "a film.3gp"):
            self.write(f"films/{name}", contents(sample("h264")))
        server = Server(self.path("films"), sample("amrnb"))
        for path, status in (("../secret.3gp", 404), ("%2e%2e/secret.3gp", 404), ("..%2fsecret.3gp", 404), ("link.3gp", 404),
                             (".hidden.3gp", 404), ("", 404), ("/", 404), ("x" * 3000, 404), ("films/../a%20film.3gp", 404),
                             ("a%20film.3gp", 200), ("amrnb.3gp", 200)):
            with self.subTest(path), server.client(path) as client:
                self.assertEqual(client.ask("DESCRIBE").status, status)
                self.assertEqual(client.ask("SETUP", f"{client.url}/stream=0", Transport="RTP/AVP/TCP;interleaved=0-1").status, status)
        self.assertEqual(server.stop(), 0)

    def test_damaged_files(self):
        whole = contents(sample("h263_cif_faststart"))
        boxes = struct.pack(">I4s", 8, b"free") * 10000
        for name, data in (("boxes", struct.pack(">I4s", 8 + len(boxes), b"moov") + boxes), ("garbage", b"x" * 5000), ("empty", b""),
                           ("cut", whole[:len(whole) // 2]),
                           ("bits", bytes(byte ^ (i % 97 == 0) for i, byte in enumerate(contents(sample("h264")))))):
            os.utime(self.write(name, data), (1, 1))  # long ago: it does not grow
        server = Server(self.directory, sample("h264"))
        for name in ("garbage", "empty", "bits"):
            with server.client(name) as client:
                self.assertIn(client.ask("DESCRIBE").status, (200, 415))
        with server.client("boxes") as client:
            self.assertEqual(client.ask("DESCRIBE").status, 415)
            self.assertRegex(server.lines(), "cannot play .*/boxes: the structure passes a limit")
        with server.client("cut") as client:
            client.set_up(1)
            self.assertEqual(client.ask("PLAY").status, 200)
            client.take_until_goodbye(1, 10)
            self.assertEqual(payloads(client.packets[0]), payloads_of("h263_cif_faststart", "video")[:len(client.packets[0])])
            self.assertTrue(client.packets[0])
        self.assertGreater(len(decoded("video", "-rtsp_transport", "tcp", "-i", server.url("h264.3gp"))), 10)
        self.assertEqual(server.stop(), 0)

    def test_a_file_that_grows_plays_to_its_end(self):
        whole = contents(sample("h263_cif_faststart"))
        server = Server(self.directory)
        self.write("film.3gp", whole[:200])
        with server.client("film.3gp") as client, open(self.path("film.3gp"), "ab", buffering=0) as file:
            self.assertEqual(client.ask("DESCRIBE").status, 503)
            file.write(whole[200:len(whole) // 2])
            self.assertEqual(client.ask("DESCRIBE").status, 200)
            client.set_up(1)
            self.assertEqual(client.ask("PLAY").status, 200)
            time.sleep(1.5)
            file.write(whole[len(whole) // 2:])
            client.take_until_goodbye(1)
            self.assertEqual(payloads(client.packets[0]), payloads_of("h263_cif_faststart", "video"))
        self.assertEqual(server.stop(), 0)

    def test_limits(self):
        server = Server(SAMPLES, "--clients", "2", "--idle", "2")
        with server.client("amrnb.3gp") as first, server.client("amrnb.3gp") as second:
            for client in (first, second):
                self.assertEqual(client.ask("OPTIONS").status, 200)
            with server.client("amrnb.3gp") as third, self.assertRaises(OSError):
                third.ask("OPTIONS")
            self.assertEqual(first.ask("PLAY").status, 454)
            first.socket.settimeout(10)
            self.assertEqual(first.socket.recv(1), b"")  # idle
        self.assertRegex(server.lines(), r"T[\d:.]+Z 127\.0\.0\.1 OPTIONS rtsp://\S+/amrnb\.3gp 200 - \"-\"\n")
        self.assertEqual(server.stop(), 0)


if __name__ == "__main__":
    unittest.main()
