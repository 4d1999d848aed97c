"""Lists what a 3GP file holds, one `path field value` line at a time, straight from its bytes.

An independent reading for comparison with the box model: struct only, nothing of the library.
"""
import struct
import sys

KNOWN = b"ftyp moov mdat mvhd trak tkhd edts elst tref hint mdia mdhd hdlr minf vmhd smhd hmhd dinf dref stbl " \
        b"stsd stts stsc stsz stco stss".split()
CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"dinf", b"stbl", b"edts", b"tref"}


def boxes(data, begin, end):
    while begin + 8 <= end:
        size, kind = struct.unpack(">I4s", data[begin:begin + 8])
        yield kind, begin, begin + size
        begin += size


def words(data, begin, count):
    return struct.unpack(f">{count}I", data[begin:begin + 4 * count])


def table(data, begin, columns):
    count = words(data, begin, 1)[0]
    flat = words(data, begin + 4, count * columns)
    return [flat[i:i + columns] for i in range(0, len(flat), columns)]


def fields(kind, data, at):
    """Name and values of each field of a box whose payload begins at `at`."""
    full = at + 4
    if kind == b"mvhd":
        yield "timescale,duration,rate", words(data, full + 8, 3)
        yield "next_track", words(data, full + 92, 1)
    elif kind == b"tkhd":
        yield "times,id", words(data, full, 3)
        yield "duration", words(data, full + 16, 1)
        yield "volume", struct.unpack(">H", data[full + 32:full + 34])
        yield "dimensions", words(data, full + 72, 2)
    elif kind == b"mdhd":
        yield "times,timescale,duration", words(data, full, 4)
        yield "language", struct.unpack(">H", data[full + 16:full + 18])
    elif kind == b"hdlr":
        yield "handler", [data[full + 4:full + 8].decode()]
    elif kind == b"elst":
        count = words(data, full, 1)[0]
        for i in range(count):
            yield f"row{i}", struct.unpack(">Iihh", data[full + 4 + 12 * i:full + 16 + 12 * i])
    elif kind == b"hint":
        yield "track", words(data, at, 1)
    elif kind in (b"stts", b"stsc", b"stco", b"stss"):
        columns = {b"stts": 2, b"stsc": 3}.get(kind, 1)
        for i, row in enumerate(table(data, full, columns)):
            yield f"row{i}", row
    elif kind == b"stsz":
        size, count = words(data, full, 2)
        yield "size,count", (size, count)
        for i, length in enumerate(words(data, full + 8, count if size == 0 else 0)):
            yield f"row{i}", (length,)


def entry(kind, data, at):
    """The configuration of a sample entry that begins at `at`."""
    if kind in (b"s263", b"mp4v", b"avc1"):
        yield "dimensions", struct.unpack(">HH", data[at + 32:at + 36])
    if kind == b"s263":
        yield "d263", tuple(data[at + 86 + 12:at + 86 + 15])
    if kind in (b"samr", b"sawb") and data[at + 40:at + 44] == b"damr":
        yield "damr", struct.unpack(">BHBB", data[at + 36 + 12:at + 36 + 17])
    if kind == b"mp4v":
        info = data.index(b"\x05", data.index(b"\x04", at + 86 + 12 + 3) + 18)
        length = 0
        while True:
            info += 1
            length = length * 128 + data[info] % 128
            if data[info] < 128:
                break
        yield "dsi", [data[info + 1:info + 1 + length].hex()]


def show(path, name, values):
    print(path, name, *values)


def walk(data, begin, end, path):
    traks = 0
    for kind, at, after in boxes(data, begin, end):
        if kind not in KNOWN:
            continue
        here = path + "/" + kind.decode()
        if kind == b"trak":
            here += str(traks)
            traks += 1
        show(here, "at,size", (at, after - at))
        for name, values in fields(kind, data, at + 8):
            show(here, name, values)
        if kind in CONTAINERS:
            walk(data, at + 8, after, here)
        if kind == b"stsd":
            for inner, where, behind in boxes(data, at + 16, after):
                name = here + "/" + inner.decode()
                show(name, "at,size", (where, behind - where))
                for field, values in entry(inner, data, where):
                    show(name, field, values)


if __name__ == "__main__":
    with open(sys.argv[1], "rb") as source:
        content = source.read()
    walk(content, 0, len(content), "")
