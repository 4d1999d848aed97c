#include "tests/iso/write/writer_fixture.h"

#include <cstring>

#include "qlip/h263_isoff.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {

namespace {

const Bytes kMatrix = hex("00010000 00000000 00000000 00000000 00010000 00000000 00000000 00000000 40000000");
const Bytes kTimes = hex("11223344 11223344");  // kCreated

Bytes word(unsigned int value) {
    return ByteWriter().u32(value);
}

struct Description {
    const char* handler;
    Bytes media_header;
    Bytes entry;
    unsigned int timescale, delta;
    unsigned int width, height;
};

Bytes expected_trak(unsigned int id, unsigned int movie_duration, const ExpectedTrack& expected,
                    const Description& kind) {
    ByteWriter stco;
    stco.u32(expected.samples);
    for (const unsigned int offset : expected.offsets)
        stco.u32(offset);
    const Bytes stts = full_box("stts", ByteWriter().u32(1).u32(expected.samples).u32(kind.delta));
    const Bytes stbl = container(
        "stbl", {stts, full_box("stsd", ByteWriter().u32(1).raw(kind.entry)), full_box("stsz", expected.stsz),
                 full_box("stsc", ByteWriter().u32(1).u32(1).u32(1).u32(1)), full_box("stco", stco)});
    const Bytes dref = full_box("dref", ByteWriter().u32(1).raw(full_box("url ", {}, 0, 1)));
    const Bytes minf = container("minf", {kind.media_header, container("dinf", {dref}), stbl});
    const std::string type = kind.handler;
    const Bytes hdlr = full_box("hdlr", ByteWriter().u32(0).text(type).zeros(12).text(type).u8(0));
    const Bytes mdhd = full_box(
        "mdhd", join({kTimes, word(kind.timescale), word(kind.delta * expected.samples), hex("55C4 0000")}));
    const Bytes tkhd = full_box("tkhd",
                                join({kTimes, word(id), word(0), word(movie_duration), Bytes(16), kMatrix,
                                      word(kind.width << 16), word(kind.height << 16)}),
                                0, 1);
    return container("trak", {tkhd, container("mdia", {mdhd, hdlr, minf})});
}

}  // namespace

WriterFixture::WriterFixture() {
    auto* io = nothing_.record();
    char mode[] = "w";
    file = isoFFopen(io, mode, nullptr);
    file->stream = out.stream();
    file->creation_time = file->modification_time = kCreated;
}

WriterFixture::~WriterFixture() {
    if (file) close();
}

void WriterFixture::direct(int tracks) {
    file->status_flags |= ISO_STATUS_DIRECT;
    file->direct_tracks = tracks;
}

iso_track* WriterFixture::add_amr() {
    iso_track* track = isoFFtrack(file);
    std::strcpy(track->handler, "soun");
    std::strcpy(track->vendor, "VXYZ");
    track->codec = ISO_CODEC_SAMR;
    track->timescale = 8000;
    track->default_delta = 160;
    track->mode_set = 0x81FF;
    return track;
}

iso_track* WriterFixture::add_h263(unsigned int timescale) {
    H263VCFG config = {};
    config.width = 128;
    config.height = 96;
    config.timescale = static_cast<int>(timescale);
    config.level = 10;
    return h263_isoFFtrack(file, &config);
}

int WriterFixture::write(iso_track* track, int size, unsigned char fill, int delta, int cto) {
    Bytes frame(static_cast<size_t>(size), fill);
    return isoFFwrite(track, frame.data(), size, delta, cto);
}

const Bytes& WriterFixture::close() {
    isoFFclose(file);
    file = nullptr;
    fflush(out.stream());
    return out.bytes;
}

Bytes expected_ftyp() {
    return box("ftyp", ByteWriter().text("3gp6").u32(256).text("3gp53gp4"));
}

Bytes expected_mvhd(unsigned int duration, unsigned int next_track_id) {
    const Bytes rate_and_volume = hex("00010000 0100 0000 00000000 00000000");
    return full_box("mvhd", join({kTimes, word(600), word(duration), rate_and_volume, kMatrix, Bytes(24),
                                  word(next_track_id)}));
}

Bytes expected_amr_trak(unsigned int id, unsigned int movie_duration, const ExpectedTrack& expected) {
    const Bytes damr = box("damr", ByteWriter().text("VXYZ").u8(0).u16(0x81FF).u8(0).u8(1));
    const Bytes entry =
        box("samr", ByteWriter().zeros(7).u8(1).zeros(8).u16(2).u16(16).zeros(4).u16(8000).u16(0).raw(damr));
    return expected_trak(id, movie_duration, expected,
                         {"soun", full_box("smhd", ByteWriter().u32(0)), entry, 8000, 160, 0, 0});
}

Bytes expected_h263_trak(unsigned int id, unsigned int movie_duration, const ExpectedTrack& expected) {
    const Bytes d263 = box("d263", ByteWriter().text("VXYZ").u8(0).u8(10).u8(0));
    return expected_trak(id, movie_duration, expected,
                         {"vide", full_box("vmhd", ByteWriter().zeros(8), 0, 1),
                          visual_entry("s263", 128, 96, d263), 30, 1, 128, 96});
}

std::vector<Bytes> samples_of(iso_track* track) {
    std::vector<Bytes> samples;
    Bytes buffer(64000);
    while (track->sample < track->sample_count) {
        const unsigned int* sizes = track->sample_sizes;
        const int size = static_cast<int>(sizes ? sizes[track->sample] : track->sample_size);
        const int got = isoFFread(track, buffer.data(), 64000, nullptr, nullptr);
        EXPECT_EQ(got, size) << "sample " << samples.size() << " does not lie inside the file";
        if (got != size) break;
        samples.push_back(slice(buffer, 0, static_cast<size_t>(got)));
    }
    return samples;
}

std::vector<Bytes> read_back(const Bytes& bytes, int index) {
    OpenedFile again(bytes);
    iso_track* track = again.track(index);
    return track ? samples_of(track) : std::vector<Bytes>{};
}

}  // namespace qlip_test
