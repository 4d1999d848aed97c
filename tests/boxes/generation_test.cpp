// The generation side: a driver writes a file box by box.
#include <gtest/gtest.h>

#include "tests/boxes/box_stream.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

template <class Rewritable>
void rewrite(Stream& stream, Rewritable& box) {
    box.GoToStart(stream);
    stream << box;
}

StblBox& tables_of(const TrakBox& trak) {
    return *trak.GetMdia()->GetMinf()->GetStbl();
}

// Until its media is written, the tables of a track are of the right length with nothing in them.
void empty_tables(const TrakBox& trak) {
    for (auto* entries : {&tables_of(trak).GetStsz()->chunk_sizes, &tables_of(trak).GetStco()->chunk_offsets})
        std::fill(entries->begin(), entries->end(), 0);
}

void finish(const TrakBox& trak, Stream& stream, MdatBox& mdat, void (Fixupable::*fix_up)(MdatBox*)) {
    const StblBox& tables = tables_of(trak);
    (tables.GetStco()->*fix_up)(&mdat);
    (tables.GetStsz()->*fix_up)(&mdat);
    rewrite(stream, *tables.GetStco());
    rewrite(stream, *tables.GetStsz());
    rewrite(stream, *tables.GetStts());
    rewrite(stream, *tables.GetStsd());
}

// ftyp and moov, chunks, close, fix-ups, rewriting in place: byte for byte the file that the boxes came from.
TEST(Generated, FileIsThatOfItsBoxesAndChunks) {
    MoviePlan plan = {.moov_first = true};
    plan.tracks.resize(2);
    for (unsigned char n = 1; n <= 5; ++n) {
        plan.tracks[0].samples.emplace_back(40 + n, n);
        plan.tracks[1].samples.emplace_back(13, 9 * n);
    }
    plan.tracks[0].handler = "vide";
    plan.tracks[0].sync = {1, 4};
    plan.tracks[0].sample_entry = visual_entry("s263", 176, 144, d263());
    plan.tracks[1].id = 2;
    plan.tracks[1].sample_entry = samr_entry();
    plan.tracks[1].constant_size = true;
    plan.tracks[1].extra_trak = join({edts({{7, 5}}), container("tref", {box("hint", ByteWriter().u32(1))})});
    BoxStream in(build_movie(plan)), out;
    Simple3gp file;
    file.Read(in.stream, 0);
    file.GetMoov()->AddOptionalBox(new UnknownBox, true);  // is neither counted nor written
    const TrakBox &video = *file.GetMoov()->GetTraks()[0], &audio = *file.GetMoov()->GetTraks()[1];
    empty_tables(video);
    empty_tables(audio);
    out.stream << file;
    MdatBox mdat;
    for (size_t i = 0; i < 5; ++i) {
        mdat.AddVideoChunk(out.stream, plan.tracks[0].samples[i].data(), 41 + static_cast<unsigned int>(i));
        mdat.AddAudioChunk(out.stream, plan.tracks[1].samples[i].data(), 13);
    }
    mdat.Close(out.stream);
    EXPECT_EQ(mdat.GetSize() + static_cast<size_t>(std::streamoff(mdat.position)), out.host.bytes.size());
    EXPECT_NE(out.host.bytes, in.host.bytes);
    finish(video, out.stream, mdat, &Fixupable::FixupVideo);
    finish(audio, out.stream, mdat, &Fixupable::FixupAudio);
    rewrite(out.stream, *file.GetMoov()->GetMvhd());
    rewrite(out.stream, *video.GetTkhd());
    rewrite(out.stream, *video.GetMdia()->GetMdhd());
    rewrite(out.stream, *tables_of(video).GetStss());
    EXPECT_EQ(out.host.bytes, in.host.bytes);
}

TEST(MediaData, WritesItsHeaderOnceAndAgainAtTheEnd) {
    BoxStream out(Bytes(16, 0xEE));
    out.host.position = 16;
    MdatBox mdat;
    Bytes one = {1, 2, 3}, two = {4};
    mdat.AddVideoChunk(out.stream, one.data(), 3);
    mdat.AddVideoChunk(out.stream, two.data(), 1);
    EXPECT_EQ(std::streamoff(mdat.GetVideoChunkPositions(1)), 27);
    EXPECT_EQ(out.host.bytes[19], 8);
    mdat.AddVideoHintChunk(out.stream, nullptr);
    EXPECT_EQ(mdat.GetNumVideoHintChunks(), 0);
    mdat.Close(out.stream);
    EXPECT_EQ(out.host.position, 24u);
    EXPECT_EQ(out.host.bytes, join({Bytes(16, 0xEE), box("mdat", {1, 2, 3, 4})}));
    EXPECT_TRUE(dumped(mdat).empty());
}

TEST(MediaData, FailedWriteLeavesTheNoteAndNotTheSize) {
    BoxStream out;
    out.host.fault = {Slot::SeekNWrite, 3};
    MdatBox mdat;
    Bytes data = {1};
    EXPECT_THROW(mdat.AddAudioChunk(out.stream, data.data(), 1), SimpleException);
    EXPECT_EQ(mdat.GetNumAudioChunks(), 1);
    EXPECT_EQ(mdat.GetSize(), 8u);
}

TEST(Fixups, TakeAsManyEntriesAsBothHave) {
    BoxStream out;
    MdatBox mdat;
    Bytes data(9, 0);
    for (unsigned int size = 1; size <= 5; ++size)
        mdat.AddVideoChunk(out.stream, data.data(), size);
    mdat.AddAudioChunk(out.stream, data.data(), 9);
    StcoBox stco;
    stco.FixupVideo(&mdat);
    EXPECT_TRUE(stco.GetChunkOffsets().empty());
    stco.chunk_offsets = {0, 0, 0};
    stco.FixupVideo(&mdat);
    EXPECT_EQ(stco.GetChunkOffsets(), (std::vector<unsigned int>{8, 9, 11}));
    StszBox stsz;
    stsz.chunk_sizes.resize(7, 99);
    stsz.FixupVideo(&mdat);
    stsz.FixupAudio(&mdat);
    stsz.FixupVideoHint(&mdat);
    EXPECT_EQ(stsz.GetChunkSizes(), (std::vector<unsigned int>{9, 2, 3, 4, 5, 99, 99}));
}

TEST(Fixups, SampleSizesMustBeThereToBeDumped) {
    StszBox stsz;
    stsz.sample_count = 2;
    stsz.chunk_sizes = {1};
    BoxStream out;
    EXPECT_THROW(stsz.Dump(out.stream), SimpleException);
    EXPECT_TRUE(out.host.bytes.empty());
}

TEST(Fixups, TimescaleConversionRoundsHalvesUp) {
    const struct {
        unsigned int from, to, old_delta, new_delta;
    } cases[] = {{1000, 8000, 20, 160}, {3, 1000, 1, 333}, {3, 1000, 2, 667}, {2, 1, 1, 1}, {0, 1, 1, 0}};
    for (const auto& each : cases) {
        SttsBox stts;
        stts.sample_entries = {{7, each.old_delta}};
        stts.SetTimescale(each.to, each.from);
        EXPECT_EQ(stts.sample_entries[0].sample_delta, each.new_delta) << each.to << "/" << each.from;
        EXPECT_EQ(stts.sample_entries[0].sample_count, 7u);
    }
}

}  // namespace
}  // namespace qlip_test
