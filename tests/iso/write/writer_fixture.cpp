#include "tests/iso/write/writer_fixture.h"

#include <cstring>

#include "qlip/h263_isoff.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {

WriterFixture::WriterFixture() {
    auto* io = nothing_.record();
    char mode[] = "w";
    file = isoFFopen(io, mode, nullptr);
    file->stream = out.stream();
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
