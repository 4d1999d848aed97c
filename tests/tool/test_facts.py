"""info and boxes say what ffprobe says, and tell people why a file does not open."""
import unittest

from host import AUDIO, TRACKS, VIDEO, Case, ffprobe, qlip, qlip_json, read_file, run, sample

CODECS = {"samr": "AMR-NB", "sawb": "AMR-WB", "s263": "H.263", "mp4v": "MPEG-4 visual", "avc1": "H.264",
          "mp4a": "AAC", "rtp ": "RTP hints"}


def boxes_of(boxes, *path):
    """All boxes at a path of types."""
    found = [box for box in boxes if box["type"] == path[0]]
    return found if len(path) == 1 else [deep for box in found for deep in boxes_of(box["boxes"], *path[1:])]


class Info(Case):
    def test_tracks_are_those_of_ffprobe(self):
        for name in sorted({name for name, _ in TRACKS} | {"aac_refused"}):
            with self.subTest(name):
                facts, probe = qlip_json("info", sample(name)), ffprobe(sample(name))
                self.assertEqual(facts["major_brand"], probe["format"]["tags"]["major_brand"])
                self.assertEqual(facts["minor_version"], int(probe["format"]["tags"]["minor_version"]))
                self.assertEqual("".join(f"{brand:4}" for brand in facts["compatible_brands"]).strip(),
                                 probe["format"]["tags"]["compatible_brands"].strip())
                self.assertEqual(len(facts["tracks"]), len(probe["streams"]))
                for track, stream in zip(facts["tracks"], probe["streams"]):
                    self.check_track(track, stream)

    def check_track(self, track, stream):
        self.assertEqual(track["codec"], CODECS[stream["codec_tag_string"]])
        self.assertEqual(track["samples"], int(stream["nb_frames"]))
        self.assertEqual(track["handler"], {"video": "vide", "audio": "soun", "data": "hint"}[stream["codec_type"]])
        if track["codec"] == "AMR-NB":
            self.assertEqual(track["amr"]["modes"][-2:], ["12.2", "SID"])
        self.assertEqual(track["timescale"], int(stream["time_base"].split("/")[1]))
        if stream["codec_type"] == "video":
            self.assertEqual((track["width"], track["height"]), (stream["width"], stream["height"]))
            frames, seconds = stream["avg_frame_rate"].split("/")
            self.assertAlmostEqual(track["frame_rate"], int(frames) / int(seconds), delta=0.01)
            if stream["codec_name"] == "h264":
                self.assertEqual((track["level"], track["profile"]), (stream["level"], 66))

    def test_sync_samples_edits_and_several_files(self):
        films = [sample("h264_hinted"), self.path("nothing"), sample("amrnb")]
        film, failed, speech = qlip_json("info", *films, expect=3)
        keys = run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=flags", "-of", "csv=p=0",
                   films[0])[0].count(b"K")
        self.assertEqual((film["tracks"][0]["sync_samples"], film["source"]["complete"]), (keys, True))
        self.assertIn("No such file", failed["failure"])
        self.assertEqual(speech["tracks"][0]["edits"], [{"duration": 3.0, "from": 0.00625}])
        self.assertEqual(qlip("info", *films, expect=3)[0].count(b" bytes\n  brands"), 2)

    def test_hint_tracks_are_taken_or_the_reason_is_told(self):
        self.assertTrue(qlip_json("info", sample("h264_hinted"))["tracks"][0]["hint_tracks"][0]["taken"])
        video, audio = qlip_json("info", sample("av_h263_amrnb_hinted"))["tracks"][:2]
        for track, reason in ((video, "1450 bytes, the limit is 1400"), (audio, "frame by frame")):
            hint = track["hint_tracks"][0]
            self.assertFalse(hint["taken"])
            self.assertIn(reason, hint["why_not"])

    def test_open_tells_what_would_open(self):
        for name in sorted(set(AUDIO) | set(VIDEO)):
            with self.subTest(name):
                facts = qlip_json("info", sample(name))
                for mode, names, handler in (("ra", AUDIO, "soun"), ("rv", VIDEO, "vide")):
                    track = [track["id"] for track in facts["tracks"] if track["handler"] == handler and name in names]
                    self.assertEqual(([facts["open"][mode]["track"]] if facts["open"][mode]["opens"] else []), track)
        refused = qlip_json("info", sample("aac_refused"))["open"]
        self.assertEqual((refused["ra"]["status"], refused["rv"]["status"]), (2, 2))
        self.assertIn("AAC", refused["ra"]["why_not"])

    def test_what_is_cut_is_said_and_what_there_is_delivered(self):
        behind, front = read_file(sample("amrnb")), read_file(sample("amrnb_dtx_faststart"))
        damaged = behind[:behind.index(b"stts") - 4] + b"\0\xff\0\x10" + behind[behind.index(b"stts"):]
        for data, code, place, whole, missing, streamed in (
                (behind, 0, "behind", True, 0, 8675), (behind[:-20], 4, "behind", False, 0, 0),
                (front[:400], 4, "front", False, None, 0), (front[:900], 4, "front", True, 1681, 866),
                (behind[:300], 4, "missing", False, 4876 - 300, 0), (damaged, 1, "behind", True, 0, 0)):
            with self.subTest(size=len(data), place=place):
                path, out = self.write("cut.3gp", data), self.path("out")
                facts = qlip_json("info", path, expect=code)
                self.assertEqual((facts["structure"]["moov"], facts["structure"]["whole"],
                                  facts["missing_media_bytes"]), (place, whole, missing))
                self.assertEqual(len(qlip("stream", path, expect=code)[0]), streamed)
                qlip("copy", path, out, expect=code)

    def test_a_track_that_claims_more_than_its_file_can_hold_is_refused(self):
        data = bytearray(read_file(sample("amrnb")))  # samples of one size: 151 of 32 bytes
        at = data.index(b"stsz") + 12
        data[at:at + 4] = b"\x7f\xff\xff\xff"
        path = self.write("claims.3gp", bytes(data))
        for command, said in ((["stream", path], "no places"), (["rtp", path], "no places"),
                              (["copy", path, self.path("c")], "claims 2,147,483,647 samples")):
            self.assertIn(said, qlip(*command, expect=1)[1])
        data = bytearray(read_file(sample("amrnb_dtx_faststart")))
        data[data.index(b"stsz") + 11] = 5  # bytes, of which frames of 13 would be made up
        self.assertIn("do not fit", qlip("stream", self.write("short.3gp", bytes(data)), expect=1)[1])

    def test_a_sample_that_ends_the_stream_is_told(self):
        data = bytearray(read_file(sample("mpeg4")))
        at = data.index(b"stsz") + 16
        data[at:at + 4] = b"\0\1\0\0"
        self.assertIn(b"ends the stream where it stands", qlip("info", self.write("large.3gp", bytes(data)), expect=None)[0])

    def test_what_is_no_3gp_file_is_said_to_be_none(self):
        path = self.write("noise.3gp", b"this is a text and no 3GP file at all\n" * 20)
        _, said = qlip("info", path, expect=1)
        self.assertIn("no 3GP file", said)


class Boxes(Case):
    def test_tables_are_those_of_ffprobe(self):
        for name in sorted({name for name, _ in TRACKS}):
            with self.subTest(name):
                boxes, probe = qlip_json("boxes", sample(name))["boxes"], ffprobe(sample(name))
                for trak, stream in zip(boxes_of(boxes, "moov", "trak"), probe["streams"]):
                    self.check_trak(trak, stream)

    def check_trak(self, trak, stream):
        media = boxes_of([trak], "trak", "mdia", "mdhd")[0]["fields"]
        self.assertEqual(media["timescale"], int(stream["time_base"].split("/")[1]))
        if stream["codec_type"] != "data":
            self.assertEqual(media["duration"], stream["duration_ts"])
            self.assertAlmostEqual(media["duration_seconds"], float(stream["duration"]), places=5)
            self.assertTrue(boxes_of([trak], "trak", "edts", "elst")[0]["fields"]["entries"])
        sizes = boxes_of([trak], "trak", "mdia", "minf", "stbl", "stsz")[0]["fields"]
        self.assertEqual(sizes["sample_count"], int(stream["nb_frames"]))
        chunks = boxes_of([trak], "trak", "mdia", "minf", "stbl", "stco")[0]["fields"]
        self.assertGreater(chunks["first"], 0)
        entry = boxes_of([trak], "trak", "mdia", "minf", "stbl", "stsd")[0]["boxes"][0]
        self.assertEqual(entry["type"], stream["codec_tag_string"])
        if stream["codec_type"] == "video":
            self.assertEqual(entry["fields"]["width"], stream["width"])

    def test_hint_entries_tell_the_packet_size(self):
        boxes = qlip_json("boxes", sample("h264_hinted"))["boxes"]
        self.assertEqual([box for box in boxes if "fields" not in box], [])
        traks = boxes_of(boxes, "moov", "trak")
        entry = boxes_of(traks, "trak", "mdia", "minf", "stbl", "stsd", "rtp ")[0]
        self.assertEqual(entry["fields"]["maxpacketsize"], 1329)
        self.assertEqual(boxes_of([entry], "rtp ", "tims")[0]["fields"], {"timescale": 90000})

    def test_every_byte_of_a_file_lies_in_a_box(self):
        for name, _ in TRACKS:
            document = qlip_json("boxes", sample(name))
            end = 0
            for box in document["boxes"]:
                self.assertEqual(box["offset"], end)
                end += box["size"]
            self.assertEqual(end, document["bytes"])

    def test_a_cut_file_shows_where_it_is_cut(self):
        whole = read_file(sample("amrnb_dtx_faststart"))
        path = self.write("cut.3gp", whole[:700])
        shown, said = qlip("boxes", path, expect=1)
        self.assertIn(b"!! says", shown)
        self.assertIn("only", said)
        shown, said = qlip("boxes", self.write("open.3gp", b"\0\0\0\0mdat" + whole), expect=1)
        self.assertIn(b"!! has size 0", shown)

    def test_a_file_that_the_model_gives_up_on_still_shows_its_tree(self):
        whole = bytearray(read_file(sample("mpeg4")))
        whole[whole.index(b"\x04", whole.index(b"esds") + 15) + 5] = 0x40  # object type: AAC
        shown, said = qlip("boxes", self.write("odd.3gp", bytes(whole)), expect=1)
        self.assertIn(b"esds", shown)
        self.assertIn("no fields", said)

    def test_composition_offsets_and_free_space_are_known(self):
        run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x64:rate=10", "-t", "0.5", "-c:v", "mpeg4",
            "-bf", "2", "-metadata", "creation_time=2026-01-02T03:04:05Z", self.path("b.mp4"))
        shown = qlip("boxes", self.path("b.mp4"))[0].decode()
        self.assertRegex(shown, r"free  @\d+  \d+ bytes\n")
        self.assertRegex(shown, r"ctts  @\d+  \d+ bytes\n +entries: 4\n +first: {\"sample_count\":1,.*\n +last: {\"sample_count\":1,")
        self.assertIn("2026-01-02T03:04:05Z", shown)

    def test_profiles_have_names(self):
        for name, said in (("h264", b"Baseline profile, level 1.1"), ("h263", b"profile 0, level 10")):
            self.assertIn(said, qlip("info", sample(name))[0])

    def test_depth_cuts_the_tree(self):
        top = qlip_json("boxes", sample("h264"), "--depth", "1")["boxes"]
        self.assertEqual([box["boxes"] for box in top], [[] for _ in top])


class Manual(Case):
    def test_man_pages_and_completion_are_sound(self):
        for command in ([], ["info"], ["stream"], ["rtp"], ["make"]):
            self.assertEqual(run("mandoc", "-T", "lint", self.write("p.1", qlip("man-page", *command)[0])), (b"", ""))
        for shell, ask in (("bash", "COMP_WORDS=(qlip stream --mode r) COMP_CWORD=3; _qlip; echo ${COMPREPLY[@]}"),
                           ("zsh", "words=(qlip stream r); CURRENT=3; . $0 | grep -o '(ra rv)'")):
            script = self.write("_qlip", qlip("completion", shell)[0])
            stub = f". {script}; " if shell == "bash" else "_arguments() { print -l -- $@ }; "
            self.assertIn(b"ra rv", run(shell, "-c", stub + ask, script)[0])


class Seek(Case):
    def test_a_seek_lands_on_the_sync_samples_around_the_time(self):
        # The sample has a sync sample every second: 1, 16, 31 at 15 pictures a second.
        landings = {row["flag"]: row for row in qlip_json("seek", sample("mpeg4_hinted"), "--at", "1300")["landings"]}
        self.assertEqual([row["status"] for row in landings.values()], [0, 0, 0])
        self.assertLess(landings["previous"]["time_ms"], 1301)
        self.assertGreaterEqual(landings["next"]["time_ms"], landings["previous"]["time_ms"])

    def test_failures_are_told_in_words(self):
        self.assertIn("no seek to 99999 ms lands", qlip("seek", sample("mpeg4_hinted"), "--at", "99999", expect=1)[1])
        said = qlip("seek", sample("mpeg4"), "--at", "0", expect=1)[1]
        self.assertIn("Hint tracks are required", said)
        self.assertNotIn("--engine", said)  # which this command has not


if __name__ == "__main__":
    unittest.main()
