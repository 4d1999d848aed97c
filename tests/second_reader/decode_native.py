#!/usr/bin/env python3
"""decode_native.py DUMP SAMPLES: reads the second reader's streams of the hinted samples with a decoder of its own,
and rebuilds what they must hold from the files' boxes with a parser of its own.

Nothing here knows the library: DUMP is a program that writes a stream to its standard output."""

import struct
import subprocess
import sys

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl", b"tref"}


def boxes(data, start, end):
    while start + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, start)
        yield kind, start + 8, start + size
        start += size


def tree(data, start, end):
    found = {}
    for kind, begin, stop in boxes(data, start, end):
        value = tree(data, begin, stop) if kind in CONTAINERS else (begin, stop)
        found.setdefault(kind, []).append(value)
    return found


def words(data, at, count):
    return struct.unpack_from(">%dI" % count, data, at)


class Track:
    """Sample positions, sizes and times of one track."""

    def __init__(self, data, trak):
        media = trak[b"mdia"][0]
        table = media[b"minf"][0][b"stbl"][0]
        at = {kind: value[0][0] for kind, value in table.items() if kind != b"stbl"}
        self.id = words(data, trak[b"tkhd"][0][0] + 12, 1)[0]
        self.kind = data[media[b"hdlr"][0][0] + 8:][:4]
        self.clock, self.duration = words(data, media[b"mdhd"][0][0] + 12, 2)
        self.entry = data[at[b"stsd"] + 8:table[b"stsd"][0][1]]
        self.refers_to = words(data, trak[b"tref"][0][b"hint"][0][0], 1)[0] if b"tref" in trak else None
        self.samples = list(self.place(data, at))
        self.times = list(self.time(data, at[b"stts"]))

    def place(self, data, at):
        size, count = words(data, at[b"stsz"] + 4, 2)
        sizes = [size] * count if size else words(data, at[b"stsz"] + 12, count)
        runs = words(data, at[b"stsc"] + 8, 3 * words(data, at[b"stsc"] + 4, 1)[0])
        per_chunk, sample = dict(zip(runs[0::3], runs[1::3])), 0
        for chunk, offset in enumerate(words(data, at[b"stco"] + 8, words(data, at[b"stco"] + 4, 1)[0]), 1):
            here = per_chunk.get(chunk, here if chunk > 1 else 1)
            for _ in range(here):
                yield data[offset:offset + sizes[sample]]
                offset, sample = offset + sizes[sample], sample + 1

    @staticmethod
    def time(data, at):
        now = 0
        for row in range(words(data, at + 4, 1)[0]):
            count, delta = words(data, at + 8 + 8 * row, 2)
            for _ in range(count):
                yield now
                now += delta


def packets(hint_sample, media):
    """The packets of a hint sample: RTP header half-word, sequence number, payload."""
    count, at = struct.unpack_from(">H", hint_sample)[0], 4
    for _ in range(count):
        _, header, sequence, flags, entries = struct.unpack_from(">IHHHH", hint_sample, at)
        at += 12 + (struct.unpack_from(">I", hint_sample, at + 12)[0] if flags & 4 else 0)
        payload = b""
        for _ in range(entries):
            if hint_sample[at] == 1:
                payload += hint_sample[at + 2:at + 2 + hint_sample[at + 1]]
            elif hint_sample[at] == 2:
                length, number, offset = struct.unpack_from(">HII", hint_sample, at + 2)
                payload += media.samples[number - 1][offset:offset + length]
            at += 16
        yield header, sequence, payload


def check(condition, what):
    if not condition:
        raise SystemExit("FAILED: " + what)


def take_header(stream, mark, hint_count, media_count):
    kind, size, version, padding, frames = struct.unpack_from("<8s4I", stream)
    check((kind, version, padding) == (mark, 10, 0), "first record")
    check(frames == (hint_count if mark == b"AUDIO   " else media_count), "frame count")
    return stream[size:]


def check_audio(stream, media, hint):
    header, stream = stream, take_header(stream, b"AUDIO   ", len(hint.samples), len(media.samples))
    check(struct.unpack_from("<4I", header, 24) == (16, 33, media.clock // 125, 0), "audio codec record")
    check(struct.unpack_from("<7I", header, 40) == (0, 0, 0, 1000 * media.duration // media.clock, 0, 0, 0), "tail")
    for sample, time in zip(hint.samples, hint.times):
        size, word, stamp, stamp2, sequence, flag, zero = struct.unpack_from("<4I2HI", stream)
        expected = list(packets(sample, media))
        payload = b"".join(packet[2] for packet in expected)
        ticks = int(media.clock / 1000.0 * int(0.5 + time / media.clock * 1000.0))
        check((size, word, stamp, stamp2, zero) == (24 + len(payload), 10, ticks, ticks, 0), "audio frame header")
        check(sequence == expected[-1][1] and flag in (0, 1), "audio sequence")
        check(stream[24:size] == payload, "audio payload")
        stream = stream[size:]
    check(stream == b"", "bytes behind the last audio frame")


def check_video(stream, media, hint):
    header, stream = stream, take_header(stream, b"VIDEO   ", len(hint.samples), len(media.samples))
    first_type = next(packets(hint.samples[0], media))[0] & 127
    name = b"mp4v" if media.entry[4:8] == b"mp4v" else b"s263" if first_type == 34 else b"s263+"
    length = int(1000.0 * (hint.duration / hint.clock))
    rate = int(len(media.samples) / (length / 1000.0))
    bits = int(1000.0 * (sum(map(len, media.samples)) * 8.0 / length))
    width, height = struct.unpack_from(">2H", media.entry, 32)
    own = struct.unpack_from("<8s5I", header, 40)
    check(own == (name.ljust(8, b"\0"), rate << 16, bits, width, height, 356 if name == b"mp4v" else 8), "codec record")
    check(struct.unpack_from("<4I", header, len(header) - len(stream) - 16) == (length, 0, 0, 0), "duration")
    for sample, time in zip(hint.samples, hint.times):
        stream = check_video_frame(stream, list(packets(sample, media)), int(90000.0 * (time / hint.clock)))
    check(stream == b"", "bytes behind the last video frame")


def check_video_frame(stream, expected, stamp):
    size, count, pad, four, zero = struct.unpack_from("<5I", stream)
    check((count, four, zero) == (len(expected), 4, 0), "video frame header")
    at = 20
    for rtp_header, sequence, payload in expected:
        length, delta, rtp, time, end = struct.unpack_from("<5I", stream, at)
        check((length, end) == (20 + len(payload), 0), "packet record")
        check(rtp == 0x80000000 | rtp_header << 16 | sequence, "RTP word")
        check(delta == time == stamp, "packet time")
        check(stream[at + 20:at + length] == payload, "packet payload")
        at += length
    check(pad == -at % 4 and size == at + pad and not any(stream[at:size]), "padding")
    return stream[size:]


def main():
    dump, samples = sys.argv[1:]
    cases = [("amrnb_hinted", "ra"), ("av_h263_amrnb_hinted", "ra"), ("av_h263_amrnb_hinted", "rv"),
             ("h263_hinted_pt34", "rv"), ("h263_hinted_pt96", "rv"), ("mpeg4_hinted", "rv")]
    for name, mode in cases:
        path = "%s/%s.3gp" % (samples, name)
        data = open(path, "rb").read()
        tracks = [Track(data, trak) for trak in tree(data, 0, len(data))[b"moov"][0][b"trak"]]
        media = next(t for t in tracks if t.kind == (b"soun" if mode == "ra" else b"vide"))
        hint = next(t for t in tracks if t.refers_to == media.id)
        stream = subprocess.run([dump, path, mode], check=True, stdout=subprocess.PIPE).stdout
        (check_audio if mode == "ra" else check_video)(stream, media, hint)
        print("%s %s: %d frames" % (name, mode, len(hint.samples)))


main()
