"""stream, records and the H.263 commands, without a network."""
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

def join_h263(packets):
    """A picture from RFC 4629 packets: the P bit stands for two zero bytes."""
    return b"".join((b"\0\0" if packet[0] & 4 else b"") + packet[2:] for packet in packets)


class Streams(Case):
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

    def test_the_second_reader_delivers_speech_and_seeks(self):
        for name in ("amrnb_hinted", "av_h263_amrnb_hinted"):
            stored, at = raw_frames(sample(name), "ra", "amr")[len("#!AMR\n"):], 0
            for _, payload in parse_stream(qlip("stream", sample(name), "--engine", "box", "--mode", "ra")[0]).frames:
                # The same bytes, the contents of all frames in front, which say with their first bits that more come.
                part = stored[at:at + len(payload) - 1]
                self.assertEqual(sorted(byte & 127 for byte in payload[1:]), sorted(byte & 127 for byte in part))
                at += len(part)
            self.assertGreater(at, 0.9 * len(stored))
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
            with self.subTest(name=name):
                path = self.grow(name, 25, 0.03)
                grown = qlip("stream", path, "--follow", "--patience", "20")[0]
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
        for command in set(re.findall(r"^  (\w+) ", top.split("Subcommands:")[1], re.M)) - {"help"}:
            taught = qlip(command, "--help")[0]
            self.assertIn("examples:", taught.decode().lower())
            self.assertEqual(qlip("help", command)[0], taught)
        self.assertIn("Exit codes", top)

    def test_a_closed_pipe_ends_quietly(self):
        process = subprocess.Popen([QLIP, "boxes", sample("h264")], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdout.close()
        self.assertEqual((process.wait(30), process.stderr.read()), (0, b""))
        process.stderr.close()

    def test_more_than_4_gib_is_refused(self):
        path = self.write("huge.3gp", b"")
        os.truncate(path, 2**32)
        self.assertIn("4 GiB", qlip("info", path, expect=1)[1])


class Terminal(Case):
    def test_progress_fits_the_terminal(self):
        for width, line in ((30, r"^[^\[]*\d+% \d+/"), (100, r"\[#*\.*\] \d+% \d+/")):
            master, slave = pty.openpty()
            self.addCleanup(os.close, master)
            fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("4H", 24, width, 0, 0))
            subprocess.run([QLIP, "rtp", sample("h263"), "--speed", "4"], stderr=slave, stdout=subprocess.DEVNULL, check=True)
            os.close(slave)
            drawn = os.read(master, 1 << 16).decode().split("\r\033[K")
            self.assertRegex(drawn[1], line)
            self.assertLess(max(map(len, drawn)), width)


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
                qlip("fragments", path, "--rfc", form, "--pcap", "/dev/null", "--sdp", self.path("sdp"))
                self.assertEqual(b"a=fmtp:96 profile=0;level=10" in self.read("sdp"), form == "2429")
                stream = parse_stream(self.read("out"))
                self.assertEqual(stream.header[40:48].rstrip(b"\0").decode(), name)
                self.assertEqual(struct.unpack_from("<II", stream.header, 56), (352, 288))
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
