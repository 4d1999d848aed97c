// The generation side: a driver writes a file box by box, and a player reads it.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "tests/filegen/box_stream.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

using namespace Vorn3gp;

// One track's real frames, taken out of a sample.
struct Frames {
    std::vector<Bytes> data;
    unsigned int timescale;
    unsigned int delta;
};

Frames frames_of(const std::string& name) {
    BoxStream in(sample(name));
    Simple3gp file;
    file.Read(in.stream, 0);
    const MdiaBox& mdia = *file.GetMoov()->GetTraks()[0]->GetMdia();
    const StblBox& stbl = *mdia.GetMinf()->GetStbl();
    const StszBox& stsz = *stbl.GetStsz();
    Frames frames{{}, mdia.GetMdhd()->GetTimescale(), stbl.GetStts()->GetSampleEntries()[0].sample_delta};
    size_t row = 0;
    unsigned int number = 0;
    for (unsigned int chunk = 1; chunk <= stbl.GetStco()->GetChunkOffsets().size(); ++chunk) {
        const auto& runs = stbl.GetStsc()->GetSampleEntries();
        if (row + 1 < runs.size() && runs[row + 1].first_chunk == chunk) ++row;
        size_t at = stbl.GetStco()->GetChunkOffsets()[chunk - 1];
        for (unsigned int i = 0; i < runs[row].samples_per_chunk; ++i, ++number) {
            const unsigned int size =
                stsz.GetSampleSize() ? stsz.GetSampleSize() : stsz.GetChunkSizes()[number];
            const auto begin = in.host.bytes.begin() + static_cast<std::ptrdiff_t>(at);
            frames.data.emplace_back(begin, begin + size);
            at += size;
        }
    }
    return frames;
}

// Tables are made in a timescale finer by this, and converted when the media is in.
constexpr unsigned int kRough = 3;

// A track with tables of the right length and nothing in them: one chunk a sample.
TrakBox* make_trak(const Frames& frames, unsigned int id, Box* entry, bool video) {
    const auto count = static_cast<unsigned int>(frames.data.size());
    auto* const trak = new TrakBox;
    trak->SetTkhd(new TkhdBox, true);
    trak->GetTkhd()->track_ID = id;
    trak->SetMdia(new MdiaBox, true);
    MdiaBox& mdia = *trak->GetMdia();
    mdia.SetMdhd(new MdhdBox, true);
    mdia.SetHdlr(new HdlrBox, true);
    mdia.GetHdlr()->handler_type = video ? type_word("vide") : type_word("soun");
    mdia.SetMinf(new MinfBox, true);
    MinfBox& minf = *mdia.GetMinf();
    if (video)
        minf.SetVmhd(new VmhdBox, true);
    else
        minf.SetSmhd(new SmhdBox, true);
    minf.SetDinf(new DinfBox, true);
    minf.dinf->SetDref(new DrefBox, true);
    minf.dinf->dref->AddDataEntryBox(new DataEntryBox, true);
    minf.SetStbl(new StblBox, true);
    StblBox& stbl = *minf.GetStbl();
    stbl.SetStsd(new StsdBox, true);
    stbl.GetStsd()->AddSampleEntry(entry, true);
    stbl.SetStts(new SttsBox, true);
    stbl.GetStts()->sample_entries = {{count, kRough * frames.delta}};
    stbl.SetStsc(new StscBox, true);
    stbl.GetStsc()->sample_entries = {{1, 1, 1}};
    stbl.SetStsz(new StszBox, true);
    stbl.GetStsz()->sample_count = count;
    stbl.GetStsz()->chunk_sizes.resize(count);
    stbl.SetStco(new StcoBox, true);
    stbl.GetStco()->chunk_offsets.resize(count);
    return trak;
}

template <class Rewritable>
void rewrite(Stream& stream, Rewritable& box) {
    box.GoToStart(stream);
    stream << box;
}

// Durations and the timescale are known when the media is in: the rough one becomes the track's own.
void finish_times(Stream& stream, TrakBox& trak, const Frames& frames) {
    const auto count = static_cast<unsigned int>(frames.data.size());
    MdiaBox& mdia = *trak.GetMdia();
    SttsBox& stts = *mdia.GetMinf()->GetStbl()->GetStts();
    stts.SetTimescale(frames.timescale, kRough * frames.timescale);
    mdia.GetMdhd()->SetTimescale(frames.timescale, 1000);
    mdia.GetMdhd()->SetDuration(count * frames.delta);
    trak.GetTkhd()->SetDuration(count * frames.delta * 1000 / frames.timescale);
    rewrite(stream, stts);
    rewrite(stream, *mdia.GetMdhd());
    rewrite(stream, *trak.GetTkhd());
}

// ftyp and moov, chunks, close, fix-ups, rewriting in place.
Bytes generate(const Frames& video, const Frames& audio) {
    BoxStream out;
    Stream& stream = out.stream;
    Simple3gp file;
    file.SetFtyp(new FtypBox, true);
    file.GetFtyp()->compatible_brands = {type_word("3gp4")};
    file.SetMoov(new MoovBox, true);
    MoovBox& moov = *file.GetMoov();
    moov.SetMvhd(new MvhdBox, true);
    auto* const h263 = new H263SampleEntry;
    h263->SetH263Specific(new H263SpecificBox, true);
    auto* const amr = new AMRSampleEntry(type_word("samr"));
    amr->SetAMRSpecific(new AMRSpecificBox, true);
    TrakBox& video_trak = *make_trak(video, 1, h263, true);
    TrakBox& audio_trak = *make_trak(audio, 2, amr, false);
    moov.AddTrak(&video_trak, true);
    moov.AddTrak(&audio_trak, true);
    stream << file;

    auto* const mdat = new MdatBox;
    file.AddMdat(mdat, true);
    for (size_t i = 0; i < std::max(video.data.size(), audio.data.size()); ++i) {
        Bytes frame;
        if (i < video.data.size()) {
            frame = video.data[i];
            mdat->AddVideoChunk(stream, frame.data(), static_cast<unsigned int>(frame.size()));
        }
        if (i < audio.data.size()) {
            frame = audio.data[i];
            mdat->AddAudioChunk(stream, frame.data(), static_cast<unsigned int>(frame.size()));
        }
    }
    mdat->Close(stream);

    StblBox& video_tables = *video_trak.GetMdia()->GetMinf()->GetStbl();
    StblBox& audio_tables = *audio_trak.GetMdia()->GetMinf()->GetStbl();
    video_tables.GetStco()->FixupVideo(mdat);
    video_tables.GetStsz()->FixupVideo(mdat);
    audio_tables.GetStco()->FixupAudio(mdat);
    audio_tables.GetStsz()->FixupAudio(mdat);
    for (StblBox* tables : {&video_tables, &audio_tables}) {
        rewrite(stream, *tables->GetStco());
        rewrite(stream, *tables->GetStsz());
    }
    finish_times(stream, video_trak, video);
    finish_times(stream, audio_trak, audio);
    moov.GetMvhd()->SetTimescale(1000, 10000);
    moov.GetMvhd()->SetDuration(video_trak.GetTkhd()->GetDuration());
    rewrite(stream, *moov.GetMvhd());
    video_trak.GetTkhd()->SetDimensions(176 << 16, 144 << 16);
    rewrite(stream, *video_trak.GetTkhd());
    EXPECT_EQ(mdat->GetSize() + static_cast<size_t>(std::streamoff(mdat->position)), out.host.bytes.size());
    return out.host.bytes;
}

std::string output_of(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> buffer;
    for (size_t got; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        text.append(buffer.data(), got);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return text;
}

TEST(Generated, FileHasTheFramesInItsTables) {
    const Frames video = frames_of("h263.3gp");
    const Frames audio = frames_of("amrnb.3gp");
    const Bytes bytes = generate(video, audio);
    ASSERT_GT(video.data.size(), 20u);
    ASSERT_GT(audio.data.size(), 20u);
    const std::string path = testing::TempDir() + "qlip_generated.3gp";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (std::system("command -v ffprobe > /dev/null") != 0) GTEST_SKIP() << "no ffprobe";
    const auto probe = [&](const std::string& what) {
        return output_of("ffprobe -v error -of csv=p=0 " + what + " " + path);
    };
    EXPECT_EQ(probe("-select_streams v -show_entries stream=codec_name,width,height,nb_frames,duration_ts"),
              "h263,176,144," + std::to_string(video.data.size() * video.delta) + "," +
                  std::to_string(video.data.size()) + "\n");
    EXPECT_EQ(probe("-select_streams a -show_entries stream=codec_name,nb_frames,duration_ts"),
              "amr_nb," + std::to_string(audio.data.size() * audio.delta) + "," +
                  std::to_string(audio.data.size()) + "\n");
    std::string sizes;
    for (const Bytes& frame : video.data)
        sizes += std::to_string(frame.size()) + "\n";
    EXPECT_EQ(probe("-select_streams v -show_entries packet=size"), sizes);
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
