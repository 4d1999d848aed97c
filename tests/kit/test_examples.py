"""Every example does what it says, and none is long."""
import concurrent.futures
import glob
import os
import re
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest

TOP = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path[:0] = [os.path.join(TOP, "tests", "tool"), os.path.join(TOP, "bindings", "python")]
import host  # noqa: E402
import qlip  # noqa: E402
from host import bound_in_a_row, read_file as contents, sample  # noqa: E402

EXAMPLES = os.environ["QLIP_EXAMPLES"]
MOST_LINES = 99


def command(name, *arguments):
    return [os.path.join(EXAMPLES, name), *map(str, arguments)]


def run(name, *arguments, expect=0):
    return host.run(*command(name, *arguments), expect=expect)[0].decode()


def sequence_of(packet):
    return struct.unpack_from(">H", packet, 2)[0]


def packets_of(name, medium):
    return [packet for frame in getattr(qlip.open(sample(name)), medium)() for packet in frame.packets]


class Receiver:
    """Takes what comes to some UDP ports in a row, until told to stop."""

    def __init__(self, count=1):
        sockets = bound_in_a_row(count)
        self.port = sockets[0].getsockname()[1]
        self._stopped = threading.Event()
        pool = concurrent.futures.ThreadPoolExecutor(count)
        self._taken = [pool.submit(self._take, sock) for sock in sockets]

    def _take(self, sock):
        packets = []
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        sock.settimeout(0.2)
        while not self._stopped.is_set():
            try:
                packets.append(sock.recv(65536))
            except TimeoutError:
                pass
        sock.close()
        return packets

    def stop(self):
        time.sleep(0.3)
        self._stopped.set()
        return [taken.result() for taken in self._taken]


class Examples(host.Case):
    def setUp(self):
        super().setUp()
        self.out = self.path("out")

    def test_are_short(self):
        sources = glob.glob(os.path.join(TOP, "examples", "*.c*"))
        self.assertEqual(len(sources), 8)
        for path in sources:
            self.assertLessEqual(contents(path).count(b"\n"), MOST_LINES, path)

    def test_stream_file_and_callbacks_write_the_native_stream(self):
        for example, name, medium in (("stream_file", "h264_hinted", "v"), ("stream_file", "amrwb", "a"),
                                      ("callbacks", "amrnb", "a")):
            run(example, sample(name), self.out, *([medium] if example == "stream_file" else []))
            stream = qlip.open(sample(name))._stream(ord(medium), {"chunks": 1})
            self.assertEqual(contents(self.out), b"".join(stream.chunks()))
        run("stream_file", sample("amrnb"), self.out, "v", expect=1)

    def test_send_rtp_is_paced(self):
        receiver, start = Receiver(), time.monotonic()
        sdp = run("send_rtp", sample("h263_cif_faststart"), receiver.port)
        self.assertGreater(time.monotonic() - start, 1.85)
        self.assertIn(f"m=video {receiver.port} RTP/AVP 96", sdp)
        self.assertEqual([packet[12:] for packet in receiver.stop()[0]],
                         [packet[12:] for packet in packets_of("h263_cif_faststart", "video")])

    def test_send_rtp_gso_sends_the_same_packets(self):
        receiver = Receiver()
        run("send_rtp_gso", sample("h263"), receiver.port)
        self.assertEqual(receiver.stop()[0], packets_of("h263", "video"))

    def test_the_program_of_the_readme_has_25_lines_and_sends_every_codec(self):
        program = re.search(r"```c\n(.*?)```", contents(os.path.join(TOP, "README.md")).decode(), re.S).group(1)
        self.assertEqual(program.count("\n"), 25)

        def play(name, medium):
            receiver, built = Receiver(), f"{self.out}.{name}"
            library = os.path.dirname(os.environ["QLIP_HOST_LIBRARY"])
            subprocess.run([os.environ["CC"], "-std=c99", "-x", "c", "-", "-I", os.path.join(TOP, "include"), "-L", library,
                            "-lqlip_host", "-lqlip", f"-Wl,-rpath,{library}", "-o", built], check=True,
                           input=program.replace("5004", str(receiver.port)).encode())
            subprocess.run([built, sample(name)], check=True, timeout=30, stdout=subprocess.DEVNULL)
            return receiver.stop()[0], packets_of(name, medium)

        cases = [("amrnb", "audio"), ("amrwb", "audio"), ("h263", "video"), ("mpeg4", "video"), ("h264_hinted", "video")]
        with concurrent.futures.ThreadPoolExecutor(len(cases)) as pool:
            for (sent, expected), case in zip(pool.map(lambda case: play(*case), cases), cases):
                self.assertEqual(sent, expected, case)

    def test_growing_file_waits_for_what_is_missing(self):
        data = contents(sample("h263_cif_faststart"))
        with open(self.out, "wb") as file:
            reader = subprocess.Popen(command("growing_file", self.out, 20), stdout=subprocess.PIPE, text=True)
            waits = 0
            while (line := reader.stdout.readline()).startswith("waiting"):
                needed = int(line.split()[-1])
                self.assertGreater(needed, file.tell())
                file.write(data[file.tell():needed + 2000])
                file.flush()
                waits += 1
            self.assertEqual(reader.wait(), 0)
            reader.stdout.close()
        self.assertGreater(waits, 5)
        self.assertEqual(line, "20 frames, then: the end of the track\n")
        with open(self.out, "wb") as file:
            file.write(data[:50000])
        self.assertIn("the file is cut", run("growing_file", self.out, 0.1, expect=1))

    def test_sound_and_picture_report_one_clock(self):
        receiver = Receiver(4)
        sdp = run("sound_and_picture", sample("av_h263_amrnb_hinted"), receiver.port)
        self.assertEqual(sdp.count("m="), 2)
        sound, sound_reports, picture, picture_reports = receiver.stop()
        self.assertEqual([sequence_of(packet) for packet in sound], list(range(151)))
        self.assertEqual([sequence_of(packet) for packet in picture], list(range(69)))
        clocks = []
        for (report, *_), rate in ((sound_reports, 8000), (picture_reports, 90000)):
            ntp, timestamp = struct.unpack_from(">QI", report, 8)
            signed = timestamp - (1 << 32) if timestamp >> 31 else timestamp
            clocks.append(ntp / 2**32 - signed / rate)
        self.assertAlmostEqual(clocks[0] + 50 / 8000, clocks[1], delta=0.001)  # the edit list skips 50 ticks of sound

    def test_seek_shows_both_tracks_at_one_point(self):
        lines = run("seek", sample("av_h263_amrnb_hinted"), 2.5, 0).splitlines()
        sync = lines[0].split()[-2]
        self.assertRegex(lines[1], rf"^  picture from {sync} s: sequence 0, timestamp \d+, ")
        self.assertRegex(lines[2], r"^  sound from ")
        self.assertEqual(lines[3], "0 s: from 0.000 s")

    def test_write_3gp_gives_the_frames_back(self):
        frames = [bytes([0x3C]) + bytes([number]) * 31 for number in range(1, 20)]
        with open(self.out + ".amr", "wb") as file:
            file.write(b"#!AMR\n" + b"".join(frames) + b"\x3c\x00")
        self.assertEqual(run("write_3gp", self.out + ".amr", self.out), "19 frames\n")
        self.assertEqual([frame.packets[0][13:] for frame in qlip.open(self.out).audio()], frames)


if __name__ == "__main__":
    unittest.main()
