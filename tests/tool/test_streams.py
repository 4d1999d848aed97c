"""stream, records, rtp and the H.263 commands, without a network."""
import base64
import fcntl
import os
import pty
import re
import struct
import subprocess
import termios
import threading
import time
import unittest

from host import QLIP, TRACKS, Case, parse_stream, qlip, qlip_json, raw_frames, read_file, run, sample

AMR_BYTES = {"amrnb": [13, 14, 16, 18, 20, 21, 27, 32, 6] + 7 * [1],
             "amrwb": [18, 24, 33, 37, 41, 47, 51, 59, 61, 6] + 6 * [1]}


def amr_frames(name):
    """Speech frames of the storage format (RFC 4867 5.3), cut apart by their frame types."""
    wide = name == "amrwb"
    data = raw_frames(sample(name), "ra", "amr")
    at, frames = len(b"#!AMR-WB\n" if wide else b"#!AMR\n"), []
    while at < len(data):
        size = AMR_BYTES["amrwb" if wide else "amrnb"][data[at] >> 3 & 15]
        frames.append(data[at:at + size])
        at += size
    return frames


def join_h263(packets):
    """A picture from RFC 4629 packets: the P bit stands for two zero bytes."""
    return b"".join((b"\0\0" if packet[0] & 4 else b"") + packet[2:] for packet in packets)


def join_h264(packets):
    """NAL units from single, STAP-A and FU-A packets (RFC 6184)."""
    units = []
    for packet in packets:
        kind = packet[0] & 31
        if kind == 24:
            at = 1
            while at < len(packet):
                size = struct.unpack_from(">H", packet, at)[0]
                units.append(packet[at + 2:at + 2 + size])
                at += 2 + size
        elif kind == 28:
            if packet[1] & 0x80:
                units.append(bytes([packet[0] & 0xE0 | packet[1] & 31]))
            units[-1] += packet[2:]
        else:
            units.append(packet)
    return units


class Streams(Case):
    def test_every_track_streams_alike_in_both_read_modes(self):
        for name, mode in TRACKS:
            with self.subTest(name=name, mode=mode):
                plain = qlip("stream", sample(name), "--mode", mode)[0]
                self.assertEqual(qlip("stream", sample(name), "--mode", mode, "--indexed")[0], plain)
                self.assertGreater(len(parse_stream(plain).frames), 10)

    def test_audio_payloads_are_the_frames_of_the_file(self):
        for name in ("amrnb", "amrnb_dtx_faststart", "amrwb", "amrnb_hinted", "av_h263_amrnb_hinted"):
            with self.subTest(name):
                stream = parse_stream(qlip("stream", sample(name), "--mode", "ra")[0])
                self.assertEqual(len(stream.header), 68)
                self.assertEqual([payload[1:] for _, payload in stream.frames], amr_frames(name))

    def test_records_shows_what_a_reader_of_its_own_finds(self):
        for name, mode in TRACKS:
            with self.subTest(name=name, mode=mode):
                data = qlip("stream", sample(name), "--mode", mode)[0]
                shown = qlip_json("records", "-", "--payload", stdin=data)
                frames = parse_stream(data).frames
                self.assertEqual((shown["frame_count"], shown["bytes"]), (len(frames), len(data)))
                kind = "AUD_AudFrame_Native" if mode == "ra" else "wld_packet_record"
                payloads = [bytes.fromhex(record["fields"]["payload"]) for frame in shown["frames"]
                            for record in frame if record["record"] == kind]
                expected = [frame[1] for frame in frames] if mode == "ra" else [
                    packet.payload for frame in frames for packet in frame]
                self.assertEqual(payloads, expected)

    def test_a_cut_or_foreign_stream_is_told_with_its_place(self):
        data = qlip("stream", sample("h263"))[0]
        for cut in (10, 60, 95, 500, len(data) - 1):
            _, said = qlip("records", self.write("cut", data[:cut]), expect=1)
            self.assertRegex(said, r"ends inside a record.*at byte \d+")
            self.assertIn("ends inside a record", qlip_json("records", "-", stdin=data[:cut], expect=1)["failure"])
        self.assertIn("no native stream", qlip("records", sample("h263"), expect=1)[1])

    def test_the_second_reader_streams_and_seeks(self):
        for name, mode in (("h263_hinted_pt96", "rv"), ("mpeg4_hinted", "rv"), ("amrnb_hinted", "ra")):
            with self.subTest(name):
                frames = parse_stream(qlip("stream", sample(name), "--engine", "box", "--mode", mode)[0]).frames
                self.assertGreater(len(frames), 3)
        whole = parse_stream(qlip("stream", sample("mpeg4_hinted"), "--engine", "box")[0])
        later = parse_stream(qlip("stream", sample("mpeg4_hinted"), "--engine", "box", "--seek", "1500")[0])
        self.assertEqual(later.frames, whole.frames[-len(later.frames):])
        self.assertLess(len(later.frames), len(whole.frames))


class Follow(Case):
    def grow(self, name, steps, pause):
        data = read_file(sample(name))
        path = self.write("growing.3gp", b"")

        def writer():
            for i in range(steps):
                with open(path, "ab") as file:
                    file.write(data[len(data) * i // steps:len(data) * (i + 1) // steps])
                time.sleep(pause)

        thread = threading.Thread(target=writer)
        thread.start()
        self.addCleanup(thread.join)
        return path

    def test_a_growing_file_gives_the_same_stream(self):
        for name in ("amrnb_dtx_faststart", "h263_cif_faststart", "mpeg4_hinted"):
            for reading in ([], ["--indexed"]):
                with self.subTest(name=name, reading=reading):
                    path = self.grow(name, 25, 0.03)
                    grown = qlip("stream", path, "--follow", "--patience", "20", *reading)[0]
                    self.assertEqual(grown, qlip("stream", sample(name))[0])

    def test_patience_ends(self):
        data = read_file(sample("h263_cif_faststart"))
        path = self.write("half.3gp", data[:len(data) // 2])
        self.assertIn("--patience", qlip("stream", path, "--follow", "--patience", "0.2", expect=4)[1])
        self.assertIn("--follow", qlip("stream", path, expect=4)[1])


class Manners(Case):
    def test_exit_codes(self):
        refused, missing = sample("aac_refused"), self.path("nothing.3gp")
        for expect, arguments in ((2, ["nonsense"]), (2, ["stream"]), (2, ["stream", refused, "--mode", "x"]),
                                  (2, ["stream", refused, "--seek", "1"]), (2, ["rtp", sample("h263"), "--to", "x"]),
                                  (3, ["info", missing]), (3, ["stream", self.directory]),
                                  (1, ["stream", refused]), (1, ["stream", sample("amrnb"), "--mode", "rv"]),
                                  (3, ["stream", sample("amrnb"), "-o", "/dev/full"])):
            with self.subTest(arguments):
                said = qlip(*arguments, expect=expect)[1]
                self.assertTrue(said.startswith("qlip: "), said)

    def test_help_teaches(self):
        top = qlip("--help")[0].decode()
        for command in re.findall(r"^  (\w+) ", top.split("Subcommands:")[1], re.M):
            self.assertIn("Examples:", qlip(command, "--help")[0].decode() + top)
        self.assertIn("Exit codes", top)

    def test_an_input_is_never_overwritten(self):
        path = self.write("mine.3gp", read_file(sample("amrnb")))
        os.symlink(path, self.path("alias"))
        qlip("stream", path, "-o", self.path("alias"), expect=2)
        self.assertEqual(self.read("mine.3gp"), read_file(sample("amrnb")))

    def test_a_closed_pipe_ends_quietly(self):
        process = subprocess.Popen([QLIP, "boxes", sample("h264")], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdout.close()
        self.assertEqual((process.wait(30), process.stderr.read()), (0, b""))
        process.stderr.close()

    def test_more_than_4_gib_is_refused(self):
        path = self.write("huge.3gp", b"")
        os.truncate(path, 2**32)
        self.assertIn("4 GiB", qlip("info", path, expect=1)[1])


class Captures(Case):
    """The packets in a capture file, taken apart here and put together as frames again."""

    def capture(self, name, mode, *more):
        qlip("rtp", sample(name), "--mode", mode, "--pcap", self.path("c"), "--sdp", self.path("s"), *more)
        data, at, packets = self.read("c"), 24, []
        self.assertEqual(struct.unpack_from("<IHHIIII", data), (0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        while at < len(data):
            seconds, micros, size, original = struct.unpack_from("<4I", data, at)
            self.assertEqual(size, original)
            frame = data[at + 16:at + 16 + size]
            at += 16 + size
            words = struct.unpack(">10H", frame[14:34])
            self.assertEqual(sum(words) % 0xFFFF, 0)  # the IP checksum
            self.assertEqual(struct.unpack(">HH", frame[36:40]), (5004, size - 34))
            first, second, sequence, timestamp = struct.unpack(">BBHI", frame[42:50])
            self.assertEqual(first, 0x80)
            packets.append((second >> 7, second & 127, sequence, timestamp, frame[54:], seconds + micros / 1e6))
        return packets, self.read("s").decode()

    def check_numbers(self, packets, clock):
        start = packets[0]
        for i, packet in enumerate(packets):
            self.assertEqual(packet[2], (start[2] + i) % 65536)
            self.assertAlmostEqual(packet[5], (packet[3] - start[3]) / clock, places=4)

    def pictures(self, packets):
        pictures = [[]]
        for packet in packets:
            pictures[-1].append(packet)
            if packet[0]:
                pictures.append([])
        self.assertEqual(pictures.pop(), [])
        for picture in pictures:
            self.assertEqual(len({packet[3] for packet in picture}), 1)
        return [[packet[4] for packet in picture] for picture in pictures]

    def test_audio(self):
        for name, encoding, clock in (("amrnb_dtx_faststart", "97 AMR/8000/1", 8000),
                                      ("amrwb", "98 AMR-WB/16000/1", 16000)):
            with self.subTest(name):
                packets, sdp = self.capture(name, "ra")
                self.check_numbers(packets, clock)
                self.assertEqual([packet[4][1:] for packet in packets], amr_frames(name))
                self.assertEqual(packets[0][0], 1)
                self.assertIn(f"a=rtpmap:{encoding}\r\n", sdp)
                self.assertIn("octet-align=1", sdp)

    def test_h263(self):
        for name in ("h263", "h263_cif_faststart", "h263_hinted_pt96"):
            with self.subTest(name):
                packets, sdp = self.capture(name, "rv")
                self.check_numbers(packets, 90000)
                joined = b"".join(map(join_h263, self.pictures(packets)))
                self.assertEqual(joined, raw_frames(sample(name), "rv", "h263"))
                self.assertIn("a=rtpmap:96 H263-1998/90000\r\n", sdp)
        self.assertIn("m=video 5004 RTP/AVP 34\r\n", self.capture("h263_hinted_pt34", "rv")[1])

    def test_h264(self):
        for name in ("h264", "h264_hinted"):
            with self.subTest(name):
                packets, sdp = self.capture(name, "rv")
                self.check_numbers(packets, 90000)
                units = [unit for picture in self.pictures(packets) for unit in join_h264(picture)]
                stored = re.split(b"\0\0\0?\1", raw_frames(sample(name), "rv", "h264"))[1:]
                slices = (1, 5)
                self.assertEqual([unit for unit in units if unit[0] & 31 in slices],
                                 [unit for unit in stored if unit[0] & 31 in slices])
                sets = re.search(r"sprop-parameter-sets=([^;\r]*)", sdp)[1].split(",")
                self.assertEqual([base64.b64decode(text)[0] & 31 for text in sets], [7, 8])
                for picture in self.pictures(packets):  # no parameter set behind a slice
                    kinds = [packet[0] & 31 for packet in picture]
                    self.assertEqual(kinds, sorted(kinds, key=lambda kind: kind not in (7, 8)))

    def test_mpeg4(self):
        packets, sdp = self.capture("mpeg4", "rv")
        self.check_numbers(packets, 90000)
        config = bytes.fromhex(re.search(r"config=([0-9a-f]+)", sdp)[1])
        joined = b"".join(map(b"".join, self.pictures(packets)))
        stored = raw_frames(sample("mpeg4"), "rv", "m4v")
        self.assertEqual(joined.replace(config, b""), stored.replace(config, b""))

    def test_loop_runs_on_and_as_is_keeps_the_records(self):
        once, twice = self.capture("h263", "rv")[0], self.capture("h263", "rv", "--loop", "2")[0]
        self.assertEqual(len(twice), 2 * len(once))
        self.check_numbers(twice, 90000)
        self.assertEqual(twice[len(once)][3] - twice[len(once) - 1][3], 6000)  # 1/15 second
        records = [packet for frame in parse_stream(qlip("stream", sample("h264_hinted"))[0]).frames
                   for packet in frame]
        kept = self.capture("h264_hinted", "rv", "--as-is")[0]
        self.assertEqual([packet[:5] for packet in kept],
                         [(record.marker, record.payload_type, record.sequence, record.timestamp, record.payload)
                          for record in records])


class Terminal(Case):
    def test_progress_fits_the_terminal(self):
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("4H", 24, 30, 0, 0))
        subprocess.run([QLIP, "rtp", sample("h263"), "--speed", "4"], stderr=slave, stdout=subprocess.DEVNULL, check=True)
        os.close(slave)
        drawn = os.read(master, 1 << 16).decode().split("\r\033[K")
        self.assertIn("%", drawn[1])
        self.assertLess(max(map(len, drawn)), 30)


class H263(Case):
    def test_pictures_of_a_file_and_of_its_elementary_stream(self):
        for name, macroblocks in (("h263_hinted_pt96", 48), ("h263", 99), ("h263_cif_faststart", 396)):
            with self.subTest(name):
                stored = raw_frames(sample(name), "rv", "h263")
                from_file = qlip_json("h263", sample(name))["pictures"]
                from_stream = qlip_json("h263", "-", stdin=stored)["pictures"]
                self.assertEqual(sum(picture["size"] for picture in from_file), len(stored))
                self.assertEqual({picture["macroblocks"] for picture in from_file}, {macroblocks})
                keep = ("size", "temporal_reference", "type", "quantiser", "groups", "macroblocks")
                self.assertEqual([[picture[key] for key in keep] for picture in from_file],
                                 [[picture[key] for key in keep] for picture in from_stream])
                self.assertEqual(from_file[0]["type"], "I")

    def test_macroblocks_behind_stuffed_group_headers_are_found(self):
        coded, _ = run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=176x144:rate=10", "-t", "0.5",
                       "-c:v", "h263", "-ps", "200", "-f", "h263", "-")
        for picture in qlip_json("h263", "-", "-v", stdin=coded)["pictures"]:
            data = coded[picture["offset"]:picture["offset"] + picture["size"]]
            bits = "".join(f"{byte:08b}" for byte in data)
            codes = [match.start() for match in re.finditer("(?=0{16}1)", bits)]
            listed = picture["macroblock_list"]
            self.assertEqual([block["bit"] for block in listed if block["opens_segment"]], codes)
            self.assertEqual((picture["groups"], len(listed)), (len(codes), 99))
            self.assertEqual((listed[-1]["bit"] < len(bits), listed[-1]["bit"] > len(bits) - 1000), (True, True))

    def test_a_picture_that_ends_early_is_named(self):
        stored = raw_frames(sample("h263"), "rv", "h263")
        self.assertIn("macroblocks", qlip("h263", self.write("cut.263", stored[:700]), expect=1)[1])
        self.assertIn("no H.263 picture", qlip("h263", self.write("none.263", b"\xff" * 99), expect=1)[1])

    def test_a_format_that_a_form_does_not_take_is_named(self):
        coded, _ = run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=704x576:rate=5", "-t", "0.2", "-c:v",
                       "h263", "-f", "h263", "-")
        path = self.write("large.263", coded)
        for form in ("2190", "2190mb"):
            self.assertIn("it is 4CIF", qlip("fragments", path, "--rfc", form, expect=1)[1])
        self.assertIn(b"picture 0:", qlip("fragments", path, "--rfc", "2429")[0])

    def test_fragments_are_a_stream_whose_packets_hold_the_picture(self):
        stored = raw_frames(sample("h263_cif_faststart"), "rv", "h263")
        path = self.write("clip.263", stored)
        for form, name in (("2190", "s263"), ("2190mb", "s263"), ("2429", "s263+")):
            with self.subTest(form):
                qlip("fragments", path, "--rfc", form, "--max-payload", "500", "-o", self.path("out"))
                stream = parse_stream(self.read("out"))
                self.assertEqual(stream.header[40:48].rstrip(b"\0").decode(), name)
                packets = [packet.payload for frame in stream.frames for packet in frame]
                self.assertGreater(len(packets), len(stored) // 500)
                listed = qlip_json("fragments", path, "--rfc", form, "--max-payload", "500", "--json")
                self.assertEqual([(packet["bytes"], packet["begins"]) for picture in listed["pictures"]
                                  for packet in picture],
                                 [(len(payload), payload[:8].hex(" ")) for payload in packets])
                if form == "2429":
                    self.assertEqual(join_h263(packets), stored)
                if form == "2190":
                    self.assertEqual(b"".join(packet[4:] for packet in packets), stored)


if __name__ == "__main__":
    unittest.main()
