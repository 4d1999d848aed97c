// The walk of the box tree and the small boxes.
#include "iso/read/walk.h"

#include <gmock/gmock.h>

#include <tuple>

#include "iso/read/box_handlers.h"
#include "iso/read/box_tables.h"
#include "iso/read/stream_input.h"
#include "qlip/SimpleException.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

Bytes mvhd(unsigned int version = 0) {
    ByteWriter out;
    if (version == 1) {
        out.zeros(28);
    } else {
        out.u32(11).u32(12).u32(1000).u32(5000);
    }
    return full_box("mvhd", out.u32(0x10000).u16(0x100).zeros(70).u32(42), version);
}

TEST(Open, ReadsMoovWithOneCallAndKeepsTheStartingTimescaleOfVersionOne) {
    OpenedFile f(Bytes{});
    f.host.bytes = moov_file({mvhd(), trak({})});
    f.host.position = 0;
    parse(f.file, file_box, 0);
    EXPECT_EQ(f.host.count(Slot::SeekNRead), 6U + 3U + 2U) << "ftyp in words, moov with its header, the end";
    EXPECT_STREQ(f.file->compatible_brands, "3gp4 isom");
    EXPECT_EQ(f.file->duration, 5000U);
    EXPECT_EQ(f.file->next_track_id, 42U);
    EXPECT_EQ(f.track()->track_id, 7U);
    EXPECT_EQ(f.track()->width, 176U);
    EXPECT_EQ(f.track()->codec, ISO_CODEC_NONE);
    OpenedFile one(moov_file({mvhd(1), trak({})}));
    EXPECT_EQ(one.file->timescale, 600U);
    EXPECT_EQ(one.file->next_track_id, 42U);
    EXPECT_EQ(one.file->audio_profile, 255U);
}

TEST(Open, TakesTwoModesAndCountsTheHeaderBytesOfAWrittenFile) {
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io = nullptr;
    int err = 7;
    char bad[] = "x";
    EXPECT_EQ(isoFFopen(io, bad, &err), nullptr);
    EXPECT_EQ(err, -1);
    EXPECT_EQ(isoFFopen(io, nullptr, nullptr), nullptr);
    char good[] = "r";
    iso_file* file = isoFFopen(io, good, &err);
    ASSERT_NE(file, nullptr) << "no record at all counts as an empty stream";
    EXPECT_EQ(file->tracks, nullptr);
    EXPECT_EQ(isoFFclose(file), 0);
    EXPECT_EQ(isoFFclose(nullptr), -1);
    char writing[] = "wb";
    file = isoFFopen(io, writing, &err);
    EXPECT_EQ(isoFFtrack(file)->track_id, 1U);
    EXPECT_EQ(std::tuple(file->header_bytes, file->next_track_id), std::tuple(194U + 325U, 2U));
    EXPECT_EQ(isoFFselect(file, nullptr, 1), nullptr);
    file->writing = 0;  // nothing to write to
    isoFFclose(file);
}

TEST(Close, CountsEveryBlockThatOpeningCounted) {
    const int before = malloccount - freecount;
    { OpenedFile f(MoviePlan{{TrackPlan{.samples = {hex("01")}, .sample_entry = samr_entry()}}, true}); }
    // The moov buffer alone belongs to nobody's list.
    EXPECT_EQ(malloccount - freecount - before, 1);
}

TEST(Parse, SkipsUnknownAndMisplacedBoxesAtEveryLevel) {
    const Bytes odd = box("zzzz", Bytes(5, 1));
    OpenedFile f(join({odd, moov_file({odd, full_box("stsz", Bytes(8, 9)),
                                       trak({odd, container("moov", {odd})}), trak({})})}));
    EXPECT_NE(f.track(2), nullptr);
    EXPECT_EQ(f.output, "");
}

TEST(Parse, EndsAtMediaDataBehindMoovAndKeepsMediaDataAheadOfItInMemory) {
    const Bytes movie = moov_file({trak({})});
    OpenedFile behind(join({movie, box("mdat", Bytes(16, 1)), moov_file({trak({}), trak({})})}));
    EXPECT_EQ(behind.track(2), nullptr);
    EXPECT_EQ(behind.file->mdat_start, movie.size() + 8);
    EXPECT_EQ(behind.file->read_fn, nullptr);
    OpenedFile ahead(join({box("mdat", hex("0A0B0C")), movie}));
    ASSERT_NE(ahead.file->mdat_image, nullptr);
    EXPECT_EQ(ahead.file->mdat_image[2], 0x0C);
    EXPECT_EQ(ahead.file->mdat_start, 8U);
    EXPECT_EQ(ahead.file->mdat_end, 11U);
    EXPECT_EQ(ahead.file->read_fn, &mread);
    EXPECT_EQ(ahead.file->stream, ahead.file);
    OpenedFile empty(join({box("mdat"), movie}));
    EXPECT_EQ(empty.file->mdat_image, nullptr);
    EXPECT_NE(empty.track(), nullptr);
}

TEST(Parse, AnEmptyContainerTakesInWhatFollowsButAnEmptyUdtaDoesNot) {
    // The second tkhd stands inside the empty trak that precedes it.
    OpenedFile taken(moov_file({box("trak"), tkhd()}));
    EXPECT_NE(taken.track(), nullptr);
    OpenedFile left(moov_file({trak({}), box("udta"), full_box("tsel", Bytes(8, 0))}));
    EXPECT_EQ(left.track()->tsel_attributes, nullptr);
    OpenedFile empty_moov(join({box("moov"), moov_file({trak({})})}));
    EXPECT_NE(empty_moov.track(), nullptr);
    EXPECT_THAT(empty_moov.output, testing::HasSubstr("read_buf, EOF 0 left"));
}

TEST(Parse, ASampleEntryWithoutChildrenTakesInNothing) {
    const Bytes bare = box("sawb", Bytes(28, 0));
    OpenedFile f(moov_file({stbl_trak({stsd(bare), table("stts", 1, {1, 160})})}));
    EXPECT_EQ(f.track()->codec, ISO_CODEC_SAWB);
    EXPECT_EQ(f.track()->stts_count, 1);
}

Bytes repeat(const Bytes& part, int times) {
    Bytes out;
    for (int i = 0; i < times; ++i)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

TEST(Parse, OddSizesEndTheWalk) {
    const Bytes track = trak({}), long_box = box("zzzz", Bytes(40, 0));
    const Bytes back = ByteWriter().u32(0xFFFFFFF0).text("zzzz");
    // The payload of a box of size 1 is -7: its second byte starts the next header, an unknown long box.
    const Bytes one = ByteWriter().u32(1).text("zzzz").zeros(400);
    const struct {
        const char* name;
        Bytes file;
        int tracks;
    } kCases[] = {
        {"size 0", moov_file({track, ByteWriter().u32(0).text("zzzz"), track}), 1},
        {"size 1 is no large size", moov_file({track, one, track}), 1},
        {"leads back in moov", moov_file({long_box, back, track}), 0},
        {"leads back in the file", join({long_box, back, moov_file({track})}), 0},
        {"an endless row of empty boxes", join({repeat(box("free"), 70000), moov_file({track})}), 0},
    };
    for (const auto& [name, file, tracks] : kCases) {
        OpenedFile f(file);
        int found = 0;
        isoFFfileInfo(f.file, &found, nullptr, nullptr);
        EXPECT_EQ(found, tracks) << name;
    }
}

TEST(Parse, NestingIsNoDeeperThanTheTables) {
    const Bytes chain = join({box("trak"), box("mdia"), box("minf"), box("stbl"), box("stsd"), box("udta"),
                              box("hnti"), box("edts"), box("meta"), box("tref"), box("dinf")});
    OpenedFile f(moov_file({repeat(chain, 20000)}));
    EXPECT_LT(f.file->depth, 20);
}

TEST(Parse, ASecondInstanceEndsItWithAMessage) {
    const auto udta = [](const Bytes& child) { return container("udta", {child}); };
    const Bytes sdp = box("sdp ", hex("41")), tsel = full_box("tsel", Bytes(8, 1));
    const std::pair<Bytes, const char*> in_trak[] = {
        {udta(container("hnti", {sdp, sdp})), "extra sdp\n"},
        {udta(join({tsel, tsel})), "extra/misplaced tsel\n"},
    };
    const std::pair<Bytes, const char*> in_stbl[] = {
        {table("stts", 1, {1, 1}), "extra stts\n"},
        {table("ctts", 1, {1, 1}), "extra ctts\n"},
        {table("stsz", 0, {1, 5}), "extra stsz\n"},
        {table("stco", 1, {5}), "extra stco\n"},
        {table("stss", 1, {1}), "extra stss\n"},
        {table("sbgp", 0x726f6c6c, {1, 1, 1}), "extra sbgp\n"},
        {full_box("sgpd", ByteWriter().text("3gag").u32(1).u16(0)), "extra sgpd\n"},
    };
    const auto expect_end = [](const Bytes& first, const std::string& message) {
        OpenedFile f(moov_file({first, trak({})}));
        EXPECT_EQ(f.output, message);
        EXPECT_NE(f.track(1), nullptr) << "the tracks so far stay";
        EXPECT_EQ(f.track(2), nullptr);
    };
    for (const auto& [boxes, message] : in_trak)
        expect_end(trak({boxes}), message);
    for (const auto& [box, message] : in_stbl)
        expect_end(stbl_trak({box, box}), message);
}

// Descriptors that say nothing of profiles leave them as they were; version 1 of a box has no times that are
// kept.
TEST(SmallBoxes, KeepTheirFields) {
    const Bytes iods = full_box("iods", hex("10 07 0044 01 02 03 04 05"));
    const Bytes silent =
        join({full_box("iods", hex("10 07 0044 09")), full_box("iods", hex("11 07 0044 09 02 03 04 05")),
              full_box("iods", hex("10 06 0044 09 02 03 04 05"))});
    const Bytes hnti = container("hnti", {box("rtp ", ByteWriter().text("sdp ").text("v=0"))});
    const Bytes other = container("hnti", {box("rtp ", ByteWriter().text("html").text("<a>"))});
    const Bytes hdlr = full_box("hdlr", ByteWriter().u32(0).text("soun").zeros(15));
    OpenedFile f(moov_file(
        {mvhd(), iods, silent, container("udta", {hnti, other}),
         trak({kEdits, kHintReference, kMeta, kTrackData,
               container("mdia",
                         {full_box("mdhd", ByteWriter().u32(1).u32(2).u32(8000).u32(400).u32(0)), hdlr})}),
         trak({container("edts", {full_box("elst", ByteWriter().u32(1).zeros(16).u32(7), 1)}),
               container("mdia", {full_box("mdhd", ByteWriter().zeros(32), 1), hdlr})})}));
    EXPECT_EQ(f.output, "");
    const iso_file& file = *f.file;
    EXPECT_EQ(std::tuple(file.od_id, file.od_profile, file.scene_profile, file.audio_profile,
                         file.visual_profile, file.graphics_profile),
              std::tuple(1U, 1U, 2U, 3U, 4U, 5U));
    EXPECT_STREQ(f.file->sdp, "v=0");
    iso_track* t = f.track();
    ASSERT_EQ(t->edit_count, 2);
    EXPECT_EQ(std::tuple(t->edits[1][1], t->hint_ref_track, t->xml_size, t->tsel_group),
              std::tuple(0xFFFFFFFFU, 3U, 4, 9U));
    EXPECT_EQ(std::tuple(t->timescale, t->creation_time), std::tuple(8000U, 1U));
    EXPECT_STREQ(t->sdp, "m=x");
    EXPECT_STREQ(t->tsel_attributes, "bitr");
    const iso_track* wide = f.track(2);
    ASSERT_NE(wide, nullptr) << "every box left the walk at its end";
    EXPECT_EQ(std::tuple(wide->edits[0][0], wide->edits[0][2]), std::tuple(0U, 7U));
    EXPECT_STREQ(wide->handler, "soun");
}

TEST(SmallBoxes, UdtaBehindTheLastTrackAddressesThatTrack) {
    const Bytes sdp = container("hnti", {box("sdp ", ByteWriter().text("s"))});
    OpenedFile f(moov_file({container("udta", {sdp}), trak({}), trak({}), container("udta", {sdp})}));
    EXPECT_EQ(f.track(1)->sdp, nullptr) << "a text ahead of any track is passed over";
    EXPECT_STREQ(f.track(2)->sdp, "s");
}

TEST(SmallBoxes, SchemeUrlTakesTwoBytesBeyondItsBox) {
    const Bytes schm = full_box("schm", ByteWriter().text("sch1").u32(5).text("ab"), 0, 1);
    const Bytes srpp = full_box("srpp", ByteWriter().zeros(16).raw(schm).raw(box("schi", hex("0102"))));
    OpenedFile f(moov_file({stbl_trak({stsd(rtp_entry(1400, 90000, srpp))})}));
    EXPECT_STREQ(f.track()->scheme_url, "ab") << "then two bytes of the next box, the second being replaced";
    EXPECT_EQ(f.track()->schi, nullptr);
}

TEST(Brands, AreComparedInGroupsOfFour) {
    OpenedFile f(moov_file({}));
    const auto compatible = [&](std::string brands) { return isoFFcompatible(f.file, brands.data()); };
    EXPECT_EQ(compatible("isom"), 0);
    EXPECT_EQ(compatible("zzzz 3gp4"), 0);
    EXPECT_EQ(compatible("zzzz"), -1);
    EXPECT_EQ(compatible("iso"), -1);
    EXPECT_EQ(isoFFcompatible(nullptr, nullptr), -1);
    char pair[] = "3gp6 isom";
    EXPECT_EQ(isoFFsetBrand(f.file, pair, 3), 0);
    EXPECT_STREQ(f.file->major_brand, "3gp6");
    EXPECT_STREQ(f.file->compatible_brands, "3gp6 isom");
    char seven[] = "3gp6 is";
    EXPECT_EQ(isoFFsetBrand(f.file, seven, 3), -1);
    char none[] = "";
    EXPECT_EQ(isoFFsetBrand(f.file, none, 3), -1);
}

}  // namespace
}  // namespace qlip_test
