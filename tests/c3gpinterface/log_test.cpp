// What the second reader writes at its two debug levels.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "qlip/SimpleException.h"
#include "tests/c3gpinterface/reader_support.h"
#include "tests/support/syslog_capture.h"

namespace qlip_test {
namespace {

class Log : public testing::Test {
  protected:
    ~Log() override { sx_Debug = 3; }

    // The reader's own lines, without path and line number.
    static std::vector<std::string> lines() {
        std::vector<std::string> out;
        for (const SyslogLine& line : syslog_lines()) {
            const size_t path = line.text.find("interface/src/c3gpinterface(");
            if (path == std::string::npos) continue;
            out.push_back(line.text.substr(0, path) + line.text.substr(line.text.find("): ") + 3));
            EXPECT_EQ(out.back().back(), '\n');
            out.back().pop_back();
        }
        syslog_lines().clear();
        return out;
    }
};

using Lines = std::vector<std::string>;

// Lines of a text that begins with a line end, with numbers in place of @h and @m.
Lines lines_of(std::string text, unsigned int hint, unsigned int media) {
    for (size_t at = 0; (at = text.find('@')) != std::string::npos;)
        text.replace(at, 2, std::to_string(text[at + 1] == 'h' ? hint : media));
    Lines out;
    std::istringstream in(text.substr(1));
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

// One frame, the step to the next with its table rows, and the end, in the words of the verbose level.
TEST_F(Log, OfReadingTellsEachStep) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kHint].stts = {{1, 9000}, {1, 9000}};
    const Bytes file = build_movie(plan);
    OpenReader open(file, "rv");
    read_chunk(*open.reader, kVideoHeaderBytes, true);
    sx_Debug = 5;
    syslog_lines().clear();
    read_chunk(*open.reader, 84, true);
    EXPECT_EQ(lines(), lines_of(R"(
DBG2:84 bytes requested, 0 bytes available
DBG2:In while loop.  uToWrite: 84  uBytesAvail: 0
DBG2:In do loop in GetNextFrame()
DBG2:Frame 1   : Retrieving hint sample from offset @h
DBG2:Frame 1   : Media sample 1   : Retrieving media sample from offset @m
DBG2:Moving to next SampleToChunk entry at chunk 1.  New SamplesPerChunk: 1
DBG2:Moving to next Chunk entry at sample 2  Current SamplesPerChunk: 1
DBG2:Moving to next TimeToSample entry at sample 2
DBG2:Moving IO Callback file pointer to: )" +
                                    std::to_string(chunk_offsets(file, kMedia)[0] + 41) + R"(
DBG2:Exiting GetNextFrame() with valid packet.
DBG2:Exited while loop.  uToWrite: 84  uBytesAvail: 84)",
                                chunk_offsets(file, kHint)[0], chunk_offsets(file, kMedia)[0]));
    read_chunk(*open.reader, 84, true);
    syslog_lines().clear();
    read_chunk(*open.reader, 15, true);
    EXPECT_EQ(lines(), lines_of(R"(
DBG2:15 bytes requested, 0 bytes available
DBG2:In while loop.  uToWrite: 15  uBytesAvail: 0
DBG2:In do loop in GetNextFrame()
DBG2:Exiting GetNextFrame() due to EOF
DBG2:EOF reached
DBG2:Exited while loop.  uToWrite: 15  uBytesAvail: 0)",
                                0, 0));
}

TEST_F(Log, OfWaitsAndBadContentNamesThem) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kHint].samples[0] = whole_sample_hint(9, 41, 1);
    OpenReader open(build_movie(plan), "rv");
    syslog_lines().clear();
    open.host->arrived = chunk_offsets(open.host->bytes, kHint)[1];
    sx_Debug = 5;
    read_chunk(*open.reader, 1000, true);
    const Lines all = lines();
    for (const char* line : {"WARN:Invalid media sample 9 requested. Only 2 samples in file",
                             "WARN:Received invalid packet exception", "DBG2:Waiting for more FIO data..."})
        EXPECT_EQ(std::count(all.begin(), all.end(), line), 1) << line;
}

TEST_F(Log, OfHostFailuresShowsTheCall) {
    OpenReader open(build_movie(video_plan(2)), "rv");
    syslog_lines().clear();
    open.host->fault = {.slot = Slot::IndexRead, .call = 1, .status = 77};
    read_chunk(*open.reader, 1000, true);
    open.host->fault = {.slot = Slot::AdvanceRead, .call = 1, .status = 78};
    read_chunk(*open.reader, 1000, true);
    const Lines all = lines();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].substr(0, 67), "ERR: IO Callback Interface IndexRead() failed with status: 77.  IO ");
    EXPECT_EQ(all[0].substr(all[0].find("  nBytes")),
              "  nBytes: 32  Offset: " + std::to_string(chunk_offsets(open.host->bytes, kHint)[0]));
    EXPECT_EQ(all[1].substr(0, 69), "ERR: IO Callback Interface AdvanceRead() failed with status: 78.  IO ");
}

TEST_F(Log, OfSeekingTellsEachConversion) {
    MoviePlan plan = video_plan(4);
    plan.tracks[kHint].sync = {1, 3};
    const Bytes file = build_movie(plan);
    OpenReader open(file, "rv");
    sx_Debug = 5;
    syslog_lines().clear();
    _TAG_QLIP_SEEK_PARAMS seek{0, 150, 0, 0, 0x20001};
    ASSERT_EQ(open.reader->SeekTo(&seek), 0U);
    Lines all = lines();
    for (std::string& line : all)  // all but one begin with the class
        if (const size_t at = line.find("C3gpInterface::"); at == 5) line.erase(at, 15);
    EXPECT_EQ(all, lines_of(R"(
DBG: SeekTo - Validating Parameters (nTime=150, fFlags=131073, m_iHintSample=1, m_uFrameTime=0, uTrackDuration=400).
DBG: ConvertMsTimeToMdhdTime - Converted Timecode (ms=150, mdhd=13500).
DBG2:ConvertMdhdTimeToSample - Matched STTS Entry (offset=13500, sample=2).
DBG: ConvertMdhdTimeToSample - Coverted MDHD Time to Sample (mdhd=13500, sample=2).
DBG2:GetSyncSample - Track contains STSS Box.
DBG2:GetSyncSample - Comparing Sample to STSS Entry (sample=2, prev=0, cur=1).
DBG2:GetSyncSample - Comparing Sample to STSS Entry (sample=2, prev=1, cur=3).
DBG: GetSyncSample - Calculated Seek Sample (sample=2, seek_sample=3, flags=1).
DBG2:GetTimestampInMs - Converting MDHD Time to MS Time (count=4,delta=9000,mdhd=18000,scale=90000,ms=200).
DBG2:GetTimestampInMs - Setting temp frametime and time-to-samples (ft=18000, tts=2).
DBG: GetTimestampInMs - Converting Sample to Time in MS (sample=3, ms=200).
DBG2:CalcHintOffset - Processing STSC Entry (s=3, fs=1, ls=4, ns=4, fc=1, lc=4, nc=4).
DBG2:CalcHintOffset - Matched STSC Entry (sig=2, sic=0, fsic=3, cig=2, c=3).
DBG: CalcHintOffset - Calculated Hint Sample File Offset (sample=3, offset=@h, size=32).
DBG2:GetMediaSample - Processing Hint Sample (num_packets=1).
DBG2:GetMediaSample - Found Media Sample (sample=3).
DBG: GetMediaSample - Determined First Media Sample (hint_sample=3, first_media_sample=3).
DBG: CalcMediaOffset - Calculated Media Sample File Offset (sample=3, offset=@m).
DBG: ResetInternals: cur_hint_sample=3, cur_chunk_bytes=0, samples_per_chunk=1, sample_offset_in_chunk=0, chunk=3
DBG: SeekTo - Returning Results (nTime=200, uFrameNum=3, uFileOffset=@m).)",
                            chunk_offsets(file, kHint)[2], chunk_offsets(file, kMedia)[2]));
}

TEST_F(Log, OfOpeningTellsWhatWasFound) {
    sx_Debug = 4;
    syslog_lines().clear();
    const Bytes file = build_movie(video_plan(2));
    OpenReader open(file, "rV");
    Lines all = lines();
    const auto address = std::remove_if(all.begin(), all.end(), [](const std::string& line) {
        return line.starts_with("DBG: Read3gpBoxes(): m_pIOCallback=0x");
    });
    EXPECT_EQ(all.end() - address, 1);
    all.erase(address, all.end());
    EXPECT_EQ(all, (Lines{"DBG: Switch [r] found",
                          "DBG: Switch [v] found",
                          "DBG: Reading 3gp boxes from file",
                          "DBG: Reading 3gp boxes complete",
                          "DBG: Found 3gp major brand: 0x36706733",
                          "DBG: Found video track",
                          "DBG: Found Hint track",
                          "DBG: Hint track ID 2 is associated with track ID 1",
                          "DBG: video track ID: 1",
                          "DBG: Found 2 media samples and 2 hint samples",
                          "DBG: Allocating 42 bytes for media sample buffer",
                          "DBG: Allocating 8 bytes for media sample offset buffer",
                          "DBG: Allocating 32 bytes for hint sample buffer",
                          "DBG: Chunks counted: 2  Samples counted: 2",
                          "DBG: Video timescale: 90000",
                          "DBG: Video duration: 200 MS",
                          "DBG: H263_1998 Video codec found",
                          "DBG: Video frame count: 2",
                          "DBG: Video FPS: 10.000000  Duration: 200  Bitrate: 3320",
                          "DBG: Creating H263_1998 object",
                          "DBG: Opening video object"}));
}

}  // namespace
}  // namespace qlip_test
