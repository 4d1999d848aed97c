// Damaged and lying files: opening them ends, in bounded memory, and what can be read then is read safely.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "common/byte_order.h"
#include "qlip/SimpleException.h"
#include "tests/iso/opened_file.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

// Reads a few samples and packets of every track, in both modes.
void use(OpenedFile& f, int most) {
    static Bytes buffer(ISOFF_PACKET_CAPACITY);
    for (const bool indexed : {false, true}) {
        f.file->indexed_read = indexed;
        for (iso_track* t = f.file->tracks; t; t = t->next) {
            for (int i = 0; i < most && isoFFread(t, buffer.data(), 64000, nullptr, nullptr) >= 0; ++i) {
            }
            isoFFreadAt(t, t->sample_count / 2, 1, buffer.data(), 100, nullptr, nullptr);
            isoFFsetPosition(t, 0);
            iso_track* hint = isoFFrtpHinter(t, 1400);
            for (int i = 0; hint && i < most && isoFFrtpPacket(hint, buffer.data()) > 0; ++i) {
            }
        }
    }
}

// The first samples of each track, for as long as they come.
std::vector<std::vector<Bytes>> delivered(OpenedFile& f) {
    static Bytes buffer(64000);
    std::vector<std::vector<Bytes>> out;
    for (iso_track* t = f.file->tracks; t; t = t->next) {
        std::vector<Bytes>& samples = out.emplace_back();
        for (int got;
             samples.size() < 3 && (got = isoFFread(t, buffer.data(), 64000, nullptr, nullptr)) >= 0;)
            samples.emplace_back(buffer.begin(), buffer.begin() + got);
    }
    return out;
}

long long arena_bytes(const OpenedFile& f) {
    return 2048000LL * f.file->arena_chunks;
}

size_t find_box(const Bytes& bytes, const char* type) {
    for (size_t at = 0; at + 8 <= bytes.size();) {
        if (std::memcmp(&bytes[at + 4], type, 4) == 0) return at;
        at += std::max(8U, qlip::load_be32(&bytes[at]));
    }
    ADD_FAILURE() << "no " << type;
    return 0;
}

class RealFile : public testing::TestWithParam<std::string> {
  protected:
    RealFile() : whole(sample(GetParam())), moov(find_box(whole, "moov")) {
        moov_size = qlip::load_be32(&whole[moov]);
    }
    Bytes whole;
    size_t moov;
    size_t moov_size;
};

TEST_P(RealFile, CutAnywhereInItsBoxesStillOpensAndDeliversNothingButItsSamples) {
    OpenedFile all(whole);
    const std::vector<std::vector<Bytes>> samples = delivered(all);
    for (size_t size = moov; size < moov + moov_size; ++size) {
        OpenedFile f(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
        ASSERT_NE(f.file, nullptr);
        const auto got = delivered(f);
        ASSERT_LE(got.size(), samples.size());
        for (size_t track = 0; track < got.size(); ++track) {
            ASSERT_LE(got[track].size(), samples[track].size());
            ASSERT_TRUE(std::equal(got[track].begin(), got[track].end(), samples[track].begin())) << size;
        }
        use(f, 2);
    }
}

TEST_P(RealFile, WithAnyWordOfMoovReplacedStillOpens) {
    for (const uint32_t word : {0U, 1U, 0x7FFFFFFFU, 0x80000010U, 0xFFFFFFFFU}) {
        for (size_t at = moov; at + 4 <= moov + moov_size; at += 1) {
            Bytes changed = whole;
            qlip::store_be32(&changed[at], word);
            OpenedFile f(std::move(changed));
            ASSERT_LE(arena_bytes(f), 3 * 2048000) << at;
            use(f, 2);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, RealFile, testing::ValuesIn(sample_names()),
                         [](const auto& row) { return row.param.substr(0, row.param.find('.')); });

TEST(Hostile, ClaimsOfAbsentBytesAreGrantedOnce) {
    // Each box claims nearly the whole payload and consumes nothing but its header.
    for (const char* type : {"xml ", "sdp ", "schi"}) {
        Bytes inner;
        const Bytes head = ByteWriter().u32(300000).text(type);
        for (int i = 0; i < 40000; ++i)
            inner.insert(inner.end(), head.begin(), head.end());
        OpenedFile f(moov_file({trak({ByteWriter().u32(0x7FFFFFFF).text("meta").raw(inner)})}));
        EXPECT_LE(arena_bytes(f), 2 * 2048000) << type;
    }
}

TEST(Hostile, PayloadsLongerThanTheFileTakeNoMemory) {
    for (const unsigned int size : {0x00100000U, 0x04000000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        for (const char* type : {"ftyp", "moov", "mdat", "free"}) {
            OpenedFile f(ByteWriter().u32(size).text(type).raw(tkhd()));
            EXPECT_LE(f.file->arena_chunks, 1);
            use(f, 1);
        }
    }
}

TEST(Hostile, AMoovLongerThanTheFileIsReadAsFarAsItGoes) {
    Bytes movie = moov_file({trak({}), trak({})});
    qlip::store_be32(&movie[find_box(movie, "moov")], 0x7FFFFFFF);
    OpenedFile f(movie);
    EXPECT_NE(f.track(2), nullptr);
    EXPECT_EQ(f.output, "read_buf, EOF 0 left, 4 requested\nread_buf, EOF 0 left, 4 requested\n");
}

TEST(Hostile, ALargeMediaBoxAheadOfMoovIsKeptOnlyWhenItIsThere) {
    constexpr unsigned int kSize = 65 * 1024 * 1024;
    Bytes file = box("mdat", Bytes(kSize, 7));
    const Bytes movie = moov_file({trak({})});
    file.insert(file.end(), movie.begin(), movie.end());
    OpenedFile whole(std::move(file));
    ASSERT_NE(whole.file->mdat_image, nullptr);
    EXPECT_EQ(whole.file->mdat_image[kSize - 1], 7);
    EXPECT_NE(whole.track(), nullptr);
}

TEST(Hostile, BoxesOfATrackAheadOfAnyTrackAreRefused) {
    for (const char* type : {"mdia", "edts", "tref", "meta"}) {
        const Bytes child = join({full_box("mdhd", Bytes(20, 1)), full_box("elst", Bytes(16, 1)),
                                  box("hint", Bytes(4, 1)), full_box("xml ", Bytes(4, 1))});
        OpenedFile f(moov_file({container("trak", {container(type, {child}), tkhd()})}));
        EXPECT_EQ(f.track(), nullptr) << type;
    }
}

TEST(Hostile, ATrackOfEmptyHintSamplesEnds) {
    TrackPlan media{.samples = {hex("01")}, .sample_entry = samr_entry()};
    OpenedFile f(join({build_movie({{media}, true}), {}}));
    iso_track* hint = f.track();
    hint->codec = ISO_CODEC_RTP;
    hint->hint_ref_track = 1;
    hint->sample_count = 0x7FFFFFFF;
    hint->sample_size = 4;
    f.file->indexed_read = 1;
    f.host.keep_log = false;
    Bytes buffer(ISOFF_PACKET_CAPACITY);
    EXPECT_EQ(isoFFrtpPacket(isoFFrtpHinter(hint, 1400), buffer.data()), ISOFF_END);
}

}  // namespace
}  // namespace qlip_test
