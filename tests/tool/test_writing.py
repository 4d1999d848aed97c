"""make and copy, with ffmpeg and ffprobe as the readers that did not write the files."""
import os
import struct
import subprocess
import unittest

from host import QLIP, Case, qlip, qlip_json, raw_frames, read_file, run, sample

COPIED = ["amrnb", "amrwb", "h263", "h263_cif_faststart", "mpeg4", "h264", "h264_hinted", "av_h263_amrnb_hinted",
          "mpeg4_with_aac"]


def probe(path, kind):
    """(codec, samples, seconds) of the tracks of a kind, v or a."""
    out = run("ffprobe", "-v", "error", "-select_streams", kind, "-show_entries",
              "stream=codec_name,nb_frames,duration", "-of", "csv=p=0", path)[0].decode()
    rows = [line.split(",") for line in out.split()]
    return [(codec, int(frames), float(seconds)) for codec, seconds, frames in rows]


def packet_sizes(path, kind):
    return run("ffprobe", "-v", "error", "-select_streams", kind, "-show_entries", "packet=size", "-of", "csv=p=0",
               path)[0].split()


def decoded(path, kind):
    """Hashes of the decoded frames of a kind."""
    done = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", f"0:{kind}?", "-f", "framemd5", "-"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return [line.split(b",")[-1] for line in done.stdout.splitlines() if not line.startswith(b"#")]


class Writing(Case):
    def raw(self, name, mode, form):
        return self.write(f"{name}.{form}", raw_frames(sample(name), mode, form))

    def test_a_copy_decodes_to_the_same_frames(self):
        for name in COPIED:
            for options in ([], ["--direct", "--interleave", "0.1"]):
                with self.subTest(name=name, options=options):
                    out = self.path("copy.3gp")
                    qlip("copy", sample(name), out, *options)
                    self.assertEqual(*([track["edits"] for track in qlip_json("info", path)["tracks"]]
                                       for path in (out, sample(name))))
                    for kind in "va":
                        self.assertEqual(decoded(out, kind), decoded(sample(name), kind))
                        self.assertEqual(packet_sizes(out, kind), packet_sizes(sample(name), kind))
                        for mine, its in zip(probe(out, kind), probe(sample(name), kind)):
                            self.assertEqual(mine[:2], its[:2])
                            self.assertAlmostEqual(mine[2], its[2], delta=0.1)
                    last = qlip_json("boxes", out, "--depth", "1")["boxes"][-1]["type"]
                    self.assertEqual(last, "moov" if "--direct" in options else "mdat")

    def test_a_copy_streams_to_the_same_chunks(self):
        for name, mode in (("amrnb", "ra"), ("amrwb", "ra"), ("h263", "rv"), ("mpeg4", "rv"), ("h264", "rv"),
                           ("h264_hinted", "rv"), ("mpeg4_hinted", "rv"), ("h263_hinted_pt34", "rv")):
            with self.subTest(name=name):
                out = self.path("copy.3gp")
                qlip("copy", sample(name), out)
                # The header tells durations and bit rates, which the copy has from its tables.
                mine = qlip("stream", out, "--mode", mode)[0]
                its = qlip("stream", sample(name), "--mode", mode)[0]
                header = struct.unpack_from("<I", its, 8)[0]
                self.assertEqual(mine[header:], its[header:])

    def test_made_files_hold_the_frames_given(self):
        amr, pictures = self.raw("amrnb", "ra", "amr"), self.raw("h263", "rv", "h263")
        awb = self.raw("amrwb", "ra", "amr")
        out = self.path("made.3gp")
        for options in ([], ["--direct"]):
            qlip("make", out, "--amr", amr, "--h263", pictures, "--fps", "15", *options)
            self.assertEqual(probe(out, "v"), [("h263", 45, 3.0)])
            self.assertEqual(probe(out, "a"), [("amr_nb", 151, 3.02)])
            self.assertEqual(decoded(out, "v"), decoded(sample("h263"), "v"))
            self.assertEqual(raw_frames(out, "ra", "amr"), read_file(amr))
            qlip("make", out, "--awb", awb, "--brand", "3gp6 isom", *options)
            self.assertEqual(raw_frames(out, "ra", "amr"), read_file(awb))
            self.assertIn(b"3gp6\0\0\1\0003gp6isom", read_file(out))

    def test_a_size_limit_cuts_all_tracks_at_about_one_time(self):
        out = self.path("short.3gp")
        notes = qlip("copy", sample("av_h263_amrnb_hinted"), out, "--max-size", "40000",
                     "--interleave", "0.1")[1]
        self.assertIn("the rest does not fit into --max-size", notes)
        self.assertLessEqual(os.path.getsize(out), 40000)
        self.assertAlmostEqual(probe(out, "v")[0][2], probe(out, "a")[0][2], delta=0.3)

    def test_refusals_say_what_to_do(self):
        damaged = self.write("damaged.amr", b"#!AMR\n\x3c123")
        for code, arguments in ((2, ["make", self.path("x.3gp")]), (1, ["make", self.path("x.3gp"), "--amr", damaged]),
                                (1, ["make", self.path("x.3gp"), "--awb", self.raw("amrnb", "ra", "amr")]),
                                (2, ["copy", sample("amrnb"), self.path("x.3gp"), "--brand", "3gp"]),
                                (1, ["copy", sample("amrnb"), self.path("x.3gp"), "--tracks", "9"])):
            with self.subTest(arguments=arguments):
                self.assertTrue(qlip(*arguments, expect=code)[1].startswith("qlip: "))

    def test_an_input_is_never_the_output(self):
        out, awb, link, alias = self.path("same.3gp"), self.raw("amrwb", "ra", "amr"), self.path("link"), self.path("alias")
        qlip("copy", sample("amrnb"), out)
        os.symlink(awb, link)
        os.symlink(out, alias)
        before = read_file(out), read_file(awb)
        for command in (["copy", out, out], ["make", awb, "--awb", awb], ["make", link, "--awb", awb],
                        ["make", awb, "--awb", link], ["stream", out, "-o", alias], ["rtp", out, "--sdp", out],
                        ["rtp", out, "--sdp", "-", "--pcap", "-"], ["rtp", out, "--sdp", link, "--pcap", link]):
            qlip(*command, expect=2)
        self.assertEqual((read_file(out), read_file(awb)), before)

    def test_outputs_appear_whole_or_not_at_all(self):
        out, empty = self.write("good", b"good"), self.write("empty.amr", b"#!AMR\n")
        os.chmod(out, 0o640)
        for code, command in ((1, ["make", out, "--amr", empty]), (2, ["copy", sample("h263"), out, "--max-size", "99"]),
                              (3, ["prlimit", "--fsize=9999", QLIP, "copy", sample("h263"), out])):
            run(*([] if code == 3 else [QLIP]), *command, expect=code)
            self.assertEqual(read_file(out), b"good")
        cut = self.write("cut", read_file(sample("h263_cif_faststart"))[:50000])
        for command in (["rtp", sample("h263"), "--loop", "0", "--pcap", out],
                        ["stream", cut, "--follow", "--patience", "60", "-o", self.path("kept")]):
            running = subprocess.Popen([QLIP, *command])
            while not any(os.path.getsize(self.path(name)) for name in os.listdir(self.directory) if name[0] == "."):
                self.assertIsNone(running.poll())
            running.terminate()
            self.assertEqual(running.wait(), -15)
        self.assertEqual(sorted(os.listdir(self.directory)), ["cut", "empty.amr", "good", "kept"])
        self.assertEqual(read_file(out), b"good")
        self.assertTrue(qlip("stream", cut, expect=4)[0].startswith(read_file(self.path("kept"))))
        qlip("copy", sample("h263"), out)
        self.assertEqual((os.stat(out).st_mode & 0o777, qlip("copy", sample("h263"), "-")[0]), (0o640, read_file(out)))
        self.assertEqual(qlip("copy", sample("h263"), "/dev/stdout")[0], read_file(out))

    def test_closed_and_full_standard_descriptors_are_no_harm(self):
        out = self.path("out")
        for code, line in ((0, "stream {} -o {} <&- >&- 2>&-"), (3, "info {} >&-"), (3, "info nothing{} 2>/dev/full"),
                           (3, "info {} >/dev/full"), (2, "info -"), (2, "rtp {} --speed 0 --pcap {}"), (0, "help info")):
            with self.subTest(line):
                run("sh", "-c", f"{QLIP} " + line.format(sample("mpeg4_with_aac"), out), expect=code)
        self.assertEqual(read_file(out), qlip("stream", sample("mpeg4_with_aac"))[0])


if __name__ == "__main__":
    unittest.main()
