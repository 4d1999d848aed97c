// The generation side: a driver writes a file box by box, and a player reads it.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <utility>

#include "tests/boxes/box_stream.h"
#include "tests/iso/opened_file.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

// What another program says.
std::string output_of(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> buffer;
    for (size_t got; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        text.append(buffer.data(), got);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return text;
}

std::vector<Bytes> frames_of(const std::string& name) {
    OpenedFile in(sample(name));
    std::vector<Bytes> frames;
    Bytes buffer(64000);
    double time = 0, offset = 0;
    for (int size; (size = isoFFread(in.track(), buffer.data(), 64000, &time, &offset)) > 0;)
        frames.emplace_back(buffer.begin(), buffer.begin() + size);
    return frames;
}

template <class Rewritable>
void rewrite(Stream& stream, Rewritable& box) {
    box.GoToStart(stream);
    stream << box;
}

// The track of a sample, which a driver writes once more.
class Track {
  public:
    explicit Track(const std::string& name) : frames(frames_of(name)) {
        BoxStream in(sample(name));
        file.Read(in.stream, 0);
        media_duration_ = mdhd().GetDuration();
        duration_ = tkhd().GetDuration();
    }

    // As long as the media is not there: tables of the right length and nothing in them, one chunk a sample,
    // and a timescale that is finer. Shells of boxes that the model does not know would be misread.
    void hollow() {
        for (const Box* shell : std::exchange(tables().optional_boxes, {}))
            delete shell;
        const auto count = static_cast<unsigned int>(frames.size());
        tables().GetStts()->SetTimescale(kRough, 1);
        mdhd().SetTimescale(kRough * mdhd().GetTimescale(), 1);
        mdhd().SetDuration(0);
        tkhd().SetDuration(0);
        tables().GetStsc()->sample_entries = {{1, 1, 1}};
        tables().GetStsz()->sample_size = 0;
        tables().GetStsz()->sample_count = count;
        tables().GetStsz()->chunk_sizes.assign(count, 0);
        tables().GetStco()->chunk_offsets.assign(count, 0);
    }

    // When it is there.
    void finish(Stream& stream, MdatBox& mdat, void (Fixupable::*fix_up)(MdatBox*)) {
        (tables().GetStco()->*fix_up)(&mdat);
        (tables().GetStsz()->*fix_up)(&mdat);
        tables().GetStts()->SetTimescale(1, kRough);
        mdhd().SetTimescale(mdhd().GetTimescale() / kRough, 1);
        mdhd().SetDuration(media_duration_);
        tkhd().SetDuration(duration_);
        rewrite(stream, *tables().GetStco());
        rewrite(stream, *tables().GetStsz());
        rewrite(stream, *tables().GetStts());
        rewrite(stream, mdhd());
        rewrite(stream, tkhd());
    }

    TrakBox& trak() { return *file.GetMoov()->GetTraks()[0]; }
    TkhdBox& tkhd() { return *trak().GetTkhd(); }
    MdhdBox& mdhd() { return *trak().GetMdia()->GetMdhd(); }
    StblBox& tables() { return *trak().GetMdia()->GetMinf()->GetStbl(); }

    Simple3gp file;
    std::vector<Bytes> frames;

  private:
    static constexpr unsigned int kRough = 3;
    unsigned int media_duration_, duration_;
};

// ftyp and moov, chunks, close, fix-ups, rewriting in place.
Bytes generate(Track& video, Track& audio) {
    BoxStream out;
    Stream& stream = out.stream;
    audio.tkhd().track_ID = 2;
    video.file.GetMoov()->AddTrak(&audio.trak(), false);
    video.hollow();
    audio.hollow();
    stream << video.file;

    MdatBox mdat;
    const auto add = [&](std::vector<Bytes>& frames, size_t i, auto add_chunk) {
        if (i < frames.size())
            (mdat.*add_chunk)(stream, frames[i].data(), static_cast<unsigned int>(frames[i].size()));
    };
    for (size_t i = 0; i < std::max(video.frames.size(), audio.frames.size()); ++i) {
        add(video.frames, i, &MdatBox::AddVideoChunk);
        add(audio.frames, i, &MdatBox::AddAudioChunk);
    }
    mdat.Close(stream);
    EXPECT_EQ(mdat.GetSize() + static_cast<size_t>(std::streamoff(mdat.position)), out.host.bytes.size());

    video.finish(stream, mdat, &Fixupable::FixupVideo);
    audio.finish(stream, mdat, &Fixupable::FixupAudio);
    return out.host.bytes;
}

TEST(Generated, FilePlaysLikeTheFilesOfItsTracks) {
    Track video("h263.3gp");
    Track audio("amrnb.3gp");
    const Bytes bytes = generate(video, audio);
    const std::string path = testing::TempDir() + "qlip_generated.3gp";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (std::system("command -v ffprobe > /dev/null") != 0) GTEST_SKIP() << "no ffprobe";
    const auto probe = [](const char* stream, const std::string& file) {
        return output_of(std::string("ffprobe -v error -of csv=p=0 -show_data_hash md5 -show_entries "
                                     "stream=codec_name,width,height,time_base,nb_frames,duration_ts:"
                                     "packet=pts,duration,size,data_hash -select_streams ") +
                         stream + " " + file);
    };
    EXPECT_EQ(probe("v", path), probe("v", QLIP_SAMPLES "/h263.3gp"));
    EXPECT_EQ(probe("a", path), probe("a", QLIP_SAMPLES "/amrnb.3gp"));
    EXPECT_GT(probe("a", path).size(), 1000u);
    std::remove(path.c_str());
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
