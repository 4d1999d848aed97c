// Pictures of the samples and of ffmpeg's encoder: walked to their end, cut, and put together again by the
// payload headers alone.
#include <cstdio>
#include <stdexcept>

#include "qlip/h263_isoff.h"
#include "tests/h263/walk_support.h"
#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

#define ENCODE(size, options)                               \
    "ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=" size \
    ":r=30000/1001 -frames:v 8 -threads 1 -slices 1 -g 4 -c:v " options " -f h263 -"
#define EXTRACT(sample) "ffmpeg -nostdin -v error -i '" QLIP_SAMPLES "/" sample "' -map 0:v -c copy -f h263 -"

struct Clip {
    const char* name;
    const char* command;  // writes an elementary stream to its standard output
    size_t macroblocks;   // of each picture
};

// Intra and inter pictures without group headers; CIF pictures of more than 5,000 bytes, some with PLUSPTYPE,
// Deblocking Filter and four vectors.
const Clip kClips[] = {
    {"sub_qcif", ENCODE("128x96", "h263 -q:v 5"), 48},
    {"qcif", ENCODE("176x144", "h263 -q:v 8"), 99},
    {"qcif_fine", ENCODE("176x144", "h263 -q:v 2"), 99},
    {"cif", ENCODE("352x288", "h263 -q:v 3"), 396},
    {"cif_noise", ENCODE("352x288", "h263 -q:v 3 -vf noise=alls=30:allf=t"), 396},
    {"cif_four_vectors", ENCODE("352x288", "h263p -q:v 5 -vf rotate=t*3 -flags +loop+mv4"), 396},
    {"sample_qcif", EXTRACT("h263.3gp"), 99},
    {"sample_cif", EXTRACT("h263_cif_faststart.3gp"), 396},
};
const Clip kClipWithGroups = {"qcif_with_groups", ENCODE("176x144", "h263 -q:v 3 -ps 300"), 99};

void PrintTo(const Clip& clip, std::ostream* out) {
    *out << clip.name;
}

Bytes stream_of(const Clip& clip) {
    FILE* pipe = popen(clip.command, "r");
    if (!pipe) throw std::runtime_error(std::string("cannot run ") + clip.command);
    Bytes stream;
    unsigned char block[65536];
    while (const size_t count = fread(block, 1, sizeof block, pipe))
        stream.insert(stream.end(), block, block + count);
    if (pclose(pipe) != 0) throw std::runtime_error(std::string("failed: ") + clip.command);
    return stream;
}

std::vector<Bytes> pictures_of(const Clip& clip) {
    const Bytes stream = stream_of(clip);
    std::vector<Bytes> pictures;
    for (size_t i = 0; i < stream.size(); ++i) {
        if (i + 2 < stream.size() && stream[i] == 0 && stream[i + 1] == 0 && (stream[i + 2] & 0xFC) == 0x80)
            pictures.emplace_back();
        pictures.back().push_back(stream[i]);
    }
    return pictures;
}

// Where each macroblock of a picture ends.
std::vector<tbq_pos_t> walked(Bytes picture, size_t macroblocks) {
    picture.insert(picture.end(), {0xFF, 0xFF});  // what the last one looks ahead into
    Walker walker(picture);
    std::vector<tbq_pos_t> ends;
    const auto size = static_cast<int>(picture.size());
    while (ends.size() < macroblocks &&
           get_start_of_mb(&walker.state, walker.bytes.data(), size, &walker.pos, &walker.pos) == 0) {
        EXPECT_EQ(walker.state.mb.mb_number, ends.size());
        ends.push_back(walker.pos);
    }
    return ends;
}

struct Fragments {
    BitWriter bits;
    std::vector<unsigned long> starts;  // bit at which each fragment begins
    std::vector<unsigned> addresses;    // MBA of the Mode B ones, 0 for Mode A
};

void append_bits(BitWriter& writer, const Bytes& data, size_t from, unsigned sbit, unsigned ebit) {
    for (size_t i = from; i < data.size(); ++i) {
        const unsigned first = i == from ? sbit : 0;
        const unsigned end = i + 1 == data.size() ? 8 - ebit : 8;
        writer.number(static_cast<unsigned>(data[i]) >> (8 - end), end - first);
    }
}

Fragments put_together(const Bytes& picture, wld_rfc_mode mode) {
    wld_native native = native_for(ISO_CODEC_S263, mode);
    const Bytes stream =
        packetise(wld_video_packet, native, picture, 0.1, static_cast<int>(2 * picture.size()) + 1000).bytes;
    Fragments whole;
    for (size_t at = 0; at < stream.size();) {
        const size_t size = stream[at] + 256U * stream[at + 1];
        const Bytes payload = slice(stream, at + 20, size - 20);
        const bool last = at + size == stream.size();
        EXPECT_LE(payload.size(), 1400U);
        EXPECT_EQ(stream[at + 10] >> 7, last ? 1 : 0) << "marker";
        const bool mode_b = (payload[0] & 0x80) != 0;
        whole.starts.push_back(whole.bits.count());
        whole.addresses.push_back(mode_b ? (payload[2] & 7U) << 6 | payload[3] >> 2 : 0);
        append_bits(whole.bits, payload, mode_b ? 8 : 4, payload[0] >> 3 & 7, payload[0] & 7);
        at += size;
    }
    return whole;
}

class RealPictures : public testing::TestWithParam<Clip> {};

TEST_P(RealPictures, ComeBackBitByBitAndAreCutAtTheMacroblocksTheyName) {
    bool was_cut = false;
    for (const Bytes& picture : pictures_of(GetParam())) {
        const std::vector<tbq_pos_t> ends = walked(picture, GetParam().macroblocks);
        ASSERT_EQ(ends.size(), GetParam().macroblocks);
        EXPECT_EQ(ends.back().byte + (ends.back().bit != 0), picture.size());
        const Fragments whole = put_together(picture, WLD_RFC_2190_B);
        ASSERT_EQ(whole.bits.bytes(), picture);
        for (size_t i = 1; i < whole.starts.size(); ++i)
            EXPECT_EQ(bit_position(whole.starts[i]), ends[whole.addresses[i] - 1]);
        was_cut = was_cut || whole.starts.size() > 1;
        ASSERT_EQ(put_together(picture, WLD_RFC_2190).bits.bytes(), picture) << "mode A";
    }
    EXPECT_TRUE(was_cut);
}

INSTANTIATE_TEST_SUITE_P(Clips, RealPictures, testing::ValuesIn(kClips),
                         [](const auto& test) { return test.param.name; });

// Stuffing in front of a group header is walked as if the header began there: the cuts behind it need not be
// between macroblocks, but no bit is lost.
TEST(RealPicturesWithGroups, ComeBackBitByBitInBothModes) {
    for (const Bytes& picture : pictures_of(kClipWithGroups)) {
        for (const auto mode : {WLD_RFC_2190, WLD_RFC_2190_B})
            ASSERT_EQ(put_together(picture, mode).bits.bytes(), picture);
    }
}

}  // namespace
}  // namespace qlip_test
