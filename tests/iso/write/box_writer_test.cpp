// Boxes that depend on more than the fields they hold, and the put primitives.
#include "iso/write/box_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "common/byte_order.h"
#include "iso/write/put.h"
#include "tests/iso/opened_file.h"
#include "tests/iso/write/writer_fixture.h"

namespace qlip_test {
namespace {

// Runs a writer twice, as the file does, and checks that both passes agree.
template <typename Owner>
Bytes stored(int (*writer)(int, Owner*, unsigned char*), Owner* owner) {
    const int counted = writer(0, owner, nullptr);
    Bytes out(static_cast<size_t>(counted) + 1, 0xEE);
    EXPECT_EQ(writer(1, owner, out.data()), counted);
    out.resize(static_cast<size_t>(counted));
    return out;
}

TEST(PutTest, ValuesAndLengths) {
    unsigned char out[8];
    int values[] = {1, -2};
    EXPECT_EQ(put32n(1, out, values, 2), 8);
    EXPECT_EQ(Bytes(out, out + 8), hex("00000001 FFFFFFFE"));
    EXPECT_EQ(put24(1, out, 0x01020304) + putxlen(1, out + 3, 0x0ABCDEF), 7);
    EXPECT_EQ(Bytes(out, out + 7), hex("020304 85AF9B6F"));
    EXPECT_EQ(put8n(1, nullptr, nullptr, 0) + putxlen(0, nullptr, 5), 4);
}

class BoxWriterTest : public testing::Test {
  protected:
    WriterFixture movie;
};

TEST_F(BoxWriterTest, BrandsAreWrittenWithoutTheirSeparators) {
    char brands[] = "3gr6 M4A  3gp6";
    ASSERT_EQ(isoFFsetBrand(movie.file, brands, 7), 0);
    EXPECT_EQ(stored<iso_file>(w_ftyp, movie.file),
              box("ftyp", ByteWriter().text("3gr6").u32(7).text("3gr6M4A 3gp6")));
}

TEST_F(BoxWriterTest, ObjectDescriptorsOnlyForMp42) {
    movie.add_amr();
    EXPECT_EQ(w_iods(0, movie.file, nullptr), 0);
    char brands[] = "mp42 3gp6";
    ASSERT_EQ(isoFFsetBrand(movie.file, brands, 0), 0);
    movie.file->od_profile = 1, movie.file->scene_profile = 2, movie.file->audio_profile = 3;
    movie.file->visual_profile = 4, movie.file->graphics_profile = 5;
    EXPECT_EQ(stored<iso_file>(w_iods, movie.file),
              full_box("iods", hex("10 80808010 004F 0102030405 0E 80808004 00000001")));
}

TEST_F(BoxWriterTest, DescriptorsNestWithFourByteLengths) {
    iso_track* track = movie.add_h263();
    unsigned char info[] = {0, 0, 1, 0xB0, 8};
    ASSERT_EQ(isoFFsetDecoderSpecificInfo(track, info, 5), 0);
    track->object_type = 0x20;
    track->stream_type = 4;
    track->buffer_size_db = 0x010203;
    track->max_bitrate = 64000;
    track->avg_bitrate = 32000;
    EXPECT_EQ(stored<iso_track>(w_esds, track),
              full_box("esds", hex("03 80808022 0000 00"
                                   "04 80808017 20 11 010203 0000FA00 00007D00"
                                   "05 80808005 000001B008"
                                   "06 01 02")));
    track->codec = ISO_CODEC_MP4A;
    EXPECT_EQ(slice(stored<iso_track>(w_sampleEntry, track), 4, 4), Bytes({'m', 'p', '4', 'a'}));
}

TEST_F(BoxWriterTest, AWrongRowCountIsReportedAndTheWrittenSizeKept) {
    iso_track* track = movie.add_amr();
    iso_group_run second = {4, 1, nullptr};
    iso_group_run first = {3, 0, &second};
    std::strcpy(track->grouping_type, "3gag");
    track->sbgp = &first;
    track->sbgp_count = 1;
    Bytes out(64);
    testing::internal::CaptureStdout();
    EXPECT_EQ(w_sbgp(1, track, out.data()), 36);
    track->sbgp = nullptr;
    track->sample_count = 1;
    EXPECT_EQ(w_stco(1, track, out.data()), 16);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Pass1 1 28 Pass 2 36 --- sbgp count 1\nPass1 1 20 Pass 2 16 --- sample count = 1\n");
    track->sample_count = 0;
}

TEST_F(BoxWriterTest, UserDataAndLinksHoldWhatThereIs) {
    EXPECT_EQ(w_udta(0, movie.add_amr(), nullptr), 0);
    iso_track* track = movie.add_amr();
    track->tsel_group = 2;
    EXPECT_EQ(stored<iso_track>(w_udta, track), container("udta", {full_box("tsel", ByteWriter().u32(2))}));
    char text[] = "a=x\r\n";
    movie.file->sdp = track->scheme_url = track->location = text;
    EXPECT_EQ(stored<iso_file>(w_udta, movie.file),
              container("udta", {container("hnti", {box("rtp ", ByteWriter().text("sdp ").text(text))})}));
    EXPECT_EQ(w_schm(0, track, nullptr), 0) << "no scheme";
    std::strcpy(track->scheme_type, "sch1");
    EXPECT_EQ(stored<iso_track>(w_schm, track),
              full_box("schm", ByteWriter().text("sch1").u32(0).text(text).u8(0), 0, 1));
    EXPECT_EQ(stored<iso_track>(w_url, track), full_box("url ", ByteWriter().text(text).u8(0)));
    movie.file->sdp = track->scheme_url = track->location = nullptr;
}

// What is read here by way of the tests of the reading side.
TEST_F(BoxWriterTest, PutsWhatWasReadAsItStood) {
    OpenedFile f(moov_file({trak(
        {kHintReference, kEdits,
         container("mdia",
                   {full_box("hdlr", ByteWriter().u32(0).text("text").zeros(15)),
                    container("minf", {container("stbl", {stsd(kProtectedEntry), kGroups, kGroupRuns})})}),
         kMeta, kTrackData})}));
    const std::pair<int (*)(int, iso_track*, unsigned char*), Bytes> kCases[] = {
        {w_tref, kHintReference},         {w_edts, kEdits},  {w_meta, kMeta},     {w_udta, kTrackData},
        {w_sampleEntry, kProtectedEntry}, {w_sgpd, kGroups}, {w_sbgp, kGroupRuns}};
    for (const auto& [writer, box] : kCases)
        EXPECT_EQ(stored<iso_track>(writer, f.track()), box);
    EXPECT_EQ(slice(stored<iso_track>(w_minf, f.track()), 8, 12), full_box("nmhd", {}));
    std::strcpy(f.track()->handler, "hint");
    EXPECT_EQ(slice(stored<iso_track>(w_minf, f.track()), 8, 28), full_box("hmhd", Bytes(16)));
    EXPECT_EQ(slice(stored<iso_track>(w_tkhd, f.track()), 8, 4), Bytes(4)) << "a hint track is not enabled";
}

// The first box of a type.
Bytes box_in(const Bytes& file, std::string_view type) {
    const auto at = std::search(file.begin(), file.end(), type.begin(), type.end()) - 4;
    return {at, at + qlip::load_be32(&*at)};
}

TEST_F(BoxWriterTest, PutsTheBoxesOfAWholeFileAsTheyStood) {
    const auto parameter_sets = avcC(4, {hex("6742E01E")}, {hex("68CE"), hex("68")});
    for (const Bytes& entry :
         {samr_entry(damr(4, 0x80FF, 1)), sawb_entry(damr(2)), visual_entry("s263", 352, 288, d263(20, 3)),
          visual_entry("avc1", 352, 288, parameter_sets)}) {
        const std::string type(entry.begin() + 4, entry.begin() + 8);
        const bool video = type == "s263" || type == "avc1";
        const TrackPlan plan = {.handler = video ? "vide" : "soun",
                                .id = 7,
                                .timescale = type == "sawb" ? 16000U : 8000U,
                                .samples = {Bytes(9, 9)},
                                .delta = 640,
                                .width = 352,
                                .height = 288,
                                .sample_entry = entry};
        const Bytes source = build_movie({.tracks = {plan}});
        OpenedFile f(source);
        f.track()->default_delta = 640;
        const iso_track* fresh = movie.add_h263();  // has what the reading side leaves out
        f.track()->h_resolution = fresh->h_resolution;
        f.track()->v_resolution = fresh->v_resolution;
        f.track()->depth = fresh->depth;
        const std::pair<std::string, int (*)(int, iso_track*, unsigned char*)> kCases[] = {
            {"tkhd", w_tkhd}, {"mdhd", w_mdhd}, {"smhd", w_smhd},
            {"vmhd", w_vmhd}, {"dinf", w_dinf}, {type, w_sampleEntry}};
        for (const auto& [name, writer] : kCases) {
            if (name == (video ? "smhd" : "vmhd")) continue;
            EXPECT_EQ(stored<iso_track>(writer, f.track()), box_in(source, name)) << type << name;
        }
        EXPECT_EQ(stored<iso_file>(w_mvhd, f.file), box_in(source, "mvhd"));
        EXPECT_EQ(
            stored<iso_track>(w_hdlr, f.track()),
            full_box("hdlr", ByteWriter().u32(0).text(plan.handler).zeros(12).text(plan.handler).u8(0)));
        if (type != "avc1") continue;
        f.track()->dsi_size = 0;  // as of a writer that was given the sets
        EXPECT_EQ(stored<iso_track>(w_avcC, f.track()), parameter_sets);
    }
}

}  // namespace
}  // namespace qlip_test
