// Sample entries, their configuration boxes, and the decoder information in other forms.
#include <gmock/gmock.h>

#include <cstdlib>
#include <tuple>

#include "iso/read/box_handlers.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

OpenedFile with_entry(const Bytes& entry) {
    return OpenedFile(moov_file({stbl_trak({stsd(entry)})}));
}

Bytes bytes_of(const unsigned char* from, size_t count) {
    return {from, from + count};
}

TEST(SampleEntry, EveryKindSetsItsCodec) {
    const std::vector<std::pair<const char*, int>> kinds = {{"mp4v", 0}, {"mp4a", 1}, {"s263", 2},
                                                            {"samr", 3}, {"avc1", 4}, {"sawb", 5},
                                                            {"sawp", 7}, {"rtp ", 8}, {"srtp", 9}};
    for (const auto& [type, codec] : kinds) {
        OpenedFile f = with_entry(box(type, Bytes(90, 0)));
        EXPECT_EQ(f.track()->codec, codec) << type;
        EXPECT_EQ(f.track()->flags & ISO_TRACK_PREPEND_DSI, codec == 1 ? 0U : ISO_TRACK_PREPEND_DSI);
    }
}

TEST(SampleEntry, AVisualSizeOfZeroKeepsTheTrackHeaders) {
    OpenedFile zero = with_entry(visual_entry("s263", 0, 0, d263(45, 3)));
    const iso_track* t = zero.track();
    EXPECT_EQ(std::tuple(t->width, t->height, t->level, t->profile), std::tuple(176U, 144U, 45, 3));
    OpenedFile set = with_entry(visual_entry("s263", 352, 288, d263()));
    EXPECT_EQ(std::tuple(set.track()->width, set.track()->height), std::tuple(352U, 288U));
}

TEST(Esds, KeepsDecoderConfigurationAndLevel) {
    const std::pair<Bytes, int> kCases[] = {
        {hex("000001B0 03 000001B5"), 3}, {hex("000001B0"), 0}, {hex("1208"), 0}, {{}, 0}, {Bytes(90, 7), 0}};
    for (const auto& [dsi, level] : kCases) {
        OpenedFile f = with_entry(visual_entry("mp4v", 10, 10, esds(dsi)));
        const iso_track* t = f.track();
        ASSERT_NE(t->dsi, nullptr);
        EXPECT_EQ(bytes_of(t->dsi, static_cast<size_t>(t->dsi_size)), dsi);
        EXPECT_EQ(t->level, level);
        EXPECT_EQ(f.output, "");
    }
}

TEST(Esds, PassesOverOtherTagsAndRefusesLengthsBeyondTheBox) {
    const auto entry = [](const Bytes& descriptors) {
        return stsd(visual_entry("mp4v", 1, 1, full_box("esds", descriptors)));
    };
    const Bytes config = hex("04 0F 20 11 000102 00000304 00000506 05 00");
    const Bytes es = join({hex("07 02 AABB 03 80 80 17 0001 00"), config, hex("06 01 02")});
    OpenedFile f(moov_file({stbl_trak({entry(es)}), trak({})}));
    const iso_track* t = f.track();
    EXPECT_EQ(f.output, "esds: skipping tag 7\n");
    EXPECT_EQ(std::tuple(t->object_type, t->stream_type, t->buffer_size_db, t->max_bitrate, t->avg_bitrate),
              std::tuple(0x20U, 4U, 0x102U, 0x304U, 0x506U));
    EXPECT_EQ(t->dsi_size, 0);
    EXPECT_NE(f.track(2), nullptr);
    for (const char* bad :
         {"03 04 0001 00", "03 05 0001 00 04 01", "03 14 0001 00 04 0F 20 11 000102 00000304 00000506 05 01",
          "03 8F FF FF FF 7F"}) {
        OpenedFile refused(moov_file({stbl_trak({entry(hex(bad))}), trak({})}));
        EXPECT_EQ(refused.track(2), nullptr) << bad;
        EXPECT_EQ(refused.track()->dsi_size, 0) << bad;
    }
}

TEST(AvcC, StoresParameterSetsWithThePrefixOfTheStream) {
    const Bytes sps = join({hex("67 42 E0 1E"), Bytes(16, 0x55)}), pps = hex("68 CE 38");
    for (const unsigned int nal_length_size : {1U, 2U, 4U}) {
        OpenedFile f = with_entry(visual_entry("avc1", 10, 10, avcC(nal_length_size, {sps}, {pps})));
        const iso_track* t = f.track();
        EXPECT_EQ(std::tuple(t->profile, t->profile_compat, t->level), std::tuple(0x42, 0xE0U, 0x1E));
        EXPECT_EQ(std::tuple(t->nal_length_size, t->sps_count, t->pps_count),
                  std::tuple(nal_length_size, 1, 1));
        const Bytes wide = nal_length_size == 4 ? hex("0000") : Bytes{};
        const Bytes first = join({wide, hex("0014"), sps});
        EXPECT_EQ(bytes_of(t->sps, first.size()), first);
        EXPECT_EQ(bytes_of(t->parameter_sets, t->parameter_sets_size), join({first, wide, hex("0003"), pps}));
    }
}

TEST(AvcC, CutShortOrWithLengthsOutsideDoesNoHarm) {
    const Bytes whole = avcC(4, {hex("67424E1E99")}, {hex("68CE")});
    for (size_t size = 0; size + 8 < whole.size(); ++size) {
        const Bytes cut(whole.begin() + 8, whole.begin() + 8 + static_cast<long>(size));
        OpenedFile f = with_entry(visual_entry("avc1", 1, 1, box("avcC", cut)));
        EXPECT_EQ(f.track()->dsi_size, static_cast<int>(size));
        EXPECT_EQ(f.track()->parameter_sets_size, size == 13 ? 9U : 0U)
            << "just behind the first set: " << size;
        EXPECT_EQ(f.track()->sps_count, size >= 13 ? 1 : 0) << "no set that is not there: " << size;
        EXPECT_EQ(f.track()->pps_count, 0) << size;
        unsigned char* out = nullptr;
        EXPECT_EQ(isoFFGetDSIin3GPP(f.track(), 0, &out), -1) << size;
    }
}

TEST(DecoderInformation, TurnsParameterSetsToStartCodesButIsAByteOffWithTwoSequenceSets) {
    OpenedFile f =
        with_entry(visual_entry("avc1", 1, 1, avcC(4, {hex("67424E1E99")}, {hex("68CE"), hex("68")})));
    unsigned char* out = nullptr;
    ASSERT_EQ(isoFFGetDSIin3GPP(f.track(), 1, &out), 9 + 6 + 5);
    EXPECT_EQ(bytes_of(out, 20), hex("00000001 67424E1E99 00000001 68CE 00000001 68"));
    std::free(out);
    // Behind the first set the length of the second is read one byte late: 00 04 67 reads as 0x0467.
    OpenedFile two = with_entry(visual_entry("avc1", 1, 1, avcC(4, {hex("67420101"), hex("67420202")}, {})));
    EXPECT_EQ(isoFFGetDSIin3GPP(two.track(), 1, &out), -1);
}

TEST(DecoderInformation, IsReplacedAndChoosesWhatAFrameCounts) {
    OpenedFile f(MoviePlan{{TrackPlan{.samples = {hex("0102")}, .sample_entry = samr_entry()}}, true});
    iso_track* t = f.track();
    unsigned char data[] = {1, 2, 3};
    EXPECT_EQ(isoFFsetDecoderSpecificInfo(t, data, 3), 0);
    int size = 0;
    EXPECT_NE(isoFFgetDecoderSpecificInfo(t, &size, 1), static_cast<void*>(data));
    EXPECT_EQ(size, 3);
    int frame = 0;
    isoFFframeInfo(t, nullptr, &frame);
    EXPECT_EQ(frame, 5);
    isoFFgetDecoderSpecificInfo(t, &size, 0);
    isoFFframeInfo(t, nullptr, &frame);
    EXPECT_EQ(frame, 2);
    EXPECT_EQ(isoFFsetDecoderSpecificInfo(t, data, -1), -1);
    EXPECT_EQ(isoFFsetDecoderSpecificInfo(nullptr, data, 1), -1);
    EXPECT_EQ(isoFFgetDecoderSpecificInfo(nullptr, &size, 1), nullptr);
}

TEST(DecoderInformation, AnnexBBecomesAvcC) {
    const struct {
        const char* name;
        Bytes in, out;  // no bytes out: refused
    } kCases[] = {
        {"one of each", hex("00000001 67424E1E99 00000001 68CE38"),
         hex("01 424E1E FD E1 0005 67424E1E99 01 0003 68CE38")},
        {"other units are dropped", hex("00000001 09F0 00000001 67424E1E 00000001 68CE 00000001 0605"),
         hex("01 424E1E FD E1 0004 67424E1E 01 0002 68CE")},
        {"a three-byte start code costs a byte of the unit ahead of it",
         hex("00000001 67424E1E99 000001 68CE"), hex("01 424E1E FD E1 0004 67424E1E 01 0002 68CE")},
        {"no sequence set", hex("00000001 68CE"), {}},
        {"a sequence set without level", hex("00000001 6742"), {}},
        {"largest", join({hex("00000001 67424E1E"), Bytes(243, 0x55)}),
         join({hex("01 424E1E FD E1 00F7 67424E1E"), Bytes(243, 0x55), hex("00")})},
        {"too large", join({hex("00000001 67424E1E"), Bytes(244, 0x55)}), {}},
        {"empty", {}, {}},
    };
    for (const auto& [name, annex_b, expected] : kCases) {
        SCOPED_TRACE(name);
        Bytes in = annex_b;
        unsigned char* out = nullptr;
        int length = 0;
        EXPECT_EQ(convertDCI_3gpp_to_ISO(in.data(), static_cast<unsigned int>(in.size()), &out, &length),
                  expected.empty() ? 0 : 1);
        EXPECT_EQ(bytes_of(out, static_cast<size_t>(length)), expected);
        std::free(out);
    }
}

}  // namespace
}  // namespace qlip_test
