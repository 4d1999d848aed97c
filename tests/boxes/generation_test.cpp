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

// A track while its media is written: until then its tables are of the right length with nothing in them, and
// its timescale is finer.
class Growing {
  public:
    explicit Growing(TrakBox& trak)
        : mdhd_(*trak.GetMdia()->GetMdhd()),
          tkhd_(*trak.GetTkhd()),
          tables_(*trak.GetMdia()->GetMinf()->GetStbl()),
          timescale_(mdhd_.GetTimescale()),
          media_duration_(mdhd_.GetDuration()),
          duration_(tkhd_.GetDuration()) {
        tables_.GetStts()->SetTimescale(kRough, 1);
        mdhd_.SetTimescale(kRough * timescale_, 1);
        mdhd_.SetDuration(0);
        tkhd_.SetDuration(0);
        for (auto* entries : {&tables_.GetStsz()->chunk_sizes, &tables_.GetStco()->chunk_offsets})
            std::fill(entries->begin(), entries->end(), 0);
    }

    void finish(Stream& stream, MdatBox& mdat, void (Fixupable::*fix_up)(MdatBox*)) {
        (tables_.GetStco()->*fix_up)(&mdat);
        (tables_.GetStsz()->*fix_up)(&mdat);
        tables_.GetStts()->SetTimescale(1, kRough);
        mdhd_.SetTimescale(timescale_, 1);
        mdhd_.SetDuration(media_duration_);
        tkhd_.SetDuration(duration_);
        rewrite(stream, *tables_.GetStco());
        rewrite(stream, *tables_.GetStsz());
        rewrite(stream, *tables_.GetStts());
        rewrite(stream, *tables_.GetStsd());
        rewrite(stream, mdhd_);
        rewrite(stream, tkhd_);
    }

  private:
    static constexpr unsigned int kRough = 3;
    MdhdBox& mdhd_;
    TkhdBox& tkhd_;
    StblBox& tables_;
    unsigned int timescale_, media_duration_, duration_;
};

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
    plan.tracks[1].extra_trak = join({edts({{7, 5}}), container("tref", {box("hint", ByteWriter().u32(1))})});
    BoxStream in(build_movie(plan)), out;
    Simple3gp file;
    file.Read(in.stream, 0);
    file.GetMoov()->AddOptionalBox(new UnknownBox, true);  // is neither counted nor written
    Growing video(*file.GetMoov()->GetTraks()[0]), audio(*file.GetMoov()->GetTraks()[1]);
    out.stream << file;
    MdatBox mdat;
    for (size_t i = 0; i < 5; ++i) {
        mdat.AddVideoChunk(out.stream, plan.tracks[0].samples[i].data(), 41 + static_cast<unsigned int>(i));
        mdat.AddAudioChunk(out.stream, plan.tracks[1].samples[i].data(), 13);
    }
    mdat.Close(out.stream);
    EXPECT_EQ(mdat.GetSize() + static_cast<size_t>(std::streamoff(mdat.position)), out.host.bytes.size());
    EXPECT_NE(out.host.bytes, in.host.bytes);
    video.finish(out.stream, mdat, &Fixupable::FixupVideo);
    audio.finish(out.stream, mdat, &Fixupable::FixupAudio);
    rewrite(out.stream, *file.GetMoov()->GetMvhd());
    rewrite(out.stream, *file.GetMoov()->GetTraks()[0]->GetMdia()->GetMinf()->GetStbl()->GetStss());
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
