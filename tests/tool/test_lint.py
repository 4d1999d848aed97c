"""lint: every rule has a file that breaks it, next to one that keeps it; the page stands on its own."""
import json
import os
import re
import struct
import unittest

from host import SAMPLES, Case, qlip, read_file, run, sample

DOCUMENT = os.path.join(SAMPLES, "..", "docs", "lint.md")


def rules_of(path, *options):
    """The rules that a file breaks, with what was found of each."""
    output = qlip("lint", path, "--json", "--fail-on", "error", *options, expect=None)[0]
    return {kind["rule"]: kind for kind in json.loads(output)[0]["findings"]}


def change(box, at, data, which=-1):
    """Overwrites bytes behind the type of the which-th box of a type."""
    def apply(file):
        start = [match.start() for match in re.finditer(re.escape(box), file)][which] + 4 + at
        file[start:start + len(data)] = data
    return apply


def chunk(file, track, number):
    """Where the chunk of a track begins, both from 0."""
    table = [match.start() for match in re.finditer(b"stco", file)][track]
    return struct.unpack_from(">I", file, table + 12 + 4 * number)[0]


def in_chunk(track, number, at, data):
    def apply(file):
        start = chunk(file, track, number) + at
        file[start:start + len(data)] = data
    return apply


def pad_moov(size):
    """A box in moov, the file's last, that readers pass over."""
    def apply(file):
        moov = file.index(b"moov") - 4
        struct.pack_into(">I", file, moov, struct.unpack_from(">I", file, moov)[0] + size)
        file.extend(struct.pack(">I", size) + b"free" + bytes(size - 8))
    return apply


def move_audio_behind(file):
    table = [match.start() for match in re.finditer(b"stco", file)][1]
    for at in range(table + 12, table + 12 + 4 * struct.unpack_from(">I", file, table + 8)[0], 4):
        struct.pack_into(">I", file, at, struct.unpack_from(">I", file, at)[0] + len(file))


def last_unit(file, head):
    """Gives the last NAL unit of the first picture another first byte."""
    at, size = chunk(file, 0, 0), struct.unpack_from(">I", file, file.index(b"stsz") + 16)[0]
    end = at + size
    while at + 4 + struct.unpack_from(">I", file, at)[0] < end:
        at += 4 + struct.unpack_from(">I", file, at)[0]
    file[at + 4] = head


def append(data):
    return lambda file: file.extend(data)


def cut(size):
    def apply(file):
        del file[len(file) - size:]
    return apply


# In a hint sample: 4 bytes, then packets of 12 bytes and 16 for each constructor. An immediate one has its data from
# byte 2 on; the RTP header of a packet begins at its byte 4.
PACKET, CONSTRUCTOR = 4, 4 + 12

BROKEN = {
    "structure-cut": ("amrnb", cut(20)),
    "box-fault": ("amrnb", change(b"stts", -8, b"\0\1\0\0")),
    "fragmented": ("amrnb", append(b"\0\0\0\x08moof")),
    "co64": ("h263", change(b"stco", -4, b"co64")),
    "tables-disagree": ("amrnb", change(b"stts", 8, b"\0\0\0\x20")),
    "track-not-read": ("amrnb", change(b"tkhd", 0, b"\1")),
    "samples-beyond-file": ("amrnb_dtx_faststart", cut(40)),
    "sample-too-large": ("mpeg4", change(b"stsz", 12, b"\0\1\0\0")),
    "several-descriptions": ("amrnb", change(b"stsc", 16, b"\0\0\0\2")),
    "interleaving": ("av_h263_amrnb_hinted", move_audio_behind),
    "no-sync-table": ("mpeg4", change(b"stss", -4, b"free")),
    "edit-list": ("mpeg4", change(b"elst", 12, b"\0\0\1\0")),
    "codec-not-delivered": ("amrnb", change(b"samr", -4, b"mp4a")),
    "hint-unused": ("h264_hinted", change(b"rtp ", 12, b"\0\0\x10\0")),
    "hint-damaged": ("h264_hinted", in_chunk(1, 0, CONSTRUCTOR, b"\x09")),
    "hint-marker": ("h263_hinted_pt34", in_chunk(1, 0, PACKET + 5, b"\x22")),
    "hint-parameter-sets": ("h264_hinted", lambda file: last_unit(file, 0x68)),
    "hint-payload-type": ("h263_hinted_pt34", in_chunk(1, 1, PACKET + 5, b"\x88")),
    "hint-timestamps": ("h263_hinted_pt34", in_chunk(1, 1, PACKET, b"\0\1\0\0")),
    "hint-coverage": ("mpeg4_hinted", in_chunk(1, 0, CONSTRUCTOR + 2, b"\x03\xe0")),
    "hint-sdp": ("mpeg4_hinted", change(b"MP4V", 0, b"-EX")),
    "delivery-failed": ("amrnb_dtx_faststart", cut(40)),
    "rtp-sequence": ("h263_hinted_pt34", in_chunk(1, 1, PACKET + 6, b"\x77")),
    "rtp-timestamp": ("h263_hinted_pt34", in_chunk(1, 1, PACKET + 5, b"\x22")),
    "rtp-marker": ("h264", change(b"stsz", 14, b"\x8b")),
    "rtp-size": ("av_h263_amrnb_hinted", change(b"rtp ", 12, struct.pack(">I", 1400), which=0)),
    "h263-rfc2190-header": ("h263_hinted_pt34", in_chunk(1, 1, CONSTRUCTOR + 3, b"\xe0")),
    "h263-rfc2190-bits": ("h263_hinted_pt34", in_chunk(1, 1, CONSTRUCTOR + 2, b"\x08")),
    "h263-rfc4629-header": ("h263_hinted_pt96", in_chunk(1, 1, CONSTRUCTOR + 2, b"\x0c")),
    "h263-rfc4629-start": ("h263_hinted_pt96", in_chunk(1, 1, CONSTRUCTOR + 2, b"\0")),
    "mpeg4-start": ("mpeg4_hinted", in_chunk(0, 0, 0, b"\1")),
    "mpeg4-header-inside": ("mpeg4_hinted", in_chunk(0, 0, 100, b"\0\0\1\xb6")),
    "h264-unit-type": ("h264_hinted", in_chunk(1, 0, CONSTRUCTOR + 2, b"\x1e")),
    "h264-fragments": ("h264_hinted", in_chunk(1, 0, CONSTRUCTOR + 2, b"\x1c")),
    "h264-aggregates": ("h264_hinted", in_chunk(1, 0, CONSTRUCTOR + 34, b"\2\x40")),
    "amr-header": ("amrnb", in_chunk(0, 0, 0, b"\x3d")),
    "amr-contents": ("amrnb", in_chunk(0, 0, 0, b"\x60")),
    "amr-no-data": ("amrnb", in_chunk(0, 0, 0, b"\x7c")),
    "open-memory": ("h263", pad_moov(2 << 20)),
    "many-reads": ("amrwb", change(b"mdhd", 12, b"\x10")),
}


# What no byte makes of a sample: encoder, pictures per second, size, pictures (an expression of ffmpeg's geq).
ENCODED = {
    "long-frame": ("h263", 5, "704x576", "random(1)*255*gte(N,9)", ("-q:v", "5")),
    "rate-peak": ("h263", 10, "176x144", "random(1)*255*gte(N,90)", ("-q:v", "5")),
    "jitter": ("libx264", 2, "176x144", "mod(X+9*N,255)", ("-bf", "3", "-b_strategy", "0")),
}


class Rules(Case):
    def test_each_is_broken_by_one_file_and_kept_by_another(self):
        for rule, (name, spoil) in BROKEN.items():
            with self.subTest(rule):
                file = bytearray(read_file(sample(name)))
                self.assertNotIn(rule, rules_of(self.write("whole.3gp", bytes(file))))
                spoil(file)
                self.assertIn(rule, rules_of(self.write("broken.3gp", bytes(file))))
        for rule, (encoder, rate, size, picture, options) in ENCODED.items():
            with self.subTest(rule):
                path = self.path(rule + ".3gp")
                run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"nullsrc=s={size}:r={rate}:d=10,geq='{picture}'", "-c:v", encoder,
                    *options, "-pix_fmt", "yuv420p", path)
                self.assertIn(rule, rules_of(path))
                self.assertNotIn(rule, rules_of(sample("h264")))
        document = re.findall(r"^\| `(.*?)` ", read_file(DOCUMENT).decode(), re.M)
        self.assertLessEqual(set(BROKEN) | set(ENCODED) | {"hint-stap-idr", "h264-parameter-sets", "moov-behind-mdat"}, set(document))
        self.assertEqual(len(document), len(BROKEN) + len(ENCODED) + 3)

    def test_samples_break_what_they_are_known_to(self):
        whole = {"edit-list", "moov-behind-mdat", "codec-not-delivered"}
        known = {"h264_hinted": {"hint-stap-idr", "h264-parameter-sets"}, "av_h263_amrnb_hinted": {"hint-unused"}}
        for name in sorted(entry[:-4] for entry in os.listdir(SAMPLES) if entry.endswith(".3gp")):
            with self.subTest(name):
                self.assertEqual(set(rules_of(sample(name))) - whole, known.get(name, set()))
        self.assertIn("moov-behind-mdat", rules_of(sample("amrnb")))
        self.assertNotIn("moov-behind-mdat", rules_of(sample("amrnb_dtx_faststart")))

    def test_findings_have_a_place_and_decide_the_exit_code(self):
        found = rules_of(sample("h264_hinted"))["h264-parameter-sets"]
        self.assertEqual((found["count"], found["severity"]), (2, "error"))
        self.assertEqual({key: found["findings"][0][key] for key in ("track", "part", "packet")},
                         {"track": 1, "part": "native stream", "packet": 38})
        for level, name, code in (("error", "h263", 0), ("warning", "h263", 1), ("warning", "amrnb_dtx_faststart", 0),
                                  ("note", "amrnb_dtx_faststart", 1), ("error", "h264_hinted", 1)):
            qlip("lint", "--fail-on", level, sample(name), expect=code)
        qlip("lint", expect=2)
        self.assertIn("hint track 1236 bytes, unit type 24; library 656 bytes, unit type 6",
                      qlip("lint", "--diff", sample("h264_hinted"), expect=1)[0].decode())

    def test_the_document_is_the_table(self):
        self.assertEqual(qlip("lint", "--rules")[0], read_file(DOCUMENT))


class Page(Case):
    def test_shows_findings_and_plots_without_a_network(self):
        page, name = self.path("report.html"), "av_h263_amrnb_hinted"
        qlip("lint", sample(name), "--html", page, expect=1)
        self.assertNotRegex(read_file(page), rb"(src|href)=")
        for width in (500, 1280):  # a window has at least 500 pixels
            shot = self.path(f"{width}.png")
            dump = run("chromium", "--headless=new", "--no-sandbox", "--disable-gpu", f"--window-size={width},4000",
                       "--virtual-time-budget=4000", f"--user-data-dir={self.path('profile')}", f"--screenshot={shot}",
                       "--dump-dom", "file://" + page)[0].decode()
            self.assertEqual(dump.count("<canvas"), 4)
            self.assertIn("hint-unused", dump)
            widest = max(int(found) for found in re.findall(r'class="u-wrap" style="width: ?(\d+)px', dump))
            self.assertLessEqual(widest, width)
            self.assertGreater(os.path.getsize(shot), 20000)


if __name__ == "__main__":
    unittest.main()
